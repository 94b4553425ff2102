// The run loop of the headless runner. It follows the emulation thread's loop without
// the monitor: build, reset, set running, and step whole instructions. A stop reason is
// reported and then cleared, since there is no monitor to stop into.
#include "tools/runner/runner_machine.h"

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/video/renderer.h"
#include "tools/runner/screen_text.h"

namespace {

// A processor that does not advance time this many steps in a row is stuck.
constexpr int MAX_STEPS_WITHOUT_TIME = 100000;
// Distinct stop kinds kept; more are still counted in the last record's total.
constexpr size_t MAX_STOP_KINDS = 64;

// Key pacing: the firmware scans the keyboard once per frame (20 ms), so a key stays down
// for two scans after the key feed has put it in the matrix, and up for two more.
constexpr uint64_t KEY_HOLD_MICROSECONDS = 40000;
constexpr uint64_t KEY_GAP_MICROSECONDS = 40000;
constexpr uint64_t KEY_FEED_LIMIT_MICROSECONDS = 2000000;
constexpr uint64_t SLICE_MICROSECONDS = 1000;
// How often --until-text looks at the screen: once per frame.
constexpr uint64_t TEXT_CHECK_MICROSECONDS = 20000;
constexpr uint64_t HOOK_SLICE_MICROSECONDS = 1000;

// CPC time: the microseconds the devices receive, counted on their way to the machine.
// It runs ahead of the processor's counter by what port instructions hand on early.
uint64_t g_cpcMicroseconds = 0;

void CountedUpdate(uint8_t microseconds) {
    g_cpcMicroseconds += microseconds;
    CPC_Update(microseconds);
}

void RecordStop(RunnerMachine& machine) {
    Z80_State& cpu = machine.processor;
    uint8_t reason = cpu.stopReason;
    uint16_t pc = cpu.startPC;
    cpu.stopReason = Z80_STOP_NONE;
    cpu.running = 1;

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
        std::fprintf(machine.stopLog, "stop: reason %u at PC=%04X (%s) at %llu us\n", reason, pc,
                     Runner_StopMessage(reason), static_cast<unsigned long long>(machine.elapsed));
    }
}

bool RunUntilKeysFed(RunnerMachine& machine) {
    uint64_t waited = 0;
    while (!PSG_KeyQueueEmpty() && waited < KEY_FEED_LIMIT_MICROSECONDS) {
        if (!Runner_Run(machine, SLICE_MICROSECONDS)) return false;
        waited += SLICE_MICROSECONDS;
    }
    return PSG_KeyQueueEmpty();
}

}  // namespace

const char* Runner_StopMessage(uint8_t reason) {
    switch (reason) {
        case Z80_STOP_BREAKPOINT: return "BP reached.";
        case Z80_STOP_UNKNOWN_INSTRUCTION: return "Unknown instruction found.";
        case Z80_STOP_UNSUPPORTED_PORT: return "Out made on an unknown port.";
        case Z80_STOP_INVALID_PREFIX: return "Invalid Prefix. Check previous instruction.";
        default: return "";
    }
}

bool Runner_StartMachine(RunnerMachine& machine, uint8_t type, uint8_t crtcType,
                         const std::string& romDirectory, std::string& error) {
    // The host's part of the start: pixel tables and a frame buffer filled with black.
    PAL_InitVideoTables();
    machine.frameBuffer.assign(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
    PAL_SetFrameBuffer(machine.frameBuffer.data());
    PAL_SetRomDirectory(romDirectory.c_str());

    CPC_Machine* cpc = CPC_Init(type, crtcType);
    if (cpc == nullptr) {
        PAL_SetFrameBuffer(nullptr);
        error =
            "the machine could not start: a ROM file is missing or too short in " + romDirectory;
        return false;
    }
    cpc->Update = CountedUpdate;
    machine.processor = Z80_State{};
    Z80_Init(&machine.processor, cpc);
    Z80_Reset(&machine.processor);
    machine.processor.running = 1;  // as if the monitor's run command had been given
    machine.elapsed = 0;
    machine.stalled = false;
    machine.stops.clear();
    machine.started = true;
    return true;
}

void Runner_ShutdownMachine(RunnerMachine& machine) {
    if (!machine.started) return;
    CPC_Shutdown(&g_Machine);
    PAL_SetFrameBuffer(nullptr);
    machine.started = false;
}

bool Runner_Run(RunnerMachine& machine, uint64_t microseconds) {
    if (!machine.started || machine.stalled) return false;
    Z80_State& cpu = machine.processor;
    uint64_t end = machine.elapsed + microseconds;
    uint64_t slice = 0;
    int stepsWithoutTime = 0;
    while (machine.elapsed < end) {
        uint64_t before = g_cpcMicroseconds;
        Z80_StepInstruction(&cpu);
        uint64_t spent = g_cpcMicroseconds - before;
        machine.elapsed += spent;
        if (cpu.stopReason != Z80_STOP_NONE) RecordStop(machine);
        if (spent != 0) {
            stepsWithoutTime = 0;
        } else if (++stepsWithoutTime >= MAX_STEPS_WITHOUT_TIME) {
            machine.stalled = true;
            break;
        }
        slice += spent;
        if (slice >= HOOK_SLICE_MICROSECONDS && machine.sliceHook) {
            machine.sliceHook(machine.sliceContext, slice);
            slice = 0;
        }
    }
    if (slice && machine.sliceHook) machine.sliceHook(machine.sliceContext, slice);
    return !machine.stalled;
}

bool Runner_RunUntilText(RunnerMachine& machine, const std::string& text,
                         uint64_t timeoutMicroseconds) {
    uint64_t waited = 0;
    while (true) {
        if (Runner_ScreenShows(Runner_ScreenText(), text)) return true;
        if (waited >= timeoutMicroseconds) return false;
        uint64_t slice = timeoutMicroseconds - waited;
        if (slice > TEXT_CHECK_MICROSECONDS) slice = TEXT_CHECK_MICROSECONDS;
        if (!Runner_Run(machine, slice)) return false;
        waited += slice;
    }
}

bool Runner_Type(RunnerMachine& machine, const std::vector<KeyStroke>& strokes) {
    for (const KeyStroke& stroke : strokes) {
        if (stroke.shifted) PSG_KeyEvent(PSG_KEY_SHIFT, 1);
        PSG_KeyEvent(stroke.code, 1);
        if (!RunUntilKeysFed(machine) || !Runner_Run(machine, KEY_HOLD_MICROSECONDS)) return false;
        PSG_KeyEvent(stroke.code, 0);
        if (stroke.shifted) PSG_KeyEvent(PSG_KEY_SHIFT, 0);
        if (!RunUntilKeysFed(machine) || !Runner_Run(machine, KEY_GAP_MICROSECONDS)) return false;
    }
    return true;
}

std::vector<std::string> Runner_ScreenText() {
    ScreenView view{};
    if (!Runner_CurrentScreen(view)) return {};
    return Runner_ReadScreenText(view);
}

void Runner_ReportRepeatedStops(const RunnerMachine& machine, std::FILE* out) {
    for (const RunnerStop& stop : machine.stops) {
        if (stop.count > 1) {
            std::fprintf(out, "stop: reason %u at PC=%04X happened %llu times\n", stop.reason,
                         stop.pc, static_cast<unsigned long long>(stop.count));
        }
    }
}
