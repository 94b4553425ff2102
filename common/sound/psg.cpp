// AY-3-8912 register file, its bus operations and the sound parameters each register
// write produces. The PSG clock is 1 MHz, so one emulated microsecond is one PSG clock.
#include "common/sound/psg.h"

#include <algorithm>

#include "common/machine/machine.h"
#include "common/sound/psg_sound_state.h"
#include "common/xtools/xtools.h"
#include "common/z80/z80.h"

namespace {

constexpr uint8_t KEYBOARD_REGISTER = 14;
constexpr uint16_t THREAD_ENGINE_CLOCK = 62500;  // PSG clock / 16, in Hz
constexpr uint16_t THREAD_ENGINE_MAX_FREQUENCY = 22050;

PSG_State& Psg() {
    return g_Machine.psg;
}

bool ThreadDrivenEngine() {
    return (g_Machine.Type & CPC_TYPE_THREAD_SOUND) != 0;
}

// The processor's microsecond counter, printed first in the busier traces.
int TraceTime() {
    return g_Machine.processor ? static_cast<int>(g_Machine.processor->time) : 0;
}

void ClearKeyboardMatrix() {
    PSG_State& psg = Psg();
    for (uint8_t& row : psg.keyboardMatrix) row = 0xFF;
    for (uint8_t& row : psg.unreadChanges) row = 0;
    for (uint8_t& row : psg.readOnceChanges) row = 0;
    psg.feedsWaitingForRead = 0;
}

void ClearKeyTranslator() {
    PSG_State& psg = Psg();
    psg.shiftHeld.store(0, std::memory_order_relaxed);
    psg.shiftOverride.store(PSG_SHIFT_OVERRIDE_NONE, std::memory_order_relaxed);
    psg.lastSymbolRow.store(PSG_NO_SYMBOL_ROW, std::memory_order_relaxed);
}

void SetTonePeriod(uint8_t reg, uint8_t value) {
    const uint8_t* r = Psg().registers;
    int channel = reg / 2;
    uint16_t period = static_cast<uint16_t>((r[2 * channel + 1] & 0x0F) * 256 + r[2 * channel]);
    PSG_Channel& ch = g_PsgSound.channels[channel];
    if (ThreadDrivenEngine()) {
        uint16_t frequency = period >= 5 ? THREAD_ENGINE_CLOCK / period : 0;
        if (frequency > THREAD_ENGINE_MAX_FREQUENCY) frequency = 0;
        ch.frequency = frequency;
        XT_Trace("U:%d-PSG_out(%d,%d): Ch(%d): Freq=%d (Period=%d)", TraceTime(), reg, value,
                 channel, frequency, period);
    } else {
        ch.halfPeriod = static_cast<uint16_t>(period * 8);
        XT_Trace("U:%d-PSG_out(%d,%d): Ch(%d): Period=%d", TraceTime(), reg, value, channel,
                 period);
    }
}

void SetNoisePeriod(uint8_t reg, uint8_t value) {
    if (value & 0xE0) XT_Trace("PSG_out(%d,%d): NoiseFreq: Bad value", reg, value);
    uint16_t period = Psg().registers[6] & 0x1F;
    if (ThreadDrivenEngine()) {
        uint16_t frequency = period ? THREAD_ENGINE_CLOCK / period : 0;
        g_PsgSound.noiseFrequency = frequency;
        XT_Trace("PSG_out(%d,%d): NoiseFreq, Freq=%d (Period=%d)", reg, value, frequency, period);
    } else {
        g_PsgSound.noisePeriod = static_cast<uint16_t>(period * 16);
        XT_Trace("PSG_out(%d,%d): Period=%d", reg, value, period);
    }
}

void SetMixer(uint8_t reg, uint8_t value) {
    XT_Trace("PSG_out(%d,%d): Mixer Control", reg, value);
    if (value & 0x40) {
        // The CPC wires port A as the keyboard input; output there would fight the matrix.
        XT_Trace("PSG_out(): PSG port A set to output: UNSUPPORTED");
        CPC_StopOnUnsupportedPort();
    }
    uint8_t bits = value;
    for (PSG_Channel& ch : g_PsgSound.channels) {
        ch.toneEnabled = (bits & 0x01) ? 0 : 1;
        ch.noiseEnabled = (bits & 0x08) ? 0 : 1;
        bits >>= 1;
    }
    if (g_TraceLevel < 1) return;  // the line below is only worth building when traced
    char line[96];
    int length = XT_Sprintf(line, "PSG_out(): ");
    for (int channel = 0; channel < PSG_CHANNELS; ++channel) {
        const PSG_Channel& ch = g_PsgSound.channels[channel];
        length += XT_Sprintf(line + length, "Ch(%d): [T:%d,N:%d] ", channel,
                             static_cast<int>(ch.toneEnabled), static_cast<int>(ch.noiseEnabled));
    }
    XT_Trace("%s", line);
}

void SetVolume(uint8_t reg, uint8_t value) {
    int channel = reg - 8;
    PSG_Channel& ch = g_PsgSound.channels[channel];
    uint8_t envelopeMode = (value >> 4) & 1;
    int level = envelopeMode ? (g_PsgSound.envelopeLevel & 0x0F) : (value & 0x0F);
    uint16_t amplitude = g_PsgSound.scaledVolume[level];
    ch.envelopeMode = envelopeMode;
    ch.amplitude = amplitude;
    XT_Trace("U:%d-PSG_out(%d,%d): Ch(%d): Vol=%d (%d), Amplitude:%s", TraceTime(), reg, value,
             channel, value & 0x0F, amplitude, envelopeMode ? "Env" : "Constant");
}

}  // namespace

void PSG_Init() {
    ClearKeyboardMatrix();
    Psg().feedCountdown = PSG_KEY_FEED_PERIOD;
    ClearKeyTranslator();
    for (int i = 0; i < PSG_VOLUME_LEVELS; ++i) g_PsgSound.scaledVolume[i] = PSG_BASE_VOLUME[i];
    g_PsgSound.threadDriven = ThreadDrivenEngine() ? 1 : 0;
}

void PSG_Reset() {
    PSG_State& psg = Psg();
    ClearKeyboardMatrix();
    // The reader empties the queue by catching up with the writer. The write index is the
    // user-interface thread's alone: writing it here could replay old events or lose a key
    // typed during the reset.
    psg.keyQueueRead.store(psg.keyQueueWrite.load(std::memory_order_acquire),
                           std::memory_order_release);
    ClearKeyTranslator();

    for (PSG_Channel& ch : g_PsgSound.channels) PSG_ClearChannel(&ch);
    g_PsgSound.noiseFrequency = 0;
    g_PsgSound.noiseCounter = 0;
    g_PsgSound.noisePeriod = 0;
    g_PsgSound.envelopePeriod = 0;
    g_PsgSound.envelopeTime = 0;
    g_PsgSound.envelopeShape = 0;
    g_PsgSound.ringRead.store(0, std::memory_order_release);
    g_PsgSound.ringWrite.store(0, std::memory_order_release);
    g_PsgSound.sampleAccumulator = 0;
    g_PsgSound.quietPending = 0;
    g_PsgSound.quietLimit = 0;
}

void PSG_Select(uint8_t data) {
    Psg().selectedRegister = data & 0x0F;
}

void PSG_Write(uint8_t data) {
    PSG_State& psg = Psg();
    psg.registers[psg.selectedRegister] = data;
    PSG_out(psg.selectedRegister, data);
}

uint8_t PSG_Read(uint8_t portC) {
    PSG_State& psg = Psg();
    // The keyboard is sampled at the read, not continuously.
    if (psg.selectedRegister == KEYBOARD_REGISTER) {
        uint8_t row = portC & 0x0F;
        psg.registers[KEYBOARD_REGISTER] = psg.keyboardMatrix[row];
        if (row < PSG_KEYBOARD_ROWS) {
            psg.readOnceChanges[row] = psg.unreadChanges[row];
            psg.unreadChanges[row] = 0;
        }
    }
    return psg.registers[psg.selectedRegister];
}

void PSG_out(uint8_t reg, uint8_t value) {
    if (reg > 15) {
        XT_Trace("* PSG_out(%d,%d): No such register, ignored", reg, value);
        return;
    }
    PSG_ApplyQuietTime();
    switch (reg) {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
        case 5: SetTonePeriod(reg, value); break;
        case 6: SetNoisePeriod(reg, value); break;
        case 7: SetMixer(reg, value); break;
        case 8:
        case 9:
        case 10: SetVolume(reg, value); break;
        case 11:
        case 12: {
            const uint8_t* r = Psg().registers;
            g_PsgSound.envelopePeriod = (r[11] + 256u * r[12]) * 16u;
            PSG_RestartEnvelope();
            XT_Trace("PSG_out(%d,%d): Env Period: %d", reg, value,
                     static_cast<int>(g_PsgSound.envelopePeriod / 16));
            break;
        }
        case 13:
            g_PsgSound.envelopeShape = value & 0x0F;
            PSG_RestartEnvelope();
            XT_Trace("PSG_out(%d,%d): Env Shape: %d", reg, value, g_PsgSound.envelopeShape);
            break;
        default:
            // Registers 14 and 15 are the I/O ports; the CPC only ever reads port A.
            XT_Trace("PSG_out(%d,%d)", reg, value);
            CPC_StopOnUnsupportedPort();
            break;
    }
}

void PSG_RestartEnvelope() {
    g_PsgSound.envelopeTime = 0;
    if (g_PsgSound.envelopeShape & 0x04) {  // attack: the ramp climbs
        g_PsgSound.envelopeLevel = 0;
        g_PsgSound.envelopeStep = 1;
    } else {
        g_PsgSound.envelopeLevel = 15;
        g_PsgSound.envelopeStep = -1;
    }
    uint16_t amplitude = g_PsgSound.scaledVolume[g_PsgSound.envelopeLevel];
    for (PSG_Channel& ch : g_PsgSound.channels) {
        if (ch.envelopeMode) ch.amplitude = amplitude;
    }
}

void PSG_SetMasterVolume(uint8_t level) {
    int master = level & 0x0F;
    for (int i = 0; i < PSG_VOLUME_LEVELS; ++i) {
        g_PsgSound.scaledVolume[i] =
            master ? static_cast<uint16_t>(PSG_BASE_VOLUME[i] / (16 - master)) : 0;
    }
}

uint32_t PSG_QuietTime() {
    uint32_t quiet = Psg().feedCountdown;
    if (!ThreadDrivenEngine()) quiet = std::min(quiet, PSG_SoundQuietTime());
    return quiet;
}

void PSG_Update(uint8_t microseconds) {
    // Most steps fall between two key feeds.
    PSG_State& psg = Psg();
    if (psg.feedCountdown >= microseconds)
        psg.feedCountdown -= microseconds;
    else
        PSG_ProcessKeyQueue(microseconds);
    if (!ThreadDrivenEngine()) PSG_UpdateSound(microseconds);
}
