// The emulation thread's side of the runner. At the end of every slice of emulated time
// the slice hook checks the run action in progress: a timed run ends at its exact time,
// typing presses and releases keys at their times, and a text seen at a frame's end or a
// stop of the machine ends the run. Ending a run holds the machine with the pause
// request, which the run loop honours before the next instruction.
#include "tools/runner/runner_driver.h"

#include <algorithm>
#include <cstring>

#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/video/renderer.h"
#include "platform/screen_text.h"
#include "tools/runner/frame_hashes.h"

RunnerDriver g_RunnerDriver;

namespace {

// The firmware scans the keyboard once per frame (20 ms), so a key stays down for two
// scans after the key feed has put it in the matrix, and up for two more.
constexpr uint64_t KEY_HOLD_MICROSECONDS = 40000;
constexpr uint64_t KEY_GAP_MICROSECONDS = 40000;
constexpr uint64_t KEY_FEED_LIMIT_MICROSECONDS = 2000000;
constexpr uint32_t KEY_FEED_CHECK_MICROSECONDS = 1000;
// Distinct stop kinds kept; more are still counted in the last record's total.
constexpr size_t MAX_STOP_KINDS = 64;

enum TypingPhase { PRESS, PRESS_FED, HOLD, RELEASE, RELEASE_FED, GAP };

void Finish(RunnerDriver& d, RunnerOutcome outcome) {
    d.finished = true;
    d.machine->outcome = outcome;
    d.machine->control.pauseRequest.store(1, std::memory_order_release);
    d.finishedChanged.notify_all();
}

void PressStroke(const KeyStroke& stroke, uint8_t pressed) {
    if (pressed && stroke.shifted) PSG_KeyEvent(PSG_KEY_SHIFT, 1);
    PSG_KeyEvent(stroke.code, pressed);
    if (!pressed && stroke.shifted) PSG_KeyEvent(PSG_KEY_SHIFT, 0);
}

// Moves the typing on at device time now; returns how long until it wants to look again,
// or 0 once the run has finished.
uint64_t AdvanceTyping(RunnerDriver& d, uint64_t now) {
    RunnerTyping& t = d.typing;
    for (;;) {
        if (t.index >= t.strokes.size()) {
            Finish(d, RunnerOutcome::Done);
            return 0;
        }
        const KeyStroke& stroke = t.strokes[t.index];
        switch (t.phase) {
            case PRESS:
            case RELEASE:
                PressStroke(stroke, t.phase == PRESS);
                t.phaseEnd = now + KEY_FEED_LIMIT_MICROSECONDS;
                ++t.phase;
                break;
            case PRESS_FED:
            case RELEASE_FED:
                if (!PSG_KeyQueueEmpty()) {
                    if (now < t.phaseEnd) return KEY_FEED_CHECK_MICROSECONDS;
                    Finish(d, RunnerOutcome::KeysNotTaken);
                    return 0;
                }
                t.phaseEnd =
                    now + (t.phase == PRESS_FED ? KEY_HOLD_MICROSECONDS : KEY_GAP_MICROSECONDS);
                ++t.phase;
                break;
            case HOLD:
            case GAP:
                if (now < t.phaseEnd) return t.phaseEnd - now;
                if (t.phase == GAP) {
                    ++t.index;
                    t.phase = PRESS;
                } else {
                    t.phase = RELEASE;
                }
                break;
        }
    }
}

void RecordStop(RunnerMachine& machine, const Z80_State& cpu) {
    uint8_t reason = cpu.stopReason;
    uint16_t pc = cpu.startPC;
    for (RunnerStop& stop : machine.stops) {
        if (stop.reason == reason && stop.pc == pc) {
            ++stop.count;
            return;
        }
    }
    if (machine.stops.size() >= MAX_STOP_KINDS) {
        ++machine.stops.back().count;
        return;
    }
    machine.stops.push_back({reason, pc, 1});
    if (machine.stopLog) {
        const char* message = Emul_StopMessage(reason);
        std::fprintf(machine.stopLog, "stop: reason %u at PC=%04X (%s) at %llu us\n", reason, pc,
                     message ? message : "", static_cast<unsigned long long>(g_Machine.deviceTime));
    }
}

}  // namespace

uint32_t Runner_OnSlice(uint32_t microseconds) {
    RunnerDriver& d = g_RunnerDriver;
    std::lock_guard<std::mutex> lock(d.mutex);
    for (auto listener : d.sliceListeners) listener(microseconds);
    if (!d.machine) return 0;

    Z80_State* cpu = g_Machine.processor;
    RunnerMachine& machine = *d.machine;
    if (!d.finished && d.goal == RunnerGoal::Debugger) {
        machine.stopReason = cpu->stopReason;
        machine.stopPC = cpu->PC;
        return 0;  // the client runs and stops the machine as it likes
    }
    if (!cpu->running && machine.keepGoing) {  // a step stopped the machine
        RecordStop(machine, *cpu);
        cpu->running = 1;
    }
    if (!cpu->running) {
        machine.stopReason = cpu->stopReason;
        machine.stopPC = cpu->PC;
    }
    if (d.finished) {
        // A monitor command set the machine running between two actions: it is held at
        // the end of the slice, which keeps the results independent of the host.
        d.pendingStop = !cpu->running;
        machine.control.pauseRequest.store(1, std::memory_order_release);
        return 0;
    }
    if (!cpu->running) {
        // A key left down would stay down while the machine waits in the monitor.
        const RunnerTyping& t = d.typing;
        if (d.goal == RunnerGoal::Type && (t.phase == PRESS_FED || t.phase == HOLD))
            PressStroke(t.strokes[t.index], 0);
        Finish(d, RunnerOutcome::Stopped);
        return 0;
    }

    const uint64_t now = g_Machine.deviceTime;
    if (d.goal == RunnerGoal::Type) {
        uint64_t wait = AdvanceTyping(d, now);
        return static_cast<uint32_t>(std::min<uint64_t>(wait, EMUL_SLICE_MICROSECONDS));
    }
    if (d.goal == RunnerGoal::Text && d.textSeen) {
        Finish(d, RunnerOutcome::Done);
        return 0;
    }
    if (now >= d.deadline) {
        Finish(d, d.goal == RunnerGoal::Time ? RunnerOutcome::Done : RunnerOutcome::TimedOut);
        return 0;
    }
    return static_cast<uint32_t>(std::min<uint64_t>(d.deadline - now, EMUL_SLICE_MICROSECONDS));
}

void Runner_OnFrame() {
    RunnerDriver& d = g_RunnerDriver;
    std::lock_guard<std::mutex> lock(d.mutex);
    if (!d.machine) return;
    if (d.machine->keepFrames) {
        const uint8_t* frame = PAL_GetFrameBuffer();
        if (frame) std::memcpy(d.lastFrame.data(), frame, d.lastFrame.size());
    }
    if (d.machine->frameHashes) {
        const uint8_t* frame = PAL_GetFrameBuffer();
        if (frame &&
            !Runner_WriteFrameHash(d.machine->frameHashes, d.machine->framesHashed++, frame))
            d.machine->frameHashWriteFailed = true;
    }
    // Looked for at the frame's end, where the picture is whole; the run ends with the
    // slice, so the frame just finished is the last complete one.
    if (!d.finished && d.goal == RunnerGoal::Text && !d.textSeen)
        d.textSeen = PAL_ScreenShows(Runner_ScreenText(), d.text);
}

void Runner_OnMessage(const char* text) {
    RunnerDriver& d = g_RunnerDriver;
    std::lock_guard<std::mutex> lock(d.mutex);
    std::string message = text;
    if (!message.empty() && message.back() == '\n') message.pop_back();
    d.messages.push_back(message);
}
