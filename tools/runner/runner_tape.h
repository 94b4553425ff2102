#pragma once
// The runner's tape: --tape and --tape-record at machine start, the recording written at
// the end, and --autorun on a tape.
#include <string>

#include "tools/runner/runner_disks.h"
#include "tools/runner/runner_machine.h"
#include "tools/runner/runner_options.h"

// With the machine held: puts the tape in the deck with PLAY down, and arms recording.
// False with a message naming the file when the tape cannot be played; warning says
// when it plays only up to a bad block, and gives the tape's information texts.
bool Runner_InsertTape(const RunnerOptions& options, std::string& error, std::string& warning);
// With the machine held: ends recording and writes the file. False with a message.
bool Runner_FinishTapeRecording(const RunnerOptions& options, std::string& error);
// Waits for Ready, types |TAPE on machines with a disk interface, then RUN" and the key
// the firmware asks for to start the tape.
AutorunResult Runner_AutorunTape(RunnerMachine& machine, uint8_t type, uint64_t timeoutMicroseconds,
                                 std::string& message);
