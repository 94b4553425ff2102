// Real-time pacing: after each slice of emulated time the run loop waits until the
// host's clock has caught up with the machine's, sleeping while far ahead and yielding
// for the last stretch, so that a CPC second takes a host second.
#include "common/host_services.h"
#include "common/machine/emulation.h"
#include "common/machine/machine.h"
#include "common/sound/psg_sound_state.h"
#include "common/tape/tape.h"
#include "common/xtools/xtools.h"

namespace {

constexpr uint64_t kMicrosecondsPerSecond = 1000000;
// Sleeping overshoots by tens of microseconds, so the last stretch is spent yielding. Kept
// short: a yielding thread keeps its core busy, and the schedule below makes up for a
// late wake at the next slice anyway.
constexpr int64_t kYieldMicroseconds = 60;
// A host further behind than this gives up catching up and starts a new schedule, so
// that after a hold or a slow stretch the machine does not race.
constexpr int64_t kMaxLagMicroseconds = 100000;

// The ring's speed correction counts only while an audio device drains the ring: with
// none (sound off, no device, a headless run) the ring stays full and its correction would
// hold the machine 5 % below real time. A reader that has not called for this long is gone.
constexpr uint64_t kReaderGoneMicroseconds = 200000;

struct Pacing {
    bool available = false;
    uint32_t ringReads = 0;     // the reader's call count when it last changed
    uint64_t ringReadHost = 0;  // host counter at that change
    uint64_t frequency = 0;     // host counter ticks per second
    uint64_t hostSync = 0;      // host counter at the synchronisation point
    uint64_t deviceSync = 0;    // device time at the synchronisation point
};
Pacing g_pacing;

// Tick and microsecond conversions that do not overflow for long runs.
uint64_t TicksToMicroseconds(uint64_t ticks) {
    const uint64_t f = g_pacing.frequency;
    return ticks / f * kMicrosecondsPerSecond + ticks % f * kMicrosecondsPerSecond / f;
}
uint64_t MicrosecondsToTicks(uint64_t microseconds) {
    const uint64_t f = g_pacing.frequency;
    return microseconds / kMicrosecondsPerSecond * f +
           microseconds % kMicrosecondsPerSecond * f / kMicrosecondsPerSecond;
}

void Resynchronise(uint64_t host, uint64_t device) {
    g_pacing.hostSync = host;
    g_pacing.deviceSync = device;
}

int16_t SpeedCorrection(uint64_t now) {
    uint32_t reads = g_PsgSound.ringReads.load(std::memory_order_relaxed);
    if (reads != g_pacing.ringReads) {
        g_pacing.ringReads = reads;
        g_pacing.ringReadHost = now;
    }
    if (TicksToMicroseconds(now - g_pacing.ringReadHost) > kReaderGoneMicroseconds) return 0;
    return g_PsgSound.speedCorrection;
}

}  // namespace

void Emul_StartPacing(Z80_State* state) {
    g_pacing.available = PAL_QueryPerformanceFrequency(&g_pacing.frequency);
    g_pacing.ringReads = g_PsgSound.ringReads.load(std::memory_order_relaxed);
    g_pacing.ringReadHost = 0;  // no reader until it calls
    if (!g_pacing.available)
        XT_Trace("Emul_Run(): Performance counters not available - Running at full speed");
    Resynchronise(g_pacing.available ? PAL_QueryPerformanceCounter() : 0,
                  state->machine->deviceTime);
}

void Emul_Run(const EmulControl* control, Z80_State* state) {
    if (!g_pacing.available) return;
    const uint64_t device = state->machine->deviceTime;
    uint64_t now = PAL_QueryPerformanceCounter();
    // Fast loading: a moving tape lets the machine run unpaced.
    if (!control || !control->actualSpeed.load(std::memory_order_relaxed) || TAPE_Unpaced()) {
        Resynchronise(now, device);
        return;
    }
    int64_t emulated = static_cast<int64_t>(device - g_pacing.deviceSync) + SpeedCorrection(now);
    if (emulated <= 0) {  // a negative correction at least as large skips the wait
        Resynchronise(now, device);
        return;
    }
    int64_t real = static_cast<int64_t>(TicksToMicroseconds(now - g_pacing.hostSync));
    while (real < emulated) {
        int64_t ahead = emulated - real;
        PAL_SleepMicroseconds(
            ahead > kYieldMicroseconds ? static_cast<uint32_t>(ahead - kYieldMicroseconds) : 0);
        now = PAL_QueryPerformanceCounter();
        real = static_cast<int64_t>(TicksToMicroseconds(now - g_pacing.hostSync));
    }
    // Stay on the emulated schedule, so that waking late now and then does not add up.
    if (real - emulated > kMaxLagMicroseconds)
        Resynchronise(now, device);
    else
        Resynchronise(g_pacing.hostSync + MicrosecondsToTicks(static_cast<uint64_t>(emulated)),
                      device);
}
