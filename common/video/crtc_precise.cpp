// Precise 6845 model: HCC, RA, VCC and MA advance one character per microsecond, HSYNC
// and VSYNC come where the registers put them, and every character goes straight to
// the renderer.
#include "common/video/crtc_precise.h"

#include <algorithm>
#include <cstring>

#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"

namespace {
constexpr uint8_t kGaHsyncDelay = 2;  // CRTC HSYNC start to the Gate Array's HSYNC
constexpr uint8_t kGaVsyncDelay = 2;  // HSYNCs from VSYNC start to the counter resync
constexpr uint8_t kMaxModeChangeDelay = 4;
constexpr uint16_t kFrameEndLines = 26;     // CRTC lines from VSYNC start to frame end
constexpr uint16_t kMinMonitorLines = 272;  // fewer lines and the monitor keeps the frame
constexpr int16_t kMinLineTime = 60;        // an HSYNC sooner than this starts no line
constexpr uint8_t kPpiVsync = 0x01;

inline CRTC_State& Crtc() {
    return g_Machine.crtc;
}
inline bool IsType0() {
    return g_Machine.crtcType.load(std::memory_order_relaxed) == 0;
}

// One character clock. The order matters: HSYNC ends before the Gate Array's delays run,
// and the character is drawn before the counters move on.
inline void TickOneCharacter(CRTC_State& c) {
    if (c.hsyncCountdown && --c.hsyncCountdown == 0) GA_CountLine();

    if (c.modeChangeDelay && --c.modeChangeDelay == 0) c.currentMode = g_Machine.ga.screenMode & 3;

    if (c.gaHsyncDelay && --c.gaHsyncDelay == 0) {
        if (c.lineTime >= kMinLineTime) {
            PAL_BeginLine();
            ++c.ML;
            c.lineTime = 0;
        }
        // The Gate Array takes the new mode during its own HSYNC, if that lasts long enough.
        c.modeChangeDelay =
            c.hsyncCountdown < kMaxModeChangeDelay ? c.hsyncCountdown : kMaxModeChangeDelay;
    }

    if (c.hsyncCountdown || c.frameEndCountdown) {
        PAL_DrawSync();
    } else if ((c.status & CRTC_STATUS_DISPLAY) && c.ramBlock) {
        PAL_DrawChar(c.ramBlock + c.byteOffset);
    } else {
        PAL_DrawChar(nullptr);
    }

    ++c.MA;
    if ((c.MA & 0xFC00) == c.addressBlock) {
        // Masked so that a stale offset can never leave its 16 KB block.
        c.byteOffset = static_cast<uint16_t>((c.byteOffset + 2) & 0x3FFE);
    } else {
        CRTC_ComputeAddress();
    }

    ++c.HCC;
    c.lineTime = static_cast<int16_t>(static_cast<uint16_t>(c.lineTime) + 1);

    if (c.HCC == c.R[0] + 1 && c.hccAtR0) {
        c.hccAtR0 = false;
        CRTC_NewLine();
        CRTC_CheckVSync();
    }
    c.hccAtR0 = c.HCC == c.R[0];

    if (c.HCC == c.R[1]) {
        if (c.lastRaster) c.lineStartMA = static_cast<uint16_t>(c.lineStartMA + c.R[1]);
        c.status &= static_cast<uint8_t>(~CRTC_STATUS_DISPLAY);
    }

    if (c.HCC == c.R[2] && c.hsyncCountdown == 0) CRTC_HSyncStart();
}

// Characters after which the next would have to do more than draw and count: a countdown
// running out, MA leaving its 1 KB block, HCC reaching R0 + 1, R1 or R2. Up to limit;
// 0 when the very next character is such a one.
inline unsigned QuietCharacters(const CRTC_State& c, unsigned limit) {
    uint16_t next = static_cast<uint16_t>(c.MA + 1);
    if ((next & 0xFC00) != c.addressBlock) return 0;
    unsigned quiet = limit;
    auto bound = [&quiet](unsigned steps) { quiet = steps < quiet ? steps : quiet; };
    bound(0x400u - (next & 0x3FF));
    // Steps until HCC equals each value, less one (255 when it equals it now); HCC never
    // reaches R0 + 1 = 256.
    bound((c.R[1] - c.HCC - 1u) & 0xFF);
    bound((c.R[2] - c.HCC - 1u) & 0xFF);
    if (c.R[0] != 0xFF) bound((c.R[0] - c.HCC) & 0xFF);
    if (c.hsyncCountdown) bound(c.hsyncCountdown - 1u);
    if (c.modeChangeDelay) bound(c.modeChangeDelay - 1u);
    if (c.gaHsyncDelay) bound(c.gaHsyncDelay - 1u);
    return quiet;
}

// count characters that TickOneCharacter would only draw and count, at once.
inline void TickQuietCharacters(CRTC_State& c, unsigned count) {
    if (c.hsyncCountdown || c.frameEndCountdown) {
        for (unsigned i = 0; i < count; ++i) PAL_DrawSync();
    } else if ((c.status & CRTC_STATUS_DISPLAY) && c.ramBlock) {
        PAL_DrawChars(c.ramBlock, c.byteOffset, static_cast<int>(count));
    } else {
        PAL_DrawChars(nullptr, 0, static_cast<int>(count));
    }
    if (c.hsyncCountdown) c.hsyncCountdown = static_cast<uint8_t>(c.hsyncCountdown - count);
    if (c.modeChangeDelay) c.modeChangeDelay = static_cast<uint8_t>(c.modeChangeDelay - count);
    if (c.gaHsyncDelay) c.gaHsyncDelay = static_cast<uint8_t>(c.gaHsyncDelay - count);
    c.MA = static_cast<uint16_t>(c.MA + count);
    c.byteOffset = static_cast<uint16_t>((c.byteOffset + 2 * count) & 0x3FFE);
    c.HCC = static_cast<uint8_t>(c.HCC + count);
    c.lineTime = static_cast<int16_t>(static_cast<uint16_t>(c.lineTime) + count);
    c.hccAtR0 = c.HCC == c.R[0];
}

// New lines the CRTC may start while behind the processor: those within the character
// row (no VSYNC can start there, the row's RAM page stays), before a VSYNC or frame end
// counts down to its end. None when HSYNCs are too short for the Gate Array, whose traces
// must keep their place, or when the line is out of the ordinary.
unsigned LinesBehindAllowed(const CRTC_State& c) {
    if (c.R[0] == 0xFF || c.HCC > c.R[0] || (c.R[3] & 15u) < 2) return 0;
    if ((c.status & CRTC_STATUS_VADJUST) || c.lastRaster) return 0;
    unsigned lines = c.R[9] > c.RA ? c.R[9] - c.RA : 1u;
    if (c.vsyncCountdown) lines = std::min(lines, c.vsyncCountdown - 1u);
    if (c.frameEndCountdown) lines = std::min(lines, c.frameEndCountdown - 1u);
    if ((c.status & CRTC_STATUS_VDISPLAY) && c.R[1] &&
        g_Machine.baseRam[(c.lineStartMA >> 12) & 3] != c.ramBlock)
        return 0;
    return lines;
}

// How long the CRTC may run behind the processor: as long as nothing it does could be
// seen before it catches up. The processor sees VSYNC on port B, the frame end, the
// Gate Array's interrupts (an HSYNC end that brings its counter to the interrupt) and
// the RAM page it draws from, which changes only when MA crosses a 4K boundary or a new
// character row begins; traces of an HSYNC too short for the Gate Array must keep their
// place among the processor's. Drawing, the display end, MA's 1 KB blocks, the lines of
// a row and the Gate Array's delays only change the picture. Ports, writes to that page,
// an interrupt acknowledge and a reset catch it up.
unsigned RunBehindLimit(const CRTC_State& c) {
    unsigned limit = 1023;
    auto bound = [&limit](unsigned steps) { limit = steps < limit ? steps : limit; };
    const unsigned lines = LinesBehindAllowed(c);
    const unsigned lineLength = c.R[0] + 1u;
    // HSYNC ends that leave the interrupt counter short of an interrupt.
    unsigned hsyncEnds = 0;
    if (lines && !c.gaVsyncDelay && g_Machine.ga.intLineCounter < GA_INTERRUPT_LINES - 1)
        hsyncEnds = GA_INTERRUPT_LINES - 1u - g_Machine.ga.intLineCounter;
    if (c.R[0] != 0xFF) bound(((c.R[0] - c.HCC) & 0xFFu) + lines * lineLength);
    unsigned width = c.R[3] & 15u;
    if (c.hsyncCountdown) {
        // The next HSYNC may start in this very line, after this one ends.
        bound(c.hsyncCountdown - 1u);
    } else if (lines) {
        // HSYNC starts when HCC reaches R2, in this line or the next, and then once a
        // line (less often when it lasts longer than a line).
        unsigned toStart = c.HCC < c.R[2] ? c.R[2] - c.HCC : lineLength - c.HCC + c.R[2];
        bound(toStart + width - 1 + hsyncEnds * lineLength);
    } else {
        unsigned toStart = (c.R[2] - c.HCC) & 0xFFu;
        bound(width >= 2 ? toStart + width - 1 : (toStart ? toStart - 1 : 0));
    }
    bound(0xFFFu - (c.MA & 0xFFFu));
    return std::max(limit, QuietCharacters(c, 255));
}

void StartNewFrame(CRTC_State& c) {
    c.SL = 0;
    c.lineStartMA = c.startAddress;
    c.RA = 0;
    c.VCC = 0;
    if (c.R[6]) c.status |= CRTC_STATUS_VDISPLAY;
    c.status &= static_cast<uint8_t>(~CRTC_STATUS_VADJUST);
}
}  // namespace

void CRTC_ClearResetState(CRTC_State* crtc) {
    if (!crtc) return;
    crtc->selectedRegister = 0;
    std::memset(crtc->R, 0, sizeof crtc->R);
    crtc->HCC = 0;
    crtc->RA = 0;
    crtc->VCC = 0;
    crtc->lineStartMA = 0;
    crtc->startAddress = 0;
    crtc->currentMode = 0;
    crtc->vsyncCountdown = 0;
    crtc->SL = 0;
    crtc->status = 0;
    crtc->hsyncCountdown = 0;
    crtc->verticalAdjustCounter = 0;
    crtc->MA = 0;
    crtc->addressBlock = 0;
    crtc->byteOffset = 0;
    crtc->ramBlock = nullptr;
    crtc->lastRaster = false;
}

void CRTC_Init(uint8_t type) {
    g_Machine.crtcType.store(type, std::memory_order_relaxed);
    if (g_Machine.Type & CPC_TYPE_FAST_CRTC)
        CRTC_InstallFast();
    else
        CRTC_InstallBest();
}

void CRTC_InstallBest() {
    g_Machine.crtcOps = {CRTC_Reset_best, CRTC_out_best, CRTC_in_best, CRTC_Tick_best};
}

void CRTC_Reset_best() {
    CRTC_State& c = Crtc();
    CRTC_LoadResetRegisters(&c);
    c.VCC = 0;
    c.HCC = 0;
    c.RA = 0;
    c.status = CRTC_STATUS_VDISPLAY | CRTC_STATUS_DISPLAY;
    c.MA = c.lineStartMA;
    c.hsyncCountdown = 0;
    CRTC_ComputeAddress();
    CRTC_Update_best(CRTC_UPDATE_ALL);
    c.modeChangeDelay = 0;
    c.gaHsyncDelay = 0;
}

void CRTC_out_best(uint8_t index, uint8_t value) {
    CRTC_State& c = Crtc();
    switch (index & 3) {
        case 0:
            if ((value & 31) < CRTC_REGISTER_COUNT) c.selectedRegister = value & 31;
            break;
        case 1: {
            uint8_t reg = c.selectedRegister;
            if (reg >= CRTC_REGISTER_COUNT) break;
            uint8_t masked = value & CRTC_RegisterMask(reg);
            XT_Trace("CRTC_out_best(): %s: %02XH(%02XH) at SL: %lu (VCC=%lu, RA=%lu), ML: %lu",
                     CRTC_RegisterName(reg), value, masked, static_cast<unsigned long>(c.SL),
                     static_cast<unsigned long>(c.VCC), static_cast<unsigned long>(c.RA),
                     static_cast<unsigned long>(c.ML));
            c.R[reg] = masked;
            CRTC_Update_best(reg);
            break;
        }
        default:
            XT_Trace("+++ CRTC_out_best(): Write (%02XH) to Invalid port %02XH - Ignored.", value,
                     0xBC + (index & 3));
            break;
    }
}

uint8_t CRTC_in_best(uint8_t index) {
    return CRTC_ReadPort("CRTC_in_best", index, false);
}

void CRTC_Tick_best(uint8_t microseconds) {
    CRTC_State& c = Crtc();
    // A single character always takes the full step, which defines what a run must do.
    while (microseconds) {
        unsigned quiet = microseconds > 1 ? QuietCharacters(c, microseconds) : 0;
        if (quiet) {
            TickQuietCharacters(c, quiet);
            microseconds = static_cast<uint8_t>(microseconds - quiet);
        } else {
            TickOneCharacter(c);
            --microseconds;
        }
    }
    g_Machine.crtcQuiet = static_cast<uint16_t>(RunBehindLimit(c));
}

void CRTC_ComputeAddress() {
    CRTC_State& c = Crtc();
    c.addressBlock = c.MA & 0xFC00;
    // The CPC wires MA12-13 to the 16 KB page, MA0-9 to the word and RA0-2 to the 2 KB row.
    uint16_t address =
        static_cast<uint16_t>(((c.MA & 0x3000) << 2) + ((c.MA & 0x3FF) << 1) + ((c.RA & 7) << 11));
    c.ramBlock = g_Machine.baseRam[address >> 14];
    c.byteOffset = address & 0x3FFE;
}

void CRTC_HSyncStart() {
    CRTC_State& c = Crtc();
    c.hsyncCountdown = c.R[3] & 15;
    if (c.hsyncCountdown < 2) {
        XT_Trace("* CRTC_HSyncStart(): HSYNC WIDTH < 2 - NO GA HSYNC...");
    } else {
        c.gaHsyncDelay = kGaHsyncDelay;
    }
    if (c.hsyncCountdown == 0) XT_Trace("* CRTC_HSyncStart(): HSYNC WIDTH = 0 - NO HSYNC...");
    c.latchedR5 = c.R[5];
}

void GA_CountLine() {
    if (GA_StepLineCounter()) {
        g_Machine.ga.intPending = 1;
        Crtc().gaVsyncDelay = 0;
    }
}

void CRTC_NewLine() {
    CRTC_State& c = Crtc();
    bool newFrame = false;
    ++c.SL;
    c.RA = c.lastRaster ? 0 : static_cast<uint8_t>((c.RA + 1) & 31);
    if (c.status & CRTC_STATUS_VADJUST) {
        ++c.verticalAdjustCounter;
        if (c.verticalAdjustCounter == c.latchedR5) newFrame = true;
    } else if (c.lastRaster) {
        c.VCC = (c.VCC + 1) & 127;
        if (c.vccAtR4) {
            if (c.latchedR5) {
                c.verticalAdjustCounter = 0;
                c.status |= CRTC_STATUS_VADJUST;
            } else {
                newFrame = true;
            }
        }
        if (c.R[6] == 0 || c.VCC == c.R[6]) c.status &= static_cast<uint8_t>(~CRTC_STATUS_VDISPLAY);
    }
    if (newFrame) StartNewFrame(c);

    c.lastRaster = c.RA >= c.R[9];
    c.vccAtR4 = c.VCC == c.R[4];
    c.HCC = 0;
    c.MA = c.lineStartMA;
    if ((c.status & CRTC_STATUS_VDISPLAY) && c.R[1]) {
        c.status |= CRTC_STATUS_DISPLAY;
        CRTC_ComputeAddress();
    }
}

void CRTC_CheckVSync() {
    CRTC_State& c = Crtc();
    if (c.vsyncCountdown && --c.vsyncCountdown == 0) g_Machine.ppi.portB &= ~kPpiVsync;

    if (c.frameEndCountdown && --c.frameEndCountdown == 0 && c.ML >= kMinMonitorLines) {
        PAL_EndFrame(c.ML);
        c.ML = 0;
    }

    if (c.RA == 0 && c.VCC == c.R[7]) {
        if (c.vsyncCountdown == 0) {
            c.gaVsyncDelay = kGaVsyncDelay;
            c.frameEndCountdown = kFrameEndLines;
        }
        uint8_t width = c.R[3] >> 4;
        c.vsyncCountdown = (!IsType0() || width == 0) ? 16 : width;
        g_Machine.ppi.portB |= kPpiVsync;
    }
}

void CRTC_Update_best(uint8_t registerNumber) {
    CRTC_State& c = Crtc();
    bool type0 = IsType0();
    bool all = registerNumber == CRTC_UPDATE_ALL;

    if ((registerNumber == 9 || all) && c.R[9] > 7) {
        XT_Trace("* CRTC_Update_best(): Unsupported value for CRTC Reg MaxRaster: %d", c.R[9]);
    }
    if (registerNumber == 9) {
        if (!type0) {
            c.lastRaster = c.RA >= c.R[9];
            if (!(c.lastRaster && c.HCC >= c.R[2])) c.vccAtR4 = c.VCC == c.R[4];
        } else if (c.HCC < c.R[2]) {
            c.lastRaster = c.RA >= c.R[9];
        }
    }
    if (registerNumber == 12 || registerNumber == 13 || all) {
        c.startAddress = static_cast<uint16_t>(c.R[12] * 256 + c.R[13]);
        // Type 1 reloads the start address on every line of the first row; type 0 only
        // at the frame start.
        if (!type0 && c.VCC == 0) {
            if (c.lineStartMA != c.startAddress) {
                XT_Trace(
                    "CRTC_Update_best(): Updating MA: %04XH - SL=%lu (VCC=%lu, RA=%lu), ML=%lu",
                    c.startAddress, static_cast<unsigned long>(c.SL),
                    static_cast<unsigned long>(c.VCC), static_cast<unsigned long>(c.RA),
                    static_cast<unsigned long>(c.ML));
            }
            c.lineStartMA = c.startAddress;
            CRTC_ComputeAddress();
        }
    }
    if (registerNumber == 0) c.hccAtR0 = c.HCC == c.R[0];
    if (registerNumber == 4 && !type0 && !(c.lastRaster && c.HCC >= c.R[2])) {
        c.vccAtR4 = c.VCC == c.R[4];
    }
}
