#pragma once
// Inside the runner: what the runner thread asks of the current run action, and the
// hooks that carry it out on the emulation thread at exact emulated times.
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tools/runner/runner_machine.h"

// Debugger: the machine is the remote client's until it detaches.
enum class RunnerGoal { Time, Text, Stop, Type, Debugger };

struct RunnerTyping {
    std::vector<KeyStroke> strokes;
    size_t index = 0;
    int phase = 0;
    uint64_t phaseEnd = 0;  // device time
};

struct RunnerDriver {
    std::mutex mutex;
    std::condition_variable finishedChanged;
    RunnerMachine* machine = nullptr;

    // The run in progress, set while the machine is held.
    RunnerGoal goal = RunnerGoal::Time;
    uint64_t deadline = 0;  // device time: the end of a timed run, the limit of the others
    std::string text;
    bool textSeen = false;
    RunnerTyping typing;
    bool finished = true;  // no run action in progress
    // The machine stopped while no run action was in progress (a monitor command had set
    // it running); --until-stop takes this stop as its own.
    bool pendingStop = false;

    std::vector<uint8_t> lastFrame;
    std::vector<std::string> messages;  // the monitor's, since the runner last took them
    std::vector<void (*)(uint32_t)> sliceListeners;
};

extern RunnerDriver g_RunnerDriver;

// The run loop's slice hook, the renderer's end-of-frame call and the monitor's message
// observer; all on the emulation thread.
uint32_t Runner_OnSlice(uint32_t microseconds);
void Runner_OnFrame();
void Runner_OnMessage(const char* text);
