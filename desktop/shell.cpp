// The shell's settings and the emulation thread's life: start, stop, and the restart a
// model or speed-mode change needs.
#include "desktop/shell.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "desktop/audio_output.h"
#include "desktop/key_backlog.h"
#include "platform/ini_profile.h"
#include "platform/memory_console.h"
#include "platform/rom_files.h"
#include "platform/settings_path.h"

ShellState g_Shell;

namespace {

std::string g_startProblem;

// A value that does not start with a number cannot be read and gives the default, where
// the profile functions would read it as 0.
unsigned ReadSetting(const char* key, unsigned defaultValue) {
    std::string path = PAL_GetSettingsPath();
    std::string text = PAL_GetProfileString(PAL_SETTINGS_SECTION, key, "", path.c_str());
    size_t at = 0;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at])))
        return defaultValue;
    return PAL_ProfileParseInt(text);
}

unsigned ReadFlag(const char* key, unsigned defaultValue) {
    unsigned value = ReadSetting(key, defaultValue);
    return value <= 1 ? value : defaultValue;
}

// The start failed: the message box gets the reason, and so does standard error.
bool StartFailed(std::string problem) {
    g_startProblem = std::move(problem);
    g_Shell.startFailed = true;
    std::fprintf(stderr, "Brallivane: Unable to start the Emulation. %s\n", g_startProblem.c_str());
    g_Shell.ui.showMessage("Unable to start the Emulation.", SHELL_CAPTION, ShellMessage::Error);
    return false;
}

// A Type whose model is none of the four comes from the settings file: say where.
std::string DescribeStartProblem(uint8_t type) {
    if (Shell_MenuMarks().model != 0) return PAL_DescribeRomProblem(type);
    return "The key Type=" + std::to_string(type) + " in the settings file " +
           PAL_GetSettingsPath() +
           " names no model (0 464, 128 464+FDI, 129 664, 194 6128; 48 more for Fastest).";
}

}  // namespace

void Shell_FixRomDirectory() {
    std::error_code error;
    std::filesystem::path folder = std::filesystem::absolute(PAL_GetRomDirectory(), error);
    if (!error) PAL_SetRomDirectory(folder.lexically_normal().c_str());
}

void Shell_ReadSettings() {
    EmulControl& control = g_Shell.control;
    control.Type = static_cast<uint8_t>(ReadSetting("Type", SHELL_DEFAULT_TYPE));
    g_Shell.fastest = (control.Type & CPC_TYPE_FAST_CRTC) ? 1 : 0;
    control.resetRequest.store(0);
    control.actualSpeed.store(static_cast<uint8_t>(ReadFlag("Speed", 1)));
    control.crtcType = static_cast<uint8_t>(ReadFlag("CRTC", 1));
    g_Shell.soundEnabled = ReadFlag("Sound", 0);
    unsigned zoom = ReadSetting("Zoom", 1);
    g_Shell.zoom = zoom >= 1 && zoom <= SHELL_MAX_ZOOM ? zoom : 1;
    g_Shell.autoStart = ReadFlag("AutoStart", 0);
    unsigned gdbPort = ReadSetting("GdbPort", 0);
    g_Shell.gdbPort = static_cast<uint16_t>(gdbPort >= 1024 && gdbPort <= 65535 ? gdbPort : 0);
    std::string path = PAL_GetSettingsPath();
    path.copy(control.settingsPath, sizeof control.settingsPath - 1);
}

void Shell_WriteSetting(const char* key, unsigned value) {
    std::string path = PAL_GetSettingsPath();
    if (path.empty()) return;
    PAL_WriteProfileString(PAL_SETTINGS_SECTION, key, std::to_string(value).c_str(), path.c_str());
}

bool Win32_StartEmulation() {
    EmulControl& control = g_Shell.control;
    PAL_ResetEvent(&g_Shell.startedEvent);
    PAL_ResetEvent(&g_Shell.stoppedEvent);
    control.startedEvent = &g_Shell.startedEvent;
    control.stoppedEvent = &g_Shell.stoppedEvent;
    control.ended.store(0);
    control.paused.store(0);
    control.stopRequest.store(0);
    control.running.store(0);
    KeyBacklog_Clear();  // the new machine starts with an empty key queue
    if (g_Shell.thread.joinable()) g_Shell.thread.join();  // one that ended on its own
    try {
        g_Shell.thread = std::thread(Emul_ThreadMain, &control);
    } catch (const std::system_error&) {
        // No thread: reported as a machine that could not start.
        return StartFailed("the emulation thread could not be created");
    }
    PAL_WaitEvent(&g_Shell.startedEvent);
    if (control.ended.load(std::memory_order_acquire)) {
        PAL_WaitEvent(&g_Shell.stoppedEvent);
        g_Shell.thread.join();
        return StartFailed(DescribeStartProblem(control.Type));
    }
    g_startProblem.clear();
    Win32_SndOpen();  // without a device the machine runs silent
    if (g_Shell.autoStart) Shell_RunMachine();
    PAL_RequestStatusRefresh();
    return true;
}

void Shell_RunMachine() {
    if (g_Shell.control.running.load(std::memory_order_acquire) || !g_Shell.monitorConsole) return;
    g_Shell.monitorConsole->PushKeys({PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5});
}

void Win32_StopEmulation() {
    EmulControl& control = g_Shell.control;
    Win32_SndClose();  // also after a thread that ended on its own: the audio thread ends
    if (!control.ended.load(std::memory_order_acquire) && g_Shell.thread.joinable()) {
        PAL_ResetEvent(&g_Shell.stoppedEvent);
        control.stopRequest.store(1, std::memory_order_release);
        PAL_WaitEvent(&g_Shell.stoppedEvent);
        control.stopRequest.store(0, std::memory_order_release);
    }
    if (g_Shell.thread.joinable()) g_Shell.thread.join();
}

const char* Shell_StartProblem() {
    return g_startProblem.c_str();
}

void Win32_ChangeType(uint8_t newType) {
    EmulControl& control = g_Shell.control;
    if (newType == control.Type) return;
    if (!g_Shell.ui.confirmReset()) return;
    Win32_StopEmulation();
    control.Type = newType;
    if (Win32_StartEmulation()) {
        Shell_WriteSetting("Type", control.Type);
        g_Shell.ui.updateMenu();
    } else {
        g_Shell.ui.quit();
    }
}

void Win32_SelectModel(int command) {
    static const uint8_t kModels[] = {CPC_MODEL_464, CPC_MODEL_464_FDI, CPC_MODEL_664,
                                      CPC_MODEL_6128};
    if (command < CMD_MODEL_464 || command > CMD_MODEL_6128) return;
    uint8_t type = kModels[command - CMD_MODEL_464];
    if (g_Shell.fastest) type |= CPC_TYPE_SPEED_BITS;
    Win32_ChangeType(type);
}

void Win32_SelectSpeedMode(int command) {
    uint8_t current = g_Shell.control.Type;
    bool fastest = command == CMD_FASTEST;
    uint8_t type = fastest ? current | CPC_TYPE_SPEED_BITS
                           : static_cast<uint8_t>(current & ~CPC_TYPE_SPEED_BITS);
    // The flag follows only a confirmed change, so that a cancelled one leaves the menu
    // marks and the next model choice as they were.
    if (type == current) return;
    Win32_ChangeType(type);
    if (g_Shell.control.Type == type) {
        g_Shell.fastest = fastest ? 1 : 0;
        g_Shell.ui.updateMenu();
    }
}

void Win32_SelectCrtc(int command) {
    uint8_t type = command == CMD_CRTC_1 ? 1 : 0;
    g_Shell.control.crtcType = type;
    g_Machine.crtcType.store(type, std::memory_order_relaxed);
    Shell_WriteSetting("CRTC", type);
    g_Shell.ui.updateMenu();
}

ShellMenuMarks Shell_MenuMarks() {
    const EmulControl& control = g_Shell.control;
    ShellMenuMarks marks{};
    switch (control.Type & ~CPC_TYPE_SPEED_BITS & 0xFF) {
        case CPC_MODEL_464: marks.model = CMD_MODEL_464; break;
        case CPC_MODEL_464_FDI: marks.model = CMD_MODEL_464_FDI; break;
        case CPC_MODEL_664: marks.model = CMD_MODEL_664; break;
        case CPC_MODEL_6128: marks.model = CMD_MODEL_6128; break;
        default: marks.model = 0; break;
    }
    marks.crtc = control.crtcType == 1 ? CMD_CRTC_1 : CMD_CRTC_0;
    marks.speedMode = g_Shell.fastest ? CMD_FASTEST : CMD_BEST;
    marks.actualSpeed = control.actualSpeed.load() != 0;
    marks.paused = control.paused.load() != 0 || control.pauseRequest.load() != 0;
    marks.sound = g_Shell.soundEnabled != 0;
    return marks;
}
