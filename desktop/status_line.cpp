// The status line's texts and colours from the emulation's state.
#include "desktop/status_line.h"

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/remote/remote.h"
#include "common/sound/psg_sound_state.h"
#include "common/tape/tape.h"
#include "common/video/renderer.h"
#include "desktop/key_translation.h"
#include "desktop/shell.h"
#include "platform/drive_slots.h"

namespace {

StatusBox Box(uint8_t indicator) {
    if (indicator == 0) return StatusBox::Grey;
    return indicator == 1 ? StatusBox::Orange : StatusBox::Red;
}

}  // namespace

std::string Win32_DrawDriveName(int drive, const std::string& path) {
    if (path.empty()) return {};
    size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    return std::string(1, static_cast<char>('A' + drive)) + ": [" + name + "]";
}

StatusFields Win32_StatusFields(uint32_t zoom, uint32_t mouseX, uint32_t mouseY) {
    StatusFields fields{};
    if (zoom == 0) zoom = 1;
    if (g_Shell.control.paused.load(std::memory_order_acquire)) {
        fields.speed = "PAUSE";
    } else if (!g_Shell.control.running.load(std::memory_order_acquire)) {
        fields.speed = STATUS_STOPPED;
    } else {
        uint32_t figure = PAL_GetSpeedFigure();
        fields.speed = std::to_string(figure / 10) + "." + std::to_string(figure % 10) + " %";
    }
    fields.drives = (g_Shell.control.Type & CPC_TYPE_DISK) != 0;
    if (fields.drives) {
        fields.driveA = Win32_DrawDriveName(0, PAL_GetDrivePath(0));
        fields.driveB = Win32_DrawDriveName(1, PAL_GetDrivePath(1));
        // A drive whose changes its file could not take.
        if (PAL_DiskHasUnsavedChanges(0)) fields.driveA += " (unsaved)";
        if (PAL_DiskHasUnsavedChanges(1)) fields.driveB += " (unsaved)";
        fields.activity = PAL_GetDriveActivity();
    }
    fields.joystick = Key_JoystickMode();
    uint16_t x = static_cast<uint16_t>(mouseX / zoom / 2);
    uint16_t y = static_cast<uint16_t>(mouseY / zoom / 2 + 6);
    fields.mouse = "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
    if (g_TapePublished.motorRunning.load(std::memory_order_relaxed)) {
        // The tape counter takes the mouse's place while the tape moves.
        uint32_t seconds = g_TapePublished.seconds.load(std::memory_order_relaxed);
        std::string ss = std::to_string(seconds % 60);
        fields.mouse =
            "Tape " + std::to_string(seconds / 60) + ":" + (ss.size() < 2 ? "0" : "") + ss;
    }

    PSG_SoundState& s = g_PsgSound;
    fields.full = Box(s.bufferHighIndicator);
    fields.empty = Box(s.bufferLowIndicator);
    int32_t sum = s.correctionSum;
    int32_t count = static_cast<int32_t>(static_cast<uint32_t>(s.correctionCount));
    if (count > 0) sum /= count;
    fields.correction = std::to_string(sum);
    if (Rsp_Attached())
        fields.remote = "GDB " + std::to_string(g_RemoteLink.port.load(std::memory_order_relaxed));
    s.bufferHighIndicator = 0;
    s.bufferLowIndicator = 0;
    s.correctionCount = 0;
    s.correctionSum = 0;
    return fields;
}
