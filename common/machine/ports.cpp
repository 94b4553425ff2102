// I/O port decoding. The CPC decodes ports by single address lines, so one OUT can
// reach several devices at once; reads are decoded by the whole high byte.
#include "common/disk/fdc.h"
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/xtools/xtools.h"
#include "common/z80/z80.h"

namespace {

// The firmware writes this peripheral reset port at start-up; nothing answers it.
constexpr uint16_t PERIPHERAL_RESET_PORT = 0xF8FF;

void SelectUpperRom(uint8_t value) {
    uint8_t number = value;
    if (number >= CPC_UPPER_ROM_SLOTS || g_Machine.upperRoms[number] == nullptr) {
        XT_Trace("* CPC_out(): ROM SELECT: ROM %d ABSENT - BASIC", value);
        number = 0;
    } else if (number != (g_Machine.memSelect & 0xFF) && number != 0 && number != 7) {
        // BASIC and AMSDOS are selected constantly by the firmware; only others are news.
        XT_Trace("CPC_out(): ROM %d selected", number);
    }
    CPC_SetRomConfig(static_cast<uint16_t>((g_Machine.memSelect & 0xFF00) | number));
}

}  // namespace

void CPC_out(uint16_t port, uint8_t value) {
    CPC_CatchUpVideo();
    bool matched = false;
    uint8_t index = static_cast<uint8_t>((port >> 8) & 3);

    if ((port & 0xC000) == 0x4000) {
        GA_out(value);
        matched = true;
    } else if ((port & 0x4000) == 0) {
        g_Machine.crtcOps.out(index, value);
        matched = true;
    }
    if ((port & 0x2000) == 0) {
        SelectUpperRom(value);
        matched = true;
    }
    if ((port & 0x1000) == 0) {
        XT_Trace("CPC_out(): PRINTER Write %02XH to port %04hXH", value, port);
        matched = true;
    }
    if ((port & 0x0800) == 0) {
        PPI_out(index, value);
        matched = true;
    }
    if ((port & 0x0400) == 0 && (port & 0x0080) == 0) {
        FDC_out(port, value);
        matched = true;
    }
    if (!matched) {
        XT_Trace("* CPC_out(): Writing value %02XH to UNKNOWN port: %04hXH", value, port);
        if (port != PERIPHERAL_RESET_PORT) CPC_StopOnUnsupportedPort();
    }
    // The write may have moved the devices' next events: the next tick and the next
    // Update work them out again.
    g_Machine.crtcQuiet = 0;
    g_Machine.heldLimit = 0;
}

uint8_t CPC_in(uint16_t port) {
    CPC_CatchUpVideo();
    // A read moves none of the devices' next events. Only an interrupt that the time
    // handed on before the access raised must be offered at the end of the instruction.
    if (g_Machine.ga.intPending) g_Machine.heldLimit = 0;
    uint8_t high = static_cast<uint8_t>(port >> 8);
    switch (high) {
        case 0x7F: return 0xFF;  // the Gate Array is write-only
        case 0xBC:
        case 0xBD:
        case 0xBE:
        case 0xBF: return g_Machine.crtcOps.in(high & 3);
        case 0xF4:
        case 0xF5:
        case 0xF6:
        case 0xF7: return PPI_in(high & 3);
        case 0xFA:
        case 0xFB: return FDC_in(port);
        default:
            XT_Trace("* CPC_in(): Reading from UNKNOWN port: %04hXH - Returning 0x00", port);
            return 0;
    }
}

namespace {

// The most time the processor may hold: with the longest instruction it still fits an
// Update's argument.
constexpr unsigned kMostHeldTime = 200;

void CatchUpCrtc(CPC_Machine& m) {
    unsigned pending = m.crtcPending;
    if (pending == 0) return;
    m.crtcPending = 0;
    // A tick sets crtcQuiet anew; a CRTC that cannot run behind leaves it 0.
    m.crtcQuiet = 0;
    while (pending > 0) {
        uint8_t step = static_cast<uint8_t>(pending < 255 ? pending : 255);
        m.crtcOps.tick(step);
        pending -= step;
    }
}

// The devices' part of an Update.
inline void AddTime(CPC_Machine& m, uint8_t microseconds) {
    m.deviceTime += microseconds;
    unsigned pending = m.crtcPending + microseconds;
    m.crtcPending = static_cast<uint16_t>(pending);
    if (pending > m.crtcQuiet) CatchUpCrtc(m);
    PSG_Update(microseconds);
}

// Held time stays within the limit, so counting it at once does what an Update for each
// of its instructions would have done: add it to the counters.
inline void CountHeldTime(CPC_Machine& m) {
    uint8_t held = m.heldTime;
    if (held == 0) return;
    m.heldTime = 0;
    AddTime(m, held);
}

// How long the processor may run with no Update: until the CRTC could do something the
// processor sees, a key feed, or a sound event or frame.
uint8_t HeldLimit(const CPC_Machine& m) {
    unsigned limit = m.crtcQuiet > m.crtcPending ? m.crtcQuiet - m.crtcPending : 0u;
    uint32_t sound = PSG_QuietTime();
    if (sound < limit) limit = sound;
    return static_cast<uint8_t>(limit < kMostHeldTime ? limit : kMostHeldTime);
}

}  // namespace

void CPC_Update(uint8_t microseconds) {
    CPC_Machine& m = g_Machine;
    CountHeldTime(m);
    AddTime(m, microseconds);
    m.heldLimit = HeldLimit(m);
}

void CPC_CatchUpVideo() {
    CPC_Machine& m = g_Machine;
    CountHeldTime(m);
    if (m.crtcPending == 0) return;
    CatchUpCrtc(m);
    m.heldLimit = HeldLimit(m);
}

void CPC_StopOnUnsupportedPort() {
    g_Machine.heldLimit = 0;  // the end of the instruction must see the stop
    if (g_Machine.processor != nullptr) {
        Z80_SetStopReason(g_Machine.processor, Z80_STOP_UNSUPPORTED_PORT);
    }
}

uint8_t CPC_IntAck() {
    if (g_Machine.ga.intPending == 0) return 0;
    // The video may be behind across HSYNC ends that count lines.
    CPC_CatchUpVideo();
    g_Machine.ga.intPending = 0;
    // Keeps the next interrupt at least 32 lines away from this one.
    g_Machine.ga.intLineCounter &= static_cast<uint8_t>(~0x20);
    return 1;
}
