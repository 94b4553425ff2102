// Time-driven sound engine: tones, noise and the envelope advance by the emulated
// microseconds of each step, and 44100 frames per emulated second go into the sample
// ring, spread evenly. Runs on the emulation thread after every instruction, so each call
// does a fixed, small amount of work.
#include <algorithm>

#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"

namespace {

constexpr uint32_t kMicrosecondsPerSecond = 1000000;
constexpr uint32_t kRingMask = PSG_SAMPLE_RING_BYTES - 1;
constexpr int16_t kRingFullCorrection = 10;
constexpr int8_t kLowestLevel = 0;
constexpr int8_t kHighestLevel = 15;

// A counter that ran out is reloaded with the period, less the time already past zero.
// When the period is shorter than that time the result would go below zero; it stops at
// 0 instead, so the output toggles again at the next step rather than holding still
// until a 16-bit wrap comes round.
inline uint16_t Reload(uint16_t counter, uint16_t period, uint8_t elapsed) {
    uint32_t reloaded = uint32_t{counter} + period;
    return reloaded > elapsed ? static_cast<uint16_t>(reloaded - elapsed) : 0;
}

// A ramp has gone past either end (level -1 or 16); the shape says what follows.
void EndRamp(PSG_SoundState& s) {
    switch (s.envelopeShape) {
        case 8: s.envelopeLevel = kHighestLevel; break;  // the decay repeats
        case 10:
        case 14:  // a triangle: the end level is held for two steps
            s.envelopeStep = static_cast<int8_t>(-s.envelopeStep);
            s.envelopeLevel = static_cast<int8_t>(s.envelopeLevel + s.envelopeStep);
            break;
        case 11:
        case 13:
            s.envelopeLevel = kHighestLevel;
            s.envelopeStep = 0;
            break;
        case 12: s.envelopeLevel = kLowestLevel; break;  // the attack repeats
        default:                                         // 0-7, 9 and 15 end silent
            s.envelopeLevel = kLowestLevel;
            s.envelopeStep = 0;
            break;
    }
}

// The ring has no room for the frame that completes at the elapsed time: this frame and
// the rest of the step's time produce nothing. The accumulator keeps its value from the
// microsecond at which that frame fell due.
void DropFrames(PSG_SoundState& s, uint32_t accumulator, uint32_t frame) {
    uint32_t due = frame * kMicrosecondsPerSecond - accumulator;
    uint32_t microseconds = (due + PSG_FRAMES_PER_SECOND - 1) / PSG_FRAMES_PER_SECOND;
    s.sampleAccumulator =
        accumulator + microseconds * PSG_FRAMES_PER_SECOND - frame * kMicrosecondsPerSecond;
    Emul_SetBufferIndicator(PSG_INDICATOR_RING_FULL);
    Emul_AdjustSpeed(kRingFullCorrection);
}

// The accumulator plus elapsed x 44100 (TOTAL) has passed a million at least once: one
// frame for each million. Nothing changes within one call, so every frame of the call is
// the same. Kept out of line: most calls make no frame.
__attribute__((noinline)) void ProduceFrames(PSG_SoundState& s, uint32_t total) {
    uint32_t accumulator = s.sampleAccumulator;
    uint32_t frames = total / kMicrosecondsPerSecond;
    int16_t left, right;
    PSG_MixSample(&left, &right);
    const uint8_t bytes[PSG_FRAME_BYTES] = {
        static_cast<uint8_t>(left), static_cast<uint8_t>(static_cast<uint16_t>(left) >> 8),
        static_cast<uint8_t>(right), static_cast<uint8_t>(static_cast<uint16_t>(right) >> 8)};

    uint32_t write = s.ringWrite.load(std::memory_order_relaxed) & kRingMask;
    uint32_t read = s.ringRead.load(std::memory_order_acquire);
    for (uint32_t frame = 1; frame <= frames; ++frame) {
        uint32_t next = (write + PSG_FRAME_BYTES) & kRingMask;
        if (next == read) {
            s.ringWrite.store(write, std::memory_order_release);
            DropFrames(s, accumulator, frame);
            return;
        }
        for (uint32_t i = 0; i < PSG_FRAME_BYTES; ++i) s.sampleRing[write + i] = bytes[i];
        write = next;
    }
    s.ringWrite.store(write, std::memory_order_release);
    s.sampleAccumulator = total - frames * kMicrosecondsPerSecond;
}

}  // namespace

void PSG_MixSample(int16_t* left, int16_t* right) {
    const PSG_SoundState& s = g_PsgSound;
    bool noiseHigh = s.noisePeriod != 0 && s.noiseOutput != 0;
    int value[PSG_CHANNELS];
    for (int i = 0; i < PSG_CHANNELS; ++i) {
        const PSG_Channel& ch = s.channels[i];
        value[i] =
            PSG_ChannelValue(ch.amplitude, ch.toneEnabled, ch.halfPeriod == 0 || ch.toneOutput,
                             ch.noiseEnabled, noiseHigh);
    }
    *left = static_cast<int16_t>(value[0] + value[1]);
    *right = static_cast<int16_t>(value[1] + value[2]);
}

void PSG_UpdateEnvelope(uint8_t elapsed) {
    PSG_SoundState& s = g_PsgSound;
    if (s.envelopePeriod == 0 || s.envelopeStep == 0) return;
    s.envelopeTime += elapsed;
    while (s.envelopeTime >= s.envelopePeriod) {
        s.envelopeTime -= s.envelopePeriod;
        if (s.envelopeStep == 0) continue;
        s.envelopeLevel = static_cast<int8_t>(s.envelopeLevel + s.envelopeStep);
        if (s.envelopeLevel < kLowestLevel || s.envelopeLevel > kHighestLevel) EndRamp(s);
        uint16_t amplitude = s.scaledVolume[s.envelopeLevel & 0x0F];
        for (PSG_Channel& ch : s.channels)
            if (ch.envelopeMode) ch.amplitude = amplitude;
    }
}

namespace {

// Advances tones, noise and envelope by ELAPSED microseconds, at most one toggle per
// channel and one noise step.
void AdvanceCounters(PSG_SoundState& s, uint8_t elapsed) {
    // A finished envelope (step 0) keeps its level until the next restart, which also
    // clears its time, so that time need not be counted.
    if (s.envelopePeriod != 0 && s.envelopeStep != 0) PSG_UpdateEnvelope(elapsed);

    // At most one toggle per channel and one noise step per call.
    for (PSG_Channel& ch : s.channels) {
        uint16_t halfPeriod = ch.halfPeriod;
        if (halfPeriod == 0) continue;
        uint16_t counter = ch.counter;
        if (counter <= elapsed) {
            ch.counter = Reload(counter, halfPeriod, elapsed);
            ch.toneOutput = ch.toneOutput ^ 1;
        } else {
            ch.counter = static_cast<uint16_t>(counter - elapsed);
        }
    }
    uint16_t noisePeriod = s.noisePeriod;
    if (noisePeriod != 0) {
        uint16_t counter = s.noiseCounter;
        if (counter <= elapsed) {
            s.noiseCounter = Reload(counter, noisePeriod, elapsed);
            uint32_t shiftRegister = s.noiseShiftRegister;
            uint16_t output = s.noiseOutput;
            PSG_StepNoise(&shiftRegister, &output);
            s.noiseShiftRegister = shiftRegister;
            s.noiseOutput = output;
        } else {
            s.noiseCounter = static_cast<uint16_t>(counter - elapsed);
        }
    }
}

// The frames of the elapsed time, after the step's toggles: counted on every call, so
// that a frame never waits for an event.
inline void AccumulateFrames(PSG_SoundState& s, uint8_t elapsed) {
    if (s.mute) return;
    uint32_t total = s.sampleAccumulator + elapsed * PSG_FRAMES_PER_SECOND;
    if (total < kMicrosecondsPerSecond)
        s.sampleAccumulator = total;
    else
        ProduceFrames(s, total);
}

// How many microseconds may pass from now with no toggle, noise step or envelope step:
// each counter must stay above zero.
uint32_t QuietTime(const PSG_SoundState& s) {
    auto beforeZero = [](uint16_t counter) { return counter ? counter - 1u : 0u; };
    uint32_t quiet = 0xFFFF;
    for (const PSG_Channel& ch : s.channels)
        if (ch.halfPeriod != 0) quiet = std::min(quiet, beforeZero(ch.counter));
    if (s.noisePeriod != 0) quiet = std::min(quiet, beforeZero(s.noiseCounter));
    if (s.envelopePeriod != 0 && s.envelopeStep != 0)
        quiet = std::min(quiet, s.envelopePeriod - s.envelopeTime - 1);
    return quiet;
}

}  // namespace

void PSG_ApplyQuietTime() {
    PSG_SoundState& s = g_PsgSound;
    uint32_t pending = s.quietPending;
    s.quietLimit = 0;
    if (pending == 0) return;
    s.quietPending = 0;
    if (s.envelopePeriod != 0 && s.envelopeStep != 0) s.envelopeTime += pending;
    for (PSG_Channel& ch : s.channels)
        if (ch.halfPeriod != 0) ch.counter = static_cast<uint16_t>(ch.counter - pending);
    if (s.noisePeriod != 0) s.noiseCounter = static_cast<uint16_t>(s.noiseCounter - pending);
}

namespace {

// The call that reaches an event: the held-back time first, then this call's.
__attribute__((noinline)) void ReachEvent(PSG_SoundState& s, uint8_t elapsed) {
    PSG_ApplyQuietTime();
    AdvanceCounters(s, elapsed);
    s.quietLimit = QuietTime(s);
}

}  // namespace

uint32_t PSG_SoundQuietTime() {
    const PSG_SoundState& s = g_PsgSound;
    uint32_t quiet = s.quietLimit - s.quietPending;
    if (s.mute) return quiet;
    uint32_t accumulated = s.sampleAccumulator;
    if (accumulated >= kMicrosecondsPerSecond) return 0;
    return std::min(quiet, (kMicrosecondsPerSecond - 1 - accumulated) / PSG_FRAMES_PER_SECOND);
}

// Most calls fall where no counter runs out; their time is only added up, and counted
// all at once before the next call that reaches an event. Out of line, so that the
// machine's per-step update stays small enough to be inlined; the rare paths are calls
// of their own, so that the common one saves no registers.
__attribute__((noinline)) void PSG_UpdateSound(uint8_t elapsed) {
    PSG_SoundState& s = g_PsgSound;
    uint32_t pending = s.quietPending + elapsed;
    if (pending <= s.quietLimit)
        s.quietPending = pending;
    else
        ReachEvent(s, elapsed);
    AccumulateFrames(s, elapsed);
}
