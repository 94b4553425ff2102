// The runner thread's side: starting and stopping the emulation thread, releasing the
// held machine for one run action and waiting until the slice hook holds it again, and
// typing monitor commands into the in-memory console.
#include "tools/runner/runner_machine.h"

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/monitor/monitor.h"
#include "common/remote/remote.h"
#include "common/video/renderer.h"
#include "platform/rom_files.h"
#include "platform/screen_text.h"
#include "tools/runner/runner_driver.h"

namespace {

// Host time the monitor may take to carry out a command line; it needs milliseconds.
constexpr uint32_t MONITOR_ANSWER_LIMIT_MS = 120000;
constexpr uint32_t HOLD_CHECK_MICROSECONDS = 100;
constexpr uint32_t DEBUGGER_CHECK_MICROSECONDS = 10000;

// Waits until the run loop has seen the pause request: from then on no instruction runs
// and what the emulation thread wrote before can be read here.
void WaitUntilHeld(RunnerMachine& machine) {
    while (!machine.control.paused.load(std::memory_order_acquire))
        PAL_SleepMicroseconds(HOLD_CHECK_MICROSECONDS);
}

// A held machine that is stopped needs no pause, since no instruction runs; without it
// the monitor answers faster, as the run loop then polls it without yielding.
void Settle(RunnerMachine& machine) {
    if (!g_Machine.processor->running)
        machine.control.pauseRequest.store(0, std::memory_order_release);
}

void InstallHooks(RunnerMachine* machine) {
    RunnerDriver& d = g_RunnerDriver;
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.machine = machine;
        d.finished = true;
        d.lastFrame.assign(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
        d.messages.clear();
        d.sliceListeners.clear();
    }
    PAL_SetConsole(machine ? machine->console.Operations() : nullptr);
    Dbg_SetMessageObserver(machine ? Runner_OnMessage : nullptr);
    Emul_SetSliceHook(machine ? Runner_OnSlice : nullptr);
    PAL_SetRepaintHandler(machine ? Runner_OnFrame : nullptr);
}

// Lets the held machine run toward the goal; returns the run's outcome once the slice
// hook holds the machine again. A stopped machine is set running with F5.
RunnerOutcome RunToward(RunnerMachine& machine, RunnerGoal goal, uint64_t limit,
                        const std::string& text = {}, const std::vector<KeyStroke>& strokes = {}) {
    RunnerDriver& d = g_RunnerDriver;
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.goal = goal;
        d.deadline = g_Machine.deviceTime + limit;
        d.text = text;
        d.textSeen = false;
        d.typing = RunnerTyping{strokes};
        d.finished = false;
        d.pendingStop = false;
    }
    bool stopped = g_Machine.processor->running == 0;
    machine.control.pauseRequest.store(0, std::memory_order_release);
    if (stopped) machine.console.PushKeys({PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5});
    {
        std::unique_lock<std::mutex> lock(d.mutex);
        d.finishedChanged.wait(lock, [&d] { return d.finished; });
    }
    WaitUntilHeld(machine);
    Settle(machine);
    return machine.outcome;
}

}  // namespace

bool Runner_StartMachine(RunnerMachine& machine, uint8_t type, uint8_t crtcType,
                         const std::string& romDirectory, std::string& error) {
    // The host's part of the start: pixel tables and a frame buffer filled with black.
    PAL_InitVideoTables();
    machine.frameBuffer.assign(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
    PAL_SetFrameBuffer(machine.frameBuffer.data());
    PAL_SetRomDirectory(romDirectory.c_str());
    InstallHooks(&machine);
    Dbg_ResetMonitor();  // each machine of this process gets a fresh monitor and console

    EmulControl& control = machine.control;
    control.Type = type;
    control.crtcType = crtcType;
    control.actualSpeed.store(machine.realtime ? 1 : 0);
    control.resetRequest.store(0);
    control.stopRequest.store(0);
    control.pauseRequest.store(1);  // held from the start
    control.ended.store(0);
    control.paused.store(0);
    control.startedEvent = &machine.startedEvent;
    control.stoppedEvent = &machine.stoppedEvent;
    PAL_ResetEvent(&machine.startedEvent);
    PAL_ResetEvent(&machine.stoppedEvent);
    machine.stops.clear();

    machine.thread = std::thread(Emul_ThreadMain, &control);
    PAL_WaitEvent(&machine.startedEvent);
    if (control.ended.load(std::memory_order_acquire)) {
        PAL_WaitEvent(&machine.stoppedEvent);
        machine.thread.join();
        InstallHooks(nullptr);
        PAL_SetFrameBuffer(nullptr);
        std::string problem = PAL_DescribeRomProblem(type);
        error = "the machine could not start: " +
                (problem.empty()
                     ? "no memory for it, or a ROM file in " + romDirectory + " could not be read"
                     : problem);
        return false;
    }
    WaitUntilHeld(machine);
    Settle(machine);
    machine.started = true;
    return true;
}

void Runner_ShutdownMachine(RunnerMachine& machine) {
    if (!machine.started) return;
    machine.control.stopRequest.store(1, std::memory_order_release);
    PAL_WaitEvent(&machine.stoppedEvent);
    machine.thread.join();
    InstallHooks(nullptr);
    PAL_SetFrameBuffer(nullptr);
    machine.started = false;
}

bool Runner_Run(RunnerMachine& machine, uint64_t microseconds) {
    if (microseconds == 0) return true;
    return RunToward(machine, RunnerGoal::Time, microseconds) == RunnerOutcome::Done;
}

bool Runner_RunUntilText(RunnerMachine& machine, const std::string& text,
                         uint64_t timeoutMicroseconds) {
    machine.outcome = RunnerOutcome::Done;
    if (PAL_ScreenShows(Runner_ScreenText(), text)) return true;
    if (timeoutMicroseconds == 0) {
        machine.outcome = RunnerOutcome::TimedOut;
        return false;
    }
    return RunToward(machine, RunnerGoal::Text, timeoutMicroseconds, text) == RunnerOutcome::Done;
}

bool Runner_RunUntilStop(RunnerMachine& machine, uint64_t timeoutMicroseconds) {
    {
        // The machine already stopped after a monitor command had set it running.
        std::lock_guard<std::mutex> lock(g_RunnerDriver.mutex);
        if (g_RunnerDriver.pendingStop) {
            g_RunnerDriver.pendingStop = false;
            machine.outcome = RunnerOutcome::Stopped;
            return true;
        }
    }
    return RunToward(machine, RunnerGoal::Stop, timeoutMicroseconds) == RunnerOutcome::Stopped;
}

void Runner_ServeDebugger(RunnerMachine& machine) {
    RunnerDriver& d = g_RunnerDriver;
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.goal = RunnerGoal::Debugger;
        d.finished = false;
        d.pendingStop = false;
    }
    machine.control.pauseRequest.store(0, std::memory_order_release);
    // Sessions count up: odd while a client is attached.
    const uint32_t start = g_RemoteLink.session.load(std::memory_order_acquire);
    const uint32_t end = (start | 1) + 1;
    while (g_RemoteLink.session.load(std::memory_order_acquire) < end)
        PAL_SleepMicroseconds(DEBUGGER_CHECK_MICROSECONDS);
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.finished = true;
    }
    machine.control.pauseRequest.store(1, std::memory_order_release);
    WaitUntilHeld(machine);
    Settle(machine);
}

bool Runner_Type(RunnerMachine& machine, const std::vector<KeyStroke>& strokes) {
    machine.outcome = RunnerOutcome::Done;
    if (strokes.empty()) return true;
    return RunToward(machine, RunnerGoal::Type, 0, {}, strokes) == RunnerOutcome::Done;
}

bool Runner_Keys(RunnerMachine& machine, const std::vector<uint8_t>& keys) {
    machine.console.PushKeys(keys);
    if (!machine.console.WaitUntilIdle(MONITOR_ANSWER_LIMIT_MS)) return false;
    // A key that set the machine running had it held at the end of a slice.
    if (machine.control.pauseRequest.load(std::memory_order_acquire)) WaitUntilHeld(machine);
    Settle(machine);
    return true;
}

bool Runner_Monitor(RunnerMachine& machine, const std::string& line,
                    std::vector<std::string>* messages) {
    RunnerDriver& d = g_RunnerDriver;
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        d.messages.clear();
    }
    std::vector<uint8_t> keys(line.begin(), line.end());
    keys.push_back(PAL_KEY_ENTER);
    bool answered = Runner_Keys(machine, keys);
    std::lock_guard<std::mutex> lock(d.mutex);
    if (messages) *messages = d.messages;
    d.messages.clear();
    return answered;
}

std::vector<std::string> Runner_MonitorGrid(RunnerMachine& machine) {
    machine.console.WaitUntilIdle(MONITOR_ANSWER_LIMIT_MS);
    return machine.console.Rows();
}

uint64_t Runner_Elapsed(const RunnerMachine&) {
    return g_Machine.deviceTime;
}

const std::vector<uint8_t>& Runner_LastFrame(const RunnerMachine&) {
    return g_RunnerDriver.lastFrame;
}

void Runner_AddSliceListener(void (*listener)(uint32_t microseconds)) {
    RunnerDriver& d = g_RunnerDriver;
    std::lock_guard<std::mutex> lock(d.mutex);
    if (listener) d.sliceListeners.push_back(listener);
}

std::vector<std::string> Runner_ScreenText() {
    ScreenView view{};
    if (!PAL_CurrentScreen(view)) return {};
    return PAL_ReadScreenText(view);
}

void Runner_ReportRepeatedStops(const RunnerMachine& machine, std::FILE* out) {
    for (const RunnerStop& stop : machine.stops) {
        if (stop.count > 1) {
            std::fprintf(out, "stop: reason %u at PC=%04X happened %llu times\n", stop.reason,
                         stop.pc, static_cast<unsigned long long>(stop.count));
        }
    }
}
