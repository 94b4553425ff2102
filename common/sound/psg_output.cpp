// The audio thread's side of the sound: reading the sample ring of the time-driven engine
// with its level feedback, and the thread-driven engine, which computes whole blocks from
// the frequencies PSG_out sets, independent of emulated time.
#include <algorithm>

#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"

namespace {

// Ring levels in bytes that the feedback tells apart.
constexpr uint32_t kRingHighLevel = 24577;
constexpr uint32_t kRingLowLevel = 8192;
constexpr int16_t kRingHighCorrection = 5;
constexpr int16_t kRingLowCorrection = -5;
constexpr int16_t kRingEmptyCorrection = -10;

// The thread-driven engine's phase accumulators count 44100ths of a second against
// frequencies in Hz, so an output that flips at each 22050 makes a wave of that frequency.
constexpr uint32_t kHalfCycle = PSG_FRAMES_PER_SECOND / 2;

void CopyFromRing(uint8_t* buffer, uint32_t from, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) buffer[i] = g_PsgSound.sampleRing[from + i];
}

struct Voice {
    uint16_t frequency;
    uint32_t counter;
    uint16_t amplitude;
    uint8_t toneOutput;
    bool toneEnabled;
    bool noiseEnabled;
};

}  // namespace

uint32_t PSG_ReadRing(uint8_t* buffer, uint32_t size) {
    PSG_SoundState& s = g_PsgSound;
    s.ringReads.fetch_add(1, std::memory_order_relaxed);
    // A reset on the emulation thread may set both positions to 0 at any time; whatever
    // is read here, every index stays inside the ring.
    uint32_t read = s.ringRead.load(std::memory_order_relaxed) % PSG_SAMPLE_RING_BYTES;
    uint32_t write = s.ringWrite.load(std::memory_order_acquire) % PSG_SAMPLE_RING_BYTES;
    uint32_t level = write >= read ? write - read : PSG_SAMPLE_RING_BYTES - read + write;

    if (level >= kRingHighLevel) {
        Emul_SetBufferIndicator(PSG_INDICATOR_RING_HIGH);
        Emul_AdjustSpeed(kRingHighCorrection);
    } else if (level >= kRingLowLevel) {
        Emul_AdjustSpeed(0);
    } else {
        Emul_SetBufferIndicator(PSG_INDICATOR_RING_LOW);
        Emul_AdjustSpeed(kRingLowCorrection);
    }
    if (level == 0) {
        Emul_SetBufferIndicator(PSG_INDICATOR_RING_EMPTY);
        Emul_AdjustSpeed(kRingEmptyCorrection);
        return 0;
    }

    bool wrapped = write < read;
    uint32_t copied = std::min((wrapped ? PSG_SAMPLE_RING_BYTES : write) - read, size);
    CopyFromRing(buffer, read, copied);
    read = (read + copied) % PSG_SAMPLE_RING_BYTES;
    if (copied < size && wrapped) {  // the rest goes on at the start of the ring
        uint32_t more = std::min(write, size - copied);
        CopyFromRing(buffer + copied, 0, more);
        read = more;
        copied += more;
    }
    s.ringRead.store(read, std::memory_order_release);
    return copied;
}

void PSG_SynthesizeBlock(uint8_t* buffer, uint32_t frames) {
    PSG_SoundState& s = g_PsgSound;
    if (s.mute) return;
    // The channel records are written by PSG_out on the emulation thread; one block runs
    // on the values it finds at its start.
    Voice voices[PSG_CHANNELS];
    for (int i = 0; i < PSG_CHANNELS; ++i) {
        const PSG_Channel& ch = s.channels[i];
        voices[i] = {ch.frequency,  ch.counter,          ch.amplitude,
                     ch.toneOutput, ch.toneEnabled != 0, ch.noiseEnabled != 0};
    }
    uint32_t noiseFrequency = s.noiseFrequency;
    uint32_t noiseCounter = s.noiseCounter;
    uint16_t noiseOutput = s.noiseOutput;
    uint32_t shiftRegister = s.noiseShiftRegister;

    for (uint32_t frame = 0; frame < frames; ++frame) {
        bool noiseHigh = noiseFrequency != 0 && noiseOutput != 0;
        int value[PSG_CHANNELS];
        for (int i = 0; i < PSG_CHANNELS; ++i) {
            Voice& v = voices[i];
            value[i] =
                PSG_ChannelValue(v.amplitude, v.toneEnabled, v.frequency == 0 || v.toneOutput,
                                 v.noiseEnabled, noiseHigh);
            if (v.frequency == 0) continue;
            v.counter += v.frequency;
            if (v.counter >= kHalfCycle) {
                v.toneOutput ^= 1;
                v.counter -= kHalfCycle;
            }
        }
        // The noise register steps once every 16 x NP microseconds, NOISE FREQUENCY times a
        // second, up to 62500: above the 44100 one step per frame allows, so it steps as
        // often as the counter passes a whole second's frames, and stays within 16 bits.
        noiseCounter += noiseFrequency;
        while (noiseCounter >= PSG_FRAMES_PER_SECOND) {
            PSG_StepNoise(&shiftRegister, &noiseOutput);
            noiseCounter -= PSG_FRAMES_PER_SECOND;
        }
        uint16_t left = static_cast<uint16_t>(value[0] + value[1]);
        uint16_t right = static_cast<uint16_t>(value[1] + value[2]);
        uint8_t* out = buffer + frame * PSG_FRAME_BYTES;
        out[0] = static_cast<uint8_t>(left);
        out[1] = static_cast<uint8_t>(left >> 8);
        out[2] = static_cast<uint8_t>(right);
        out[3] = static_cast<uint8_t>(right >> 8);
    }

    for (int i = 0; i < PSG_CHANNELS; ++i) {
        s.channels[i].counter = static_cast<uint16_t>(voices[i].counter);
        s.channels[i].toneOutput = voices[i].toneOutput;
    }
    s.noiseCounter = static_cast<uint16_t>(noiseCounter);
    s.noiseOutput = noiseOutput;
    s.noiseShiftRegister = shiftRegister;
}

uint32_t PSG_FillBuffer(uint8_t* buffer, uint32_t size) {
    if (!buffer) return 0;
    if (!g_PsgSound.threadDriven) return PSG_ReadRing(buffer, size);
    // A full block is 4096 bytes; a smaller buffer gets the whole frames that fit.
    uint32_t frames = std::min(size / PSG_FRAME_BYTES, PSG_BLOCK_FRAMES);
    PSG_SynthesizeBlock(buffer, frames);
    return frames * PSG_FRAME_BYTES;
}

void PSG_Mute() {
    g_PsgSound.mute = 1;
}

void PSG_Unmute() {
    g_PsgSound.mute = 0;
}

void Emul_SetBufferIndicator(uint8_t code) {
    PSG_SoundState& s = g_PsgSound;
    switch (code) {
        case PSG_INDICATOR_RING_HIGH:
            if (s.bufferHighIndicator == 0) s.bufferHighIndicator = 1;
            break;
        case PSG_INDICATOR_RING_FULL: s.bufferHighIndicator = 2; break;
        case PSG_INDICATOR_RING_LOW:
            if (s.bufferLowIndicator == 0) s.bufferLowIndicator = 1;
            break;
        case PSG_INDICATOR_RING_EMPTY: s.bufferLowIndicator = 2; break;
        default: break;
    }
}
