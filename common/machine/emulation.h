#pragma once
// The emulation thread: it builds the machine and the processor, then runs them under
// the monitor's control, honouring the host's reset, stop and pause requests, and paces
// the machine to real time when the actual speed setting is on.
#include <atomic>
#include <cstdint>

#include "common/z80/z80.h"

struct PAL_Event;

// Posted to the main window when the emulation thread ends on its own (monitor quit or
// a machine that could not start); the host answers by closing.
constexpr uint32_t EMUL_MSG_ENDED = 0x101F;
constexpr int EMUL_SETTINGS_PATH_SIZE = 260;

// Shared by the host and the emulation thread; the thread's argument points to it. The
// host fills the plain fields before it starts the thread; the byte flags are written
// by one side and read by the other while the thread runs.
struct EmulControl {
    PAL_Event* startedEvent = nullptr;  // manual reset; set once start-up succeeded or failed
    PAL_Event* stoppedEvent = nullptr;  // manual reset; set as the thread's last act
    // The main window, and how to post a message to it from the emulation thread.
    void* mainWindow = nullptr;
    void (*postMessage)(void* mainWindow, uint32_t message) = nullptr;
    uint8_t Type = 0;                      // machine configuration byte
    uint8_t crtcType = 0;                  // 0 or 1, for machine start-up
    std::atomic<uint8_t> resetRequest{0};  // set by the host, cleared by the run loop
    std::atomic<uint8_t> stopRequest{0};
    std::atomic<uint8_t> pauseRequest{0};
    std::atomic<uint8_t> actualSpeed{0};  // 1: pace the machine to real time
    std::atomic<uint8_t> ended{0};        // start-up failed, or the monitor quit
    std::atomic<uint8_t> paused{0};       // the pause request as the run loop last saw it
    std::atomic<uint8_t> running{0};      // the processor's running flag, as last seen
    char settingsPath[EMUL_SETTINGS_PATH_SIZE] = {};
    // A job the host hands to the thread (Emul_RunOnThread); none while null.
    std::atomic<void (*)(Z80_State*, void*)> job{nullptr};
    void* jobArgument = nullptr;
};

// The thread body.
void Emul_ThreadMain(EmulControl* control);
// Runs job(processor, argument) on the emulation thread between two passes of its run
// loop, where the machine may be read and changed as the monitor's commands do, and waits
// until it has run. False, and nothing runs, when the thread has ended. One host thread.
bool Emul_RunOnThread(EmulControl* control, void (*job)(Z80_State*, void*), void* argument);
// The run loop; returns when the monitor quits or the host asks the thread to stop.
void Emul_RunLoop(Z80_State* state);
// What the monitor says when a stop reason stops a running machine; null for none.
const char* Emul_StopMessage(uint8_t reason);

// Pacing: the run loop calls Emul_Run after every slice of emulated time. With actual
// speed on it waits until the host's clock has caught up with the emulated time of the
// slice (plus the sound side's speed correction); otherwise it only notes the time.
void Emul_StartPacing(Z80_State* state);
void Emul_Run(const EmulControl* control, Z80_State* state);

// Slices of emulated time: pacing and the slice hook work once per slice.
constexpr uint32_t EMUL_SLICE_MICROSECONDS = 2000;
// A stopped or paused machine with no monitor key to act on looks again after this long.
constexpr uint32_t EMUL_IDLE_SLEEP_MICROSECONDS = 1000;

// Called on the emulation thread at the end of every slice, and after a step that
// stopped the running machine, with the CPC microseconds (machine deviceTime) since the
// last call. May read and change the machine and the processor, and set the control's
// requests. Returns the most microseconds the next slice may last, 0 for the default:
// a front end that wants to act at an exact emulated time asks for a shorter slice.
using Emul_SliceHook = uint32_t (*)(uint32_t microseconds);
// Install before the thread starts; null for none.
void Emul_SetSliceHook(Emul_SliceHook hook);
