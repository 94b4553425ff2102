// Our machine state chunk: every field of the machine that decides what it does next and
// that the snapshot header has no room for. One list of fields serves writing, reading
// and measuring, so a field added to a record needs one line here.
#include <atomic>
#include <cstring>
#include <type_traits>

#include "common/disk/fdc_internal.h"
#include "common/machine/machine.h"
#include "common/machine/snapshot_internal.h"
#include "common/sound/psg_sound_state.h"
#include "common/video/renderer.h"
#include "common/z80/z80.h"

namespace {

constexpr uint8_t kNoRamBlock = 0xFF;

// Numbers go little-endian in as many bytes as their type has.
// The counter reads nothing: the size is asked for on other threads too.
struct Writer {
    static constexpr bool kLoading = false;
    static constexpr bool kCounting = false;
    std::vector<uint8_t>* out;
    void Number(uint64_t& value, size_t bytes) {
        for (size_t i = 0; i < bytes; ++i) out->push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
};

struct Reader {
    static constexpr bool kLoading = true;
    static constexpr bool kCounting = false;
    const uint8_t* at;
    void Number(uint64_t& value, size_t bytes) {
        value = 0;
        for (size_t i = 0; i < bytes; ++i) value |= uint64_t{*at++} << (8 * i);
    }
};

struct Counter {
    static constexpr bool kLoading = false;
    static constexpr bool kCounting = true;
    size_t bytes = 0;
    void Number(uint64_t&, size_t count) { bytes += count; }
};

template <typename V, typename T>
void Field(V& v, T& field) {
    static_assert(std::is_integral<T>::value, "numbers only");
    uint64_t value = 0;
    if (!V::kCounting) value = static_cast<uint64_t>(static_cast<std::make_unsigned_t<T>>(field));
    v.Number(value, sizeof(T));
    if (V::kLoading) field = static_cast<T>(static_cast<std::make_unsigned_t<T>>(value));
}

template <typename V>
void Field(V& v, bool& field) {
    uint64_t value = !V::kCounting && field ? 1 : 0;
    v.Number(value, 1);
    if (V::kLoading) field = value != 0;
}

// Shared values are only read while saving: another thread may be writing them.
template <typename V, typename T>
void Field(V& v, PSG_Shared<T>& field) {
    T value = V::kCounting ? T() : static_cast<T>(field);
    Field(v, value);
    if (V::kLoading) field = value;
}

template <typename V, typename T>
void Field(V& v, std::atomic<T>& field) {
    T value = V::kCounting ? T() : field.load(std::memory_order_acquire);
    Field(v, value);
    if (V::kLoading) field.store(value, std::memory_order_release);
}

template <typename V, typename T, size_t N>
void Field(V& v, T (&array)[N]) {
    for (T& element : array) Field(v, element);
}

template <typename V>
void Field(V& v, Z80_Pair& pair) {
    Field(v, pair.w);
}

// The running flag, the stop reason and the breakpoints belong to the monitor.
template <typename V>
void Processor(V& v, Z80_State& z) {
    for (Z80_Pair* pair :
         {&z.AF, &z.BC, &z.DE, &z.HL, &z.AF_, &z.BC_, &z.DE_, &z.HL_, &z.IX, &z.IY})
        Field(v, *pair);
    Field(v, z.PC), Field(v, z.SP), Field(v, z.I), Field(v, z.R), Field(v, z.IM);
    Field(v, z.IFF1), Field(v, z.IFF2), Field(v, z.time), Field(v, z.prefix);
    Field(v, z.halted), Field(v, z.intExtra), Field(v, z.startPC);
}

template <typename V>
void Crtc(V& v, CRTC_State& c) {
    Field(v, c.selectedRegister), Field(v, c.R), Field(v, c.HCC), Field(v, c.RA), Field(v, c.VCC);
    Field(v, c.lineStartMA), Field(v, c.startAddress), Field(v, c.MA), Field(v, c.addressBlock);
    Field(v, c.byteOffset);
    uint8_t block = kNoRamBlock;
    for (uint8_t i = 0; i < 4 && !V::kCounting; ++i)
        if (c.ramBlock && c.ramBlock == g_Machine.baseRam[i]) block = i;
    Field(v, block);
    if (V::kLoading) c.ramBlock = block < 4 ? g_Machine.baseRam[block] : nullptr;
    Field(v, c.lastRaster), Field(v, c.hccAtR0), Field(v, c.vccAtR4), Field(v, c.latchedR5);
    Field(v, c.verticalAdjustCounter), Field(v, c.hsyncCountdown), Field(v, c.vsyncCountdown);
    Field(v, c.SL), Field(v, c.status), Field(v, c.currentMode), Field(v, c.modeChangeDelay);
    Field(v, c.gaHsyncDelay), Field(v, c.gaVsyncDelay), Field(v, c.ML);
    Field(v, c.frameEndCountdown), Field(v, c.lineTime);
    CRTC_FastState& f = c.fast;
    Field(v, f.lineLength), Field(v, f.lineTimeLeft), Field(v, f.displayLines);
    Field(v, f.frameLines), Field(v, f.vsyncLine), Field(v, f.lBorder), Field(v, f.rBorder);
    Field(v, f.newFrame), Field(v, f.display);
}

// The translator's Shift bookkeeping follows the host's keys, not the machine.
template <typename V>
void Psg(V& v, PSG_State& p, PSG_SoundState& s) {
    Field(v, p.registers), Field(v, p.selectedRegister), Field(v, p.keyboardMatrix);
    Field(v, p.keyQueue), Field(v, p.keyQueueRead), Field(v, p.keyQueueWrite);
    Field(v, p.feedCountdown), Field(v, p.releasedThisFeed), Field(v, p.notPressedThisFeed);
    for (PSG_Channel& ch : s.channels) {
        Field(v, ch.frequency), Field(v, ch.counter), Field(v, ch.halfPeriod);
        Field(v, ch.amplitude), Field(v, ch.toneOutput), Field(v, ch.toneEnabled);
        Field(v, ch.noiseEnabled), Field(v, ch.envelopeMode);
    }
    Field(v, s.noiseFrequency), Field(v, s.noiseCounter), Field(v, s.noisePeriod);
    Field(v, s.noiseOutput), Field(v, s.noiseShiftRegister), Field(v, s.envelopeShape);
    Field(v, s.envelopePeriod), Field(v, s.envelopeTime), Field(v, s.envelopeLevel);
    Field(v, s.envelopeStep), Field(v, s.sampleAccumulator), Field(v, s.quietPending);
    Field(v, s.quietLimit);
}

// The disks are the drive slots'; a transfer that runs finds its sector again by number.
template <typename V>
void Fdc(V& v, FDC_State& f) {
    Field(v, f.mainStatus), Field(v, f.motor), Field(v, f.phase), Field(v, f.commandIndex);
    Field(v, f.byteCounter), Field(v, f.executionDrive), Field(v, f.command), Field(v, f.result);
    for (FDC_Drive& d : f.drives) {
        Field(v, d.currentTrack), Field(v, d.sectorIndex), Field(v, d.seekEnd);
        Field(v, d.bytePosition);
    }
    // A transfer over several sectors, and the bytes a write or format has received.
    Field(v, f.sectorR), Field(v, f.writeBuffered), Field(v, f.writeBuffer);
    Field(v, f.formatBytes), Field(v, f.formatIds);
}

template <typename V>
void Renderer(V& v, PAL_RendererPosition& r) {
    Field(v, r.x), Field(v, r.destOffset), Field(v, r.endOffset), Field(v, r.frameSkipCounter);
    Field(v, r.frameCounter), Field(v, r.bytesPerLine), Field(v, r.lBorder), Field(v, r.rBorder);
}

template <typename V>
void Machine(V& v, Z80_State& z, PAL_RendererPosition& renderer) {
    CPC_Machine& m = g_Machine;
    Processor(v, z);
    uint16_t romConfig = V::kCounting ? 0 : m.memSelect;
    uint8_t ramConfig = V::kCounting ? 0 : SNA_RamConfiguration();
    Field(v, romConfig), Field(v, ramConfig);
    if (V::kLoading) {
        CPC_SetRamConfig(ramConfig);
        CPC_SetRomConfig(romConfig);
    }
    Field(v, m.ppi.portA), Field(v, m.ppi.portB), Field(v, m.ppi.portC), Field(v, m.ppi.control);
    Field(v, m.ga.penInks), Field(v, m.ga.selectedPen), Field(v, m.ga.screenMode);
    Field(v, m.ga.intLineCounter), Field(v, m.ga.intPending);
    Crtc(v, m.crtc);
    Field(v, m.crtcPending), Field(v, m.crtcQuiet), Field(v, m.heldTime), Field(v, m.heldLimit);
    Psg(v, m.psg, g_PsgSound);
    Fdc(v, m.fdc);
    Renderer(v, renderer);
}

// Indexes that address arrays are brought into range; what they index cannot be left.
void BringIntoRange(Z80_State& z) {
    CPC_Machine& m = g_Machine;
    if (z.IM > 2) z.IM = 2;
    z.prefix &= Z80_PREFIX_CB | Z80_PREFIX_DD | Z80_PREFIX_ED | Z80_PREFIX_FD;
    if (m.ga.selectedPen > 16) m.ga.selectedPen = 16;
    m.ga.screenMode &= 3;
    CRTC_State& c = m.crtc;
    if (c.selectedRegister >= CRTC_REGISTER_COUNT) c.selectedRegister = 0;
    c.RA &= 31;
    c.VCC &= 127;
    c.currentMode &= 3;
    c.byteOffset &= 0x3FFE;
    PSG_State& p = m.psg;
    p.selectedRegister &= 15;
    p.keyQueueRead.store(p.keyQueueRead.load() % PSG_KEY_QUEUE_SLOTS);
    p.keyQueueWrite.store(p.keyQueueWrite.load() % PSG_KEY_QUEUE_SLOTS);
    if (g_PsgSound.envelopeLevel < 0 || g_PsgSound.envelopeLevel > 15) g_PsgSound.envelopeLevel = 0;
    FDC_State& f = m.fdc;
    f.commandIndex &= 31;
    f.executionDrive &= 1;
    uint8_t phase = f.phase.load();
    if (phase > FDC_PHASE_RESULT) phase = FDC_PHASE_COMMAND;
    size_t counterLimit = phase == FDC_PHASE_COMMAND ? FDC_MAX_COMMAND_BYTES : FDC_MAX_RESULT_BYTES;
    if (f.byteCounter >= counterLimit) f.byteCounter = 0;
    if (f.writeBuffered >= FDC_WRITE_CHUNK) f.writeBuffered = 0;
    FDC_SetPhase(phase);
    for (FDC_Drive& d : f.drives) {
        const FDC_Track* track = FDC_CurrentTrack(d);
        bool found = track && d.sectorIndex < track->sectorCount;
        d.sectorData = found ? track->sectors[d.sectorIndex].data : nullptr;
        if (!found) d.bytePosition = 0;
    }
}

}  // namespace

size_t SNA_OwnStateSize() {
    Counter counter;
    Z80_State processor{};
    PAL_RendererPosition renderer{};
    Machine(counter, processor, renderer);
    return SNA_OWN_STATE_PREFIX + counter.bytes;
}

void SNA_SaveOwnState(Z80_State* state, std::vector<uint8_t>* out) {
    Writer writer{out};
    uint64_t layout = SNA_OWN_STATE_LAYOUT;
    uint64_t type = g_Machine.Type;
    writer.Number(layout, 4);
    writer.Number(type, 1);
    PAL_RendererPosition renderer = PAL_GetRendererPosition();
    Machine(writer, *state, renderer);
}

void SNA_LoadOwnState(Z80_State* state, const uint8_t* bytes) {
    Reader reader{bytes + SNA_OWN_STATE_PREFIX};
    PAL_RendererPosition renderer{};
    Machine(reader, *state, renderer);
    BringIntoRange(*state);
    PAL_SetRendererPosition(renderer);
}
