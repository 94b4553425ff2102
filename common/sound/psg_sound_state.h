#pragma once
// Sound parameters that PSG_out computes and the two sound engines run on. They live
// outside the machine record, so the envelope level and step, the noise output and the
// noise shift register keep their values from one machine start to the next.
#include <atomic>
#include <cstdint>

// A value that the emulation, audio and user-interface threads share without a lock,
// where only the value itself matters: relaxed loads and stores, used like a plain field.
template <typename T>
struct PSG_Shared {
    std::atomic<T> value;

    constexpr PSG_Shared(T initial = T()) : value(initial) {}
    operator T() const { return value.load(std::memory_order_relaxed); }
    PSG_Shared& operator=(T v) {
        value.store(v, std::memory_order_relaxed);
        return *this;
    }
    PSG_Shared& operator=(const PSG_Shared& other) { return *this = static_cast<T>(other); }
};

constexpr int PSG_CHANNELS = 3;
constexpr int PSG_VOLUME_LEVELS = 16;
constexpr uint32_t PSG_SAMPLE_RING_BYTES = 32768;  // 8192 frames of 4 bytes
constexpr uint32_t PSG_FRAME_BYTES = 4;            // left then right, 16 bits each
constexpr uint32_t PSG_FRAMES_PER_SECOND = 44100;
constexpr uint32_t PSG_BLOCK_FRAMES = 1024;  // what the thread-driven engine makes per call
constexpr uint32_t PSG_CORRECTION_AT_LIMIT = 0xFFFFFFFF;
constexpr int16_t PSG_SPEED_RESET = 32767;

// Time-driven engine: counters and periods in microseconds. Thread-driven engine:
// frequencies in Hz and phase accumulators. Written by PSG_out on the emulation thread,
// read by the thread-driven engine on the audio thread.
struct PSG_Channel {
    PSG_Shared<uint16_t> frequency;
    PSG_Shared<uint16_t> counter;
    PSG_Shared<uint16_t> halfPeriod;  // tone period x 8; 0 stops the tone counter
    PSG_Shared<uint16_t> amplitude;   // an entry of the scaled volume table
    PSG_Shared<uint8_t> toneOutput;
    PSG_Shared<uint8_t> toneEnabled;
    PSG_Shared<uint8_t> noiseEnabled;
    PSG_Shared<uint8_t> envelopeMode;
};

struct PSG_SoundState {
    PSG_Channel channels[PSG_CHANNELS];

    PSG_Shared<uint16_t> noiseFrequency;
    PSG_Shared<uint16_t> noiseCounter;
    PSG_Shared<uint16_t> noisePeriod;  // NP x 16; 0 stops the noise counter
    PSG_Shared<uint16_t> noiseOutput;
    PSG_Shared<uint32_t> noiseShiftRegister{1};  // never reset

    // The envelope runs on the emulation thread only.
    uint8_t envelopeShape{};
    uint32_t envelopePeriod{};  // microseconds per step; 0 stops the envelope
    uint32_t envelopeTime{};
    int8_t envelopeLevel{};
    int8_t envelopeStep{};

    // Written by PSG_SetMasterVolume on the user-interface thread.
    PSG_Shared<uint16_t> scaledVolume[PSG_VOLUME_LEVELS];

    PSG_Shared<uint8_t> mute;
    // Set by PSG_Init from the configuration, so the audio thread never reads the machine.
    PSG_Shared<uint8_t> threadDriven;

    // Sample ring of the time-driven engine: the emulation thread writes frames and then
    // publishes the write position (release); the audio thread reads up to the position it
    // acquired and then publishes its read position. The bytes are atomic too: a machine
    // reset moves both positions while the reader may still be copying.
    PSG_Shared<uint8_t> sampleRing[PSG_SAMPLE_RING_BYTES];
    std::atomic<uint32_t> ringRead{0};
    std::atomic<uint32_t> ringWrite{0};
    uint32_t sampleAccumulator{};  // emulation thread only
    // Time held back from the tones, noise and envelope of the time-driven engine while no
    // toggle, noise step or envelope step falls within quietLimit microseconds (emulation
    // thread). Frames are counted on every step.
    uint32_t quietPending{};
    uint32_t quietLimit{};
    // Counts the reader's calls, so that pacing can tell whether anything drains the ring.
    std::atomic<uint32_t> ringReads{0};

    // Pacing feedback, shown on the status line.
    PSG_Shared<int16_t> speedCorrection;
    PSG_Shared<int32_t> correctionSum;
    PSG_Shared<uint32_t> correctionCount;  // PSG_CORRECTION_AT_LIMIT once a limit was hit
    PSG_Shared<uint8_t> bufferHighIndicator;
    PSG_Shared<uint8_t> bufferLowIndicator;
};

extern PSG_SoundState g_PsgSound;

// Amplitudes of PSG volumes 0 to 15 at full master level.
extern const uint16_t PSG_BASE_VOLUME[PSG_VOLUME_LEVELS];

// Zeroes one channel record.
void PSG_ClearChannel(PSG_Channel* channel);

// Time-driven engine: advances tones, noise and envelope and produces samples into the
// ring; called by PSG_Update when the time-driven engine is in use.
void PSG_UpdateSound(uint8_t microseconds);
// The time-driven engine's part of PSG_QuietTime.
uint32_t PSG_SoundQuietTime();
// Counts the time the time-driven engine held back, before anything reads or changes the
// sound parameters.
void PSG_ApplyQuietTime();
// Advances the envelope by the elapsed microseconds (time-driven engine only).
void PSG_UpdateEnvelope(uint8_t microseconds);
// The current frame of the time-driven engine: left = A + B, right = B + C.
void PSG_MixSample(int16_t* left, int16_t* right);
// Thread-driven engine: FRAMES frames from the channel frequencies into BUFFER (4 bytes
// each); nothing at all while muted.
void PSG_SynthesizeBlock(uint8_t* buffer, uint32_t frames);
// Takes up to SIZE bytes out of the sample ring; reports the ring's level as speed
// correction and indicators. Returns the bytes copied.
uint32_t PSG_ReadRing(uint8_t* buffer, uint32_t size);

// The mixer rule of one channel: +amplitude while its enabled tone or its enabled noise
// is high, -amplitude otherwise (so a channel with nothing enabled holds -amplitude). A
// stopped tone (period or frequency 0) counts as high.
inline int PSG_ChannelValue(uint16_t amplitude, bool toneEnabled, bool toneHigh, bool noiseEnabled,
                            bool noiseHigh) {
    bool on = (toneEnabled && toneHigh) || (noiseEnabled && noiseHigh);
    return on ? amplitude : -static_cast<int>(amplitude);
}

// The noise step both engines share: the output flips when bit 0 of the shift register is
// set, then the register shifts left and takes the feedback once its bit 31 is set.
inline void PSG_StepNoise(uint32_t* shiftRegister, uint16_t* output) {
    uint32_t value = *shiftRegister;
    if (value & 1) *output ^= 1;
    value <<= 1;
    if (value & 0x80000000u) value ^= 0x08000001u;
    *shiftRegister = value;
}
