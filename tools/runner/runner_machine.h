#pragma once
// The machine as brallivane-run drives it: the emulation thread and its run loop, as the
// desktop program runs them, with the monitor on an in-memory console. Between actions
// the machine is held (paused, or stopped into the monitor); an action releases it and
// the run loop's slice hook holds it again at an exact emulated time, so that the same
// actions always give the same emulated results, whatever the host's speed.
// One machine per process, as the machine record is.
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "common/machine/emulation.h"
#include "platform/event.h"
#include "platform/memory_console.h"
#include "tools/runner/key_script.h"

// How a run action ended.
enum class RunnerOutcome {
    Done,          // the time passed, the text showed, the keys were typed
    Stopped,       // the machine stopped into the monitor (breakpoint, stop reason)
    TimedOut,      // the text did not show, or the machine did not stop, in time
    KeysNotTaken,  // the firmware did not take a key in
};

struct RunnerStop {
    uint8_t reason;
    uint16_t pc;     // first byte of the instruction that stopped the machine
    uint64_t count;  // how often it happened
};

struct RunnerMachine {
    // Settings, before Runner_StartMachine.
    bool keepGoing = false;            // count stop reasons and run on instead of stopping
    bool realtime = false;             // pace to real time (actual speed on)
    bool keepFrames = false;           // keep a copy of each complete frame (Runner_LastFrame)
    std::FILE* stopLog = stderr;       // with keepGoing, where each new kind of stop is told
    std::FILE* frameHashes = nullptr;  // when set, a hash of every complete frame goes here

    // The last run action: how it ended and, when the machine stopped, why and where.
    RunnerOutcome outcome = RunnerOutcome::Done;
    uint8_t stopReason = 0;
    uint16_t stopPC = 0;
    std::vector<RunnerStop> stops;  // with keepGoing

    uint64_t framesHashed = 0;
    bool frameHashWriteFailed = false;

    bool started = false;
    std::vector<uint8_t> frameBuffer;  // the renderer draws here
    MemoryConsole console;
    PAL_Event startedEvent;
    PAL_Event stoppedEvent;
    EmulControl control;
    std::thread thread;
};

// Starts the emulation thread on a machine of the given configuration byte, the ROMs read
// from romDirectory. The machine is then stopped at PC 0, as the monitor shows it first;
// the first run action sets it running (as F5 does). Returns false with a message that
// names the ROM file at fault when it cannot start.
bool Runner_StartMachine(RunnerMachine& machine, uint8_t type, uint8_t crtcType,
                         const std::string& romDirectory, std::string& error);
void Runner_ShutdownMachine(RunnerMachine& machine);

// Run actions. Each sets a stopped machine running and returns true when it ended as
// asked; otherwise machine.outcome says why (Stopped: the machine stopped into the
// monitor, with machine.stopReason and stopPC).
bool Runner_Run(RunnerMachine& machine, uint64_t microseconds);
bool Runner_RunUntilText(RunnerMachine& machine, const std::string& text,
                         uint64_t timeoutMicroseconds);
// Runs until the machine stops; true when it did within the time limit.
bool Runner_RunUntilStop(RunnerMachine& machine, uint64_t timeoutMicroseconds);
// Leaves the machine, as it stands, to the remote debugger until a client has attached
// and detached (at once when one was attached and has gone); then holds it again.
void Runner_ServeDebugger(RunnerMachine& machine);
// Types the strokes, each pressed until the firmware has seen it and then released.
bool Runner_Type(RunnerMachine& machine, const std::vector<KeyStroke>& strokes);

// Types keys into the monitor console (PAL_KEY_* codes, prefixed keys as pairs) and waits
// until the monitor has carried them out. A key that sets the machine running (F5, F10)
// lets it run to the end of one slice of emulated time, where it is held.
bool Runner_Keys(RunnerMachine& machine, const std::vector<uint8_t>& keys);
// Types one command line into the monitor and waits until it has been carried out (a
// PLAY until its script has ended). The monitor's messages since then go to messages.
bool Runner_Monitor(RunnerMachine& machine, const std::string& line,
                    std::vector<std::string>* messages);
// The monitor console's rows, once the monitor has drawn what it had to.
std::vector<std::string> Runner_MonitorGrid(RunnerMachine& machine);

// CPC microseconds (the devices' time) since the machine started.
uint64_t Runner_Elapsed(const RunnerMachine& machine);
// The last complete frame (with keepFrames; black before the first one).
const std::vector<uint8_t>& Runner_LastFrame(const RunnerMachine& machine);
// Also called with the CPC microseconds of every slice of emulated time, on the
// emulation thread (sound capture). Add while the machine is held.
void Runner_AddSliceListener(void (*listener)(uint32_t microseconds));

// The screen's text lines (see screen_text.h).
std::vector<std::string> Runner_ScreenText();
// Writes how often each kind of stop happened, for those that repeated.
void Runner_ReportRepeatedStops(const RunnerMachine& machine, std::FILE* out);
