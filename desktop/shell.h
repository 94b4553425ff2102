#pragma once
// The desktop program's shell without its windows: the settings, the emulation thread's
// start and stop, and the menu commands. The window layer supplies the few things that need
// a screen (the reset question, message boxes, menu marks, repaints, quitting) through
// ShellUi, so that the commands run the same in the program and in the tests.
#include <cstdint>
#include <string>
#include <thread>

#include "common/machine/emulation.h"
#include "platform/event.h"

constexpr int SHELL_MAX_ZOOM = 4;
constexpr uint8_t SHELL_DEFAULT_TYPE = 194;
constexpr const char* SHELL_CAPTION = "Brallivane";
constexpr const char* SHELL_TITLE = "Brallivane - Amstrad CPC Emulation - DEBUG";

// Menu commands, by their resource numbers.
enum ShellCommand : int {
    CMD_ABOUT = 102,
    CMD_INSERT_A = 109,
    CMD_EJECT_A = 110,
    CMD_RESET = 111,
    CMD_PAUSE = 113,
    CMD_ACTUAL_SPEED = 114,
    CMD_MODEL_464 = 115,
    CMD_MODEL_464_FDI = 116,
    CMD_MODEL_664 = 117,
    CMD_MODEL_6128 = 118,
    CMD_SAVE_SCREEN = 120,
    CMD_SWAP_DRIVES = 121,
    CMD_INSERT_B = 122,
    CMD_EJECT_B = 123,
    CMD_CRTC_1 = 124,
    CMD_CRTC_0 = 125,
    CMD_OFFSET_RIGHT = 126,
    CMD_OFFSET_LEFT = 127,
    CMD_BEST = 128,
    CMD_FASTEST = 129,
    CMD_EXIT = 130,
    CMD_LOAD_SNAPSHOT = 140,
    CMD_SAVE_SNAPSHOT = 141,
    CMD_SOUND = 40018,
    CMD_RUN = 40019,
    CMD_ZOOM_1 = 40021,  // to CMD_ZOOM_1 + SHELL_MAX_ZOOM - 1
};

enum class ShellMessage { Error, Warning };

// What the commands ask of the window layer; every member must be set.
struct ShellUi {
    // "This will reset the emulator."; true for OK.
    bool (*confirmReset)();
    void (*showMessage)(const char* text, const char* caption, ShellMessage kind);
    void (*updateMenu)();
    // Repaint the window; full also redraws the status line.
    void (*repaint)(bool full);
    // Leave the event loop: the program ends.
    void (*quit)();
};

class MemoryConsole;

struct ShellState {
    EmulControl control;
    PAL_Event startedEvent;
    PAL_Event stoppedEvent;
    std::thread thread;
    uint32_t fastest = 0;  // the speed mode the menu shows and the next model change uses
    uint32_t soundEnabled = 0;
    uint32_t zoom = 1;
    uint32_t autoStart = 0;  // set the machine running after every start
    bool startFailed = false;
    MemoryConsole* monitorConsole = nullptr;  // where Run types the monitor's F5
    uint16_t gdbPort = 0;  // GdbPort: the remote debugger's port, 0 for none
    ShellUi ui{};
};

extern ShellState g_Shell;

// Makes the ROM folder absolute, so that a later change of the current directory (the
// open-file dialog) does not move it; call once at start.
void Shell_FixRomDirectory();
// Reads Type, Speed, CRTC, Sound, Zoom and AutoStart from the settings file (PAL_InitSettingsPath
// first); a missing or unreadable key takes its default.
void Shell_ReadSettings();
// Writes one key of the settings file as decimal text.
void Shell_WriteSetting(const char* key, unsigned value);

// Starts the emulation thread and waits until the machine has started; true when it did
// (audio output is then open). False when the machine could not start: the thread has
// ended and "Unable to start the Emulation." has been shown.
bool Win32_StartEmulation();
// Stops a running emulation thread (audio output closed first) and waits for its end.
void Win32_StopEmulation();
// Why the last start failed, for the message box's details ("" when unknown). It is
// also written to standard error.
const char* Shell_StartProblem();
// Sets a stopped machine running, as F5 in the monitor does.
void Shell_RunMachine();

// The menu commands; true when the command is one of the shell's.
bool Shell_Command(int command);
void Win32_SelectModel(int command);
void Win32_SelectSpeedMode(int command);
void Win32_SelectCrtc(int command);
void Win32_ChangeType(uint8_t newType);

// Snapshot files. A load reads the whole file first; a snapshot of another model changes
// the model as the System menu does (asking first). Both return "" when done (or the
// model change was cancelled), else a message that names the file and what is wrong.
std::string Shell_LoadSnapshot(const char* path);
std::string Shell_SaveSnapshot(const char* path);

// The marks the menu shows, from the current settings (Win32_UpdateMenu draws them).
struct ShellMenuMarks {
    int model;      // CMD_MODEL_464 ... CMD_MODEL_6128, 0 for none
    int crtc;       // CMD_CRTC_1 or CMD_CRTC_0
    int speedMode;  // CMD_BEST or CMD_FASTEST
    bool actualSpeed;
    bool paused;
    bool sound;
};
ShellMenuMarks Shell_MenuMarks();
