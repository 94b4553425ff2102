#pragma once
// Command line of brallivane-run: machine options, then actions run in the order given.
#include <cstdint>
#include <string>
#include <vector>

#include "tools/runner/key_script.h"

enum class RunnerActionKind { RunMs, UntilText, Type, Screenshot, ScreenText, Wav };

struct RunnerAction {
    RunnerActionKind kind;
    uint64_t milliseconds;           // RunMs: time to run; UntilText: time limit
    std::string text;                // UntilText, Type: the text; Screenshot, Wav: the file name
    std::vector<KeyStroke> strokes;  // Type: the text as key strokes
};

struct RunnerOptions {
    uint8_t type = 0xC2;  // configuration byte of the machine (6128)
    uint8_t crtcType = 1;
    bool fast = false;  // "Fastest": line-based CRTC and thread-driven sound (CPC_TYPE_SPEED_BITS)
    std::string romDirectory = "../ROM/";
    bool bench = false;
    bool trace = true;  // trace records go to the trace library when it is present
    std::vector<RunnerAction> actions;
};

enum class RunnerParseResult { Run, Help, Error };

// Fills options from the arguments. On Error, error says what is wrong.
RunnerParseResult Runner_ParseArguments(int argc, const char* const* argv, RunnerOptions& options,
                                        std::string& error);

// The text --help prints.
const char* Runner_HelpText();
