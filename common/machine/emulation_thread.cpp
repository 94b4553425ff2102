// The emulation thread and its run loop: on every pass the monitor is shown and polled,
// the host's requests are honoured, and while the machine runs (or a single step is
// asked for) one whole instruction is executed, or several in a row while the monitor has
// nothing to look at in between.
#include <atomic>

#include "common/host_services.h"
#include "common/machine/emulation.h"
#include "common/machine/machine.h"
#include "common/monitor/breakpoints.h"
#include "common/monitor/monitor.h"
#include "common/monitor/watchpoints.h"
#include "common/remote/remote.h"
#include "common/tape/tape.h"
#include "common/video/renderer.h"

namespace {

// The one processor of this process, and the control block of the thread that runs it.
Z80_State g_processor;
EmulControl* g_control = nullptr;
std::atomic<Emul_SliceHook> g_sliceHook{nullptr};

struct Slice {
    uint64_t start;  // device time at the start of the slice
    uint32_t limit;  // microseconds after which it ends
};

void ShowAllPanels(Z80_State* state) {
    Dbg_ShowDisassembly(state, 0, 0);
    Dbg_ShowRegisters(state);
    Dbg_ShowMemory(state);
    Dbg_ShowStack(state);
}

// Carries out a monitor code other than DBG_QUIT.
void ActOnCode(Z80_State* state, uint8_t code, bool* fullRedraw, bool* singleStep) {
    switch (code) {
        case DBG_RUN: state->running = 1; break;
        case DBG_STEP: *singleStep = true; break;
        case DBG_STEP_OVER:
            // A temporary breakpoint right after the current instruction.
            Z80_AddBreakpoint(
                state, static_cast<uint16_t>(state->PC + Z80_GetInstructionSize(state, state->PC)),
                Z80_BREAKPOINT_TEMPORARY);
            state->running = 1;
            break;
        case DBG_STOP:
            state->running = 0;
            Dbg_ShowDisassembly(state, 1, 0);
            *fullRedraw = true;
            break;
        case DBG_AFTER_RESET:
        case DBG_MEMORY_CHANGED:
            Dbg_ShowDisassembly(state, 1, 0);
            *fullRedraw = true;
            break;
        case DBG_REFRESH: *fullRedraw = true; break;
        case DBG_REFRESH_DUMP: Dbg_ShowMemory(state); break;
        default: break;
    }
}

void EndSlice(Z80_State* state, Slice* slice) {
    CPC_CatchUpVideo();  // the picture is complete up to now wherever the host looks
    Emul_Run(g_control, state);
    uint64_t now = state->machine->deviceTime;
    uint32_t limit = EMUL_SLICE_MICROSECONDS;
    if (Emul_SliceHook hook = g_sliceHook.load(std::memory_order_acquire)) {
        uint32_t wanted = hook(static_cast<uint32_t>(now - slice->start));
        if (wanted != 0 && wanted < limit) limit = wanted;
    }
    *slice = {now, limit};
}

// Whole instructions, at most COUNT, with the stop message when they stopped a running
// machine; returns how many ran. More than one runs at once only while nothing has to
// look at every instruction (breakpoints, the PC log, read watches).
uint32_t Step(Z80_State* state, uint32_t count, bool* fullRedraw, Slice* slice) {
    uint8_t wasRunning = state->running;
    uint32_t done = 1;
    const bool watchingReads = Wp_WatchingReads();
    if (count > 1 && wasRunning && !state->breakpoints && !Dbg_LoggingPC() && !watchingReads) {
        done = Z80_RunInstructions(state, count, slice->start + slice->limit);
    } else {
        if (watchingReads) Wp_BeforeStep(state);
        Z80_StepInstruction(state);
        if (watchingReads) Wp_AfterStep(state);
    }
    if (state->stopReason != Z80_STOP_NONE && wasRunning) {
        Dbg_ShowDisassembly(state, 1, 1);
        if (const char* message = Emul_StopMessage(state->stopReason)) Dbg_Message(message);
    }
    if (!state->running) {
        *fullRedraw = true;
        CPC_CatchUpVideo();
    }
    Dbg_LogPC(state);
    if (state->machine->deviceTime - slice->start >= slice->limit ||
        (wasRunning && !state->running))
        EndSlice(state, slice);
    return done;
}

// A request the next pass must see: a reset, a stop or a pause.
bool HostAsks(const EmulControl* control) {
    return control->resetRequest.load(std::memory_order_relaxed) ||
           control->stopRequest.load(std::memory_order_acquire) ||
           control->pauseRequest.load(std::memory_order_acquire);
}

}  // namespace

const char* Emul_StopMessage(uint8_t reason) {
    switch (reason) {
        case Z80_STOP_BREAKPOINT: return "BP reached.";
        case Z80_STOP_UNKNOWN_INSTRUCTION: return "Unknown instruction found.";
        case Z80_STOP_UNSUPPORTED_PORT: return "Out made on an unknown port.";
        case Z80_STOP_INVALID_PREFIX: return "Invalid Prefix. Check previous instruction.";
        case Z80_STOP_WATCHPOINT: return Wp_HitMessage();
        default: return nullptr;
    }
}

void Emul_SetSliceHook(Emul_SliceHook hook) {
    g_sliceHook.store(hook, std::memory_order_release);
}

void Emul_ThreadMain(EmulControl* control) {
    Dbg_CreateConsole();
    g_control = control;
    CPC_Machine* machine = CPC_Init(control->Type, control->crtcType);
    if (machine)
        Z80_Init(&g_processor, machine);
    else
        control->ended.store(1, std::memory_order_release);
    PAL_SetEvent(control->startedEvent);
    if (machine) Emul_RunLoop(&g_processor);
    if (control->ended.load(std::memory_order_acquire) && control->postMessage)
        control->postMessage(control->mainWindow, EMUL_MSG_ENDED);
    PAL_SetEvent(control->stoppedEvent);
}

bool Emul_RunOnThread(EmulControl* control, void (*job)(Z80_State*, void*), void* argument) {
    constexpr uint32_t kCheckMicroseconds = 200;
    if (control->ended.load(std::memory_order_acquire)) return false;
    control->jobArgument = argument;
    control->job.store(job, std::memory_order_release);
    while (control->job.load(std::memory_order_acquire)) {
        if (control->ended.load(std::memory_order_acquire)) {
            // The thread ended before it looked: the job is withdrawn, unless it ran.
            void (*expected)(Z80_State*, void*) = job;
            return !control->job.compare_exchange_strong(expected, nullptr);
        }
        PAL_SleepMicroseconds(kCheckMicroseconds);
    }
    return true;
}

void Emul_RunLoop(Z80_State* state) {
    EmulControl* control = g_control;
    Z80_Reset(state);  // the first machine reset completes the memory map
    Emul_StartPacing(state);
    Dbg_StartRunState(state);
    Slice slice{state->machine->deviceTime, EMUL_SLICE_MICROSECONDS};
    bool fullRedraw = true;
    for (;;) {
        Dbg_ShowRunState(state);
        const bool runningShown = state->running;
        if (fullRedraw) ShowAllPanels(state);
        fullRedraw = false;
        bool singleStep = false;

        uint8_t code = Dbg_PollKeys(state);
        const bool remote = code == DBG_NONE && (code = Rsp_Poll(state)) != DBG_NONE;
        if (code == DBG_QUIT) {
            control->ended.store(1, std::memory_order_release);
            break;
        }
        const uint8_t wasRunning = state->running;
        ActOnCode(state, code, &fullRedraw, &singleStep);
        // A stop a remote debugger asked for ends the slice, as a stop of a step does.
        if (remote && wasRunning && !state->running) EndSlice(state, &slice);

        // Looked at before it is taken: an exchange on every pass would cost a locked write.
        if (control->resetRequest.load(std::memory_order_relaxed) &&
            control->resetRequest.exchange(0, std::memory_order_acq_rel)) {
            // A running machine restarts from its ROM at once; a stopped one stays at 0.
            uint8_t running = state->running;
            Z80_Reset(state);
            state->running = running;
            if (!running) {  // a running machine's panels are drawn when it stops
                Dbg_ShowDisassembly(state, 1, 0);
                fullRedraw = true;
            }
        }
        if (auto job = control->job.load(std::memory_order_acquire)) {
            job(state, control->jobArgument);
            control->job.store(nullptr, std::memory_order_release);
            fullRedraw = true;
        }
        TAPE_TakeRequests();
        if (control->stopRequest.load(std::memory_order_acquire)) break;
        uint8_t pause = control->pauseRequest.load(std::memory_order_acquire);
        control->paused.store(pause, std::memory_order_release);
        if (control->running.load(std::memory_order_relaxed) != state->running) {
            control->running.store(state->running, std::memory_order_release);
            PAL_RequestStatusRefresh();  // the status line says whether the machine runs
            PAL_RequestRepaint();
        }

        if ((state->running && !pause) || singleStep) {
            // Until the monitor next looks at its keyboard, a pass would do nothing but
            // step while the machine runs and the host asks for nothing: those passes are
            // taken here, without the rest of the loop.
            // (Not before the status row has shown the machine running.)
            uint32_t quietPasses = runningShown && !singleStep ? Dbg_QuietPolls() : 0;
            for (;;) {
                // Every instruction but the last of a run stands for a pass without a poll.
                uint32_t done = Step(state, quietPasses + 1, &fullRedraw, &slice);
                quietPasses -= done - 1;
                Dbg_SkipQuietPolls(done - 1);
                if (quietPasses == 0 || !state->running || fullRedraw || HostAsks(control)) break;
                --quietPasses;
                Dbg_SkipQuietPolls(1);
            }
        } else if (!Dbg_PrepareIdlePoll() && !Rsp_IdleWait(state, EMUL_IDLE_SLEEP_MICROSECONDS)) {
            PAL_SleepMicroseconds(EMUL_IDLE_SLEEP_MICROSECONDS);  // waiting must not burn a core
        }
    }
    Wp_Clear(state);  // gives the machine its own operations back
    CPC_Shutdown(state->machine);
    Z80_FreeBreakpoints(state);
}
