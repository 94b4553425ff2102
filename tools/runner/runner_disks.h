#pragma once
// The runner's disks: --disk-a and --disk-b at machine start, and the --autorun action.
#include <cstdint>
#include <string>

#include "tools/runner/runner_machine.h"
#include "tools/runner/runner_options.h"

// Loads the disks the options name through the drive slots. False with a message naming
// the drive and the reason when one cannot be loaded.
bool Runner_InsertDisks(const RunnerOptions& options, std::string& error);

// RunEnded: a run action ended early, machine.outcome says why.
enum class AutorunResult { Typed, BadDisk, RunEnded };

// Runs until "Ready" shows (at most timeoutMicroseconds), then types the command that starts
// the program on the disk in drive A. message is the command typed, or what went wrong.
AutorunResult Runner_Autorun(RunnerMachine& machine, uint64_t timeoutMicroseconds,
                             std::string& message);
