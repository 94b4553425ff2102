// The menu commands that act on the machine and the settings; the ones that open a
// window (insert, About) belong to the window layer.
#include <atomic>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/video/renderer.h"
#include "desktop/audio_output.h"
#include "desktop/shell.h"

namespace {

void TogglePause() {
    EmulControl& control = g_Shell.control;
    uint8_t pause = control.pauseRequest.load() == 0 ? 1 : 0;
    control.pauseRequest.store(pause, std::memory_order_release);
    PAL_RequestStatusRefresh();
    g_Shell.ui.repaint(true);
    if (g_Shell.soundEnabled) {
        if (pause) {
            Win32_SndPause();
            PSG_Mute();
        } else {
            PSG_Unmute();
            Win32_SndRestart();
        }
    }
    g_Shell.ui.updateMenu();
    // Once the command returns no instruction runs. A thread that has ended never pauses.
    while (pause && !control.paused.load(std::memory_order_acquire) &&
           !control.stopRequest.load(std::memory_order_acquire) &&
           !control.ended.load(std::memory_order_acquire))
        PAL_Yield();
}

void ToggleSound() {
    g_Shell.soundEnabled = g_Shell.soundEnabled ? 0 : 1;
    if (g_Shell.soundEnabled) {
        PSG_Unmute();
        Win32_SndRestart();
    } else {
        Win32_SndPause();
        PSG_Mute();
    }
    g_Shell.ui.updateMenu();
    Shell_WriteSetting("Sound", g_Shell.soundEnabled);
}

void MoveScreen(int16_t delta) {
    int16_t offset = g_Machine.horizontalOffset.load(std::memory_order_relaxed);
    g_Machine.horizontalOffset.store(static_cast<int16_t>(static_cast<uint16_t>(offset) + delta),
                                     std::memory_order_relaxed);
}

}  // namespace

bool Shell_Command(int command) {
    EmulControl& control = g_Shell.control;
    switch (command) {
        case CMD_EJECT_A:
        case CMD_EJECT_B:
            PAL_EjectDisk(command == CMD_EJECT_A ? 0 : 1);
            PAL_RequestStatusRefresh();
            g_Shell.ui.repaint(true);
            break;
        case CMD_RESET: control.resetRequest.store(1, std::memory_order_release); break;
        case CMD_PAUSE: TogglePause(); break;
        case CMD_ACTUAL_SPEED:
            control.actualSpeed.store(control.actualSpeed.load() ? 0 : 1);
            Shell_WriteSetting("Speed", control.actualSpeed.load());
            g_Shell.ui.updateMenu();
            break;
        case CMD_MODEL_464:
        case CMD_MODEL_464_FDI:
        case CMD_MODEL_664:
        case CMD_MODEL_6128: Win32_SelectModel(command); break;
        case CMD_SWAP_DRIVES:
            if (PAL_SwapDrives()) {
                PAL_RequestStatusRefresh();
                g_Shell.ui.repaint(true);
            } else {
                g_Shell.ui.showMessage("You cannot swap drives while FDC is working.",
                                       SHELL_CAPTION, ShellMessage::Warning);
            }
            break;
        case CMD_CRTC_1:
        case CMD_CRTC_0: Win32_SelectCrtc(command); break;
        case CMD_OFFSET_RIGHT: MoveScreen(1); break;
        case CMD_OFFSET_LEFT: MoveScreen(-1); break;
        case CMD_BEST:
        case CMD_FASTEST: Win32_SelectSpeedMode(command); break;
        case CMD_SOUND: ToggleSound(); break;
        case CMD_RUN: Shell_RunMachine(); break;
        default: return false;
    }
    return true;
}
