#pragma once
// The machine as brallivane-run drives it: started running, stepped one instruction at a
// time for a given amount of emulated time, fed keys through the key queue, and read back
// as text and pictures. One machine per process, as the machine record is.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/z80/z80.h"
#include "tools/runner/key_script.h"

struct RunnerStop {
    uint8_t reason;
    uint16_t pc;     // first byte of the instruction that stopped the machine
    uint64_t count;  // how often it happened
};

struct RunnerMachine {
    Z80_State processor{};
    uint64_t elapsed = 0;  // emulated microseconds since the start, never wrapping
    bool started = false;
    bool stalled = false;  // the processor stopped advancing time
    std::vector<uint8_t> frameBuffer;
    std::vector<RunnerStop> stops;
    std::FILE* stopLog = stderr;  // where each new kind of stop is reported; none to keep quiet
    // Called on the running thread after every slice of about a millisecond of CPC time,
    // and at the end of every run, with the CPC microseconds of the slice.
    void (*sliceHook)(void* context, uint64_t microseconds) = nullptr;
    void* sliceContext = nullptr;
};

// Builds the machine (model and disk bits in TYPE), loads the ROMs from romDirectory and
// resets it. Returns false with a message when it cannot start.
bool Runner_StartMachine(RunnerMachine& machine, uint8_t type, uint8_t crtcType,
                         const std::string& romDirectory, std::string& error);
void Runner_ShutdownMachine(RunnerMachine& machine);

// Runs for an amount of emulated time (CPC time: what the devices receive). Stops of the machine
// (stop reasons) are counted, reported once per reason and address, cleared, and the machine goes
// on. Returns false when the processor no longer advances time.
bool Runner_Run(RunnerMachine& machine, uint64_t microseconds);

// Runs until TEXT is on the screen or timeoutMicroseconds of emulated time have passed.
bool Runner_RunUntilText(RunnerMachine& machine, const std::string& text,
                         uint64_t timeoutMicroseconds);

// Types the strokes, each pressed until the firmware has seen it and then released.
bool Runner_Type(RunnerMachine& machine, const std::vector<KeyStroke>& strokes);

// The screen's text lines (see screen_text.h).
std::vector<std::string> Runner_ScreenText();

// Writes how often each kind of stop happened, for those that repeated.
void Runner_ReportRepeatedStops(const RunnerMachine& machine, std::FILE* out);

// The message the monitor shows for a stop reason, or "" when it shows none.
const char* Runner_StopMessage(uint8_t reason);
