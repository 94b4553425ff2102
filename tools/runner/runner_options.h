#pragma once
// Command line of brallivane-run: machine options, then actions run in the order given.
#include <cstdint>
#include <string>
#include <vector>

#include "tools/runner/key_script.h"

enum class RunnerActionKind {
    RunMs,
    UntilText,
    UntilStop,
    Type,
    Monitor,
    MonitorScript,
    Screenshot,
    ScreenText,
    DumpMonitor,
    Autorun,
    Wav,
    SaveSnapshot,
    GdbWait,
    NewDisk,
};

struct RunnerAction {
    RunnerActionKind kind;
    uint64_t milliseconds;           // RunMs: time to run; UntilText, UntilStop, Autorun: limit;
                                     // NewDisk: 0 DATA, 1 SYSTEM
    std::string text;                // the option's value: text, command, file name
    std::vector<KeyStroke> strokes;  // Type: the text as key strokes
};

struct RunnerOptions {
    // Machine options.
    uint8_t type = 0xC2;  // configuration byte of the machine (6128)
    uint8_t crtcType = 1;
    std::string romDirectory;  // empty: ../ROM/, else the user's data folder
    bool fast = false;  // "Fastest": line-based CRTC and thread-driven sound (CPC_TYPE_SPEED_BITS)
    bool realtime = false;
    bool keepGoing = false;
    int gdbPort = -1;          // --gdb: the remote debugger's port (0: a free one), -1 for none
    std::string disks[2];      // --disk-a, --disk-b: names for the drive slots, empty for none
    std::string settingsPath;  // --settings: empty for no settings file
    std::string snapshot;      // --snapshot: the file to start from, empty for a reset
    std::string tape;          // --tape: the tape in the deck, PLAY down
    std::string tapeRecord;    // --tape-record: the file recording goes to
    bool writeProtect[2] = {false, false};
    // Settings that may stand anywhere.
    bool bench = false;
    bool trace = true;           // trace records go to the trace library when it is present
    std::string frameHashes;     // --frame-hashes: file for one hash per complete frame
    uint64_t timeoutMs = 30000;  // limit of the waiting actions that follow
    std::vector<RunnerAction> actions;
};

enum class RunnerParseResult { Run, Help, Error };

// Fills options from the arguments. On Error, error says what is wrong.
RunnerParseResult Runner_ParseArguments(int argc, const char* const* argv, RunnerOptions& options,
                                        std::string& error);

// The text --help prints.
const char* Runner_HelpText();
