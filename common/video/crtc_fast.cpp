// Line-based CRTC: one comparison and one subtraction per call until a scan line is
// complete; then the line is drawn whole and the line bookkeeping of VSYNC, the Gate
// Array's interrupt counter and the monitor frame runs once.
#include "common/video/crtc_fast.h"

#include "common/machine/machine.h"
#include "common/video/crtc_precise.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"

namespace {
constexpr uint8_t kGaVsyncDelay = 3;       // lines from VSYNC start to the counter resync
constexpr uint16_t kFrameEndLines = 27;    // lines from VSYNC start to the monitor frame end
constexpr uint8_t kLongestHsyncDelay = 4;  // the left border starts at most this far past R2 + 2
constexpr uint8_t kPpiVsync = 0x01;

inline CRTC_State& Crtc() {
    return g_Machine.crtc;
}

unsigned long Unsigned(unsigned value) {
    return static_cast<unsigned long>(value);
}

void TraceTimingRegisters() {
    for (int reg = 0; reg <= 3; ++reg)
        XT_Trace("CRTC_Update_fast(): %s: %02XH ", CRTC_RegisterName(reg), Crtc().R[reg]);
}

// A line, as the monitor sees it: the left border from the end of HSYNC (at most 6
// characters after R2) to the end of the line, the R1 displayed characters, and the
// right border from R1 up to 2 characters after R2.
void ComputeBorders(CRTC_State& c) {
    const uint8_t* R = c.R;
    int syncStart = R[2] + 2;
    int syncEnd = R[2] + (R[3] & 15);
    if (syncEnd > syncStart + kLongestHsyncDelay) syncEnd = syncStart + kLongestHsyncDelay;
    c.fast.lBorder = static_cast<int16_t>(R[0] - syncEnd + 1);
    c.fast.rBorder = static_cast<int16_t>(syncStart - R[1]);
    if (c.fast.lBorder < 0) {
        XT_Trace("* CRTC_Update_fast(): Negative lBorder ???: %d", c.fast.lBorder);
        TraceTimingRegisters();
    }
    if (c.fast.rBorder < 0) {
        XT_Trace("* CRTC_Update_fast(): Negative rBorder ???: %d", c.fast.rBorder);
        TraceTimingRegisters();
    }
}

void DrawLine(CRTC_State& c) {
    CRTC_FastState& f = c.fast;
    if (!f.display) {
        PAL_DrawLine(nullptr, 0, c.ML, c.currentMode);
        return;
    }
    // The CPC wires MA12-13 to the 16 KB page, MA0-9 to the word and RA0-2 to the 2 KB row.
    uint16_t address = static_cast<uint16_t>(((c.lineStartMA & 0x3000) << 2) +
                                             ((c.lineStartMA & 0x3FF) << 1) + ((c.RA & 7) << 11));
    PAL_DrawLine(g_Machine.baseRam[address >> 14], address & 0x3FFF, c.ML, c.currentMode);
    if (++c.RA > c.R[9]) {
        c.RA = 0;
        ++c.VCC;
        c.lineStartMA = static_cast<uint16_t>(c.lineStartMA + (c.R[1] & 63));
    }
}

void CheckVsync(CRTC_State& c) {
    if (c.vsyncCountdown && --c.vsyncCountdown == 0) g_Machine.ppi.portB &= ~kPpiVsync;
    if (c.SL != c.fast.vsyncLine) return;
    if (c.vsyncCountdown == 0) {
        c.gaVsyncDelay = kGaVsyncDelay;
        g_Machine.ppi.portB |= kPpiVsync;
        c.frameEndCountdown = kFrameEndLines;
    }
    uint8_t width = c.R[3] >> 4;
    bool type0 = g_Machine.crtcType.load(std::memory_order_relaxed) == 0;
    c.vsyncCountdown = (!type0 || width == 0) ? 16 : width;
}

void CompleteLine(CRTC_State& c) {
    CRTC_FastState& f = c.fast;
    DrawLine(c);
    ++c.ML;
    ++c.SL;
    if (f.newFrame) {
        c.SL = 0;
        c.lineStartMA = c.startAddress;
        c.RA = 0;
        c.VCC = 0;
        f.display = f.displayLines > 0;
        f.newFrame = false;
    }
    if (c.SL + 1 >= f.frameLines) f.newFrame = true;
    if (c.SL >= f.displayLines) f.display = false;
    CheckVsync(c);
    // Unlike the precise variant, an interrupt leaves the VSYNC delay running.
    if (GA_StepLineCounter()) g_Machine.ga.intPending = 1;
    if (c.frameEndCountdown && --c.frameEndCountdown == 0) {
        PAL_EndFrame(c.ML);
        c.ML = 0;
    }
    c.currentMode = g_Machine.ga.screenMode & 3;
}
}  // namespace

void CRTC_InstallFast() {
    g_Machine.crtcOps = {CRTC_Reset_fast, CRTC_out, CRTC_in_fast, CRTC_Tick_fast};
}

void CRTC_Reset_fast() {
    CRTC_State& c = Crtc();
    CRTC_LoadResetRegisters(&c);
    CRTC_Update_fast(CRTC_UPDATE_ALL);
    c.fast.lineTimeLeft = c.fast.lineLength;
    c.currentMode = g_Machine.ga.screenMode & 3;
    c.fast.display = true;
    c.fast.newFrame = false;
}

void CRTC_out(uint8_t index, uint8_t value) {
    CRTC_State& c = Crtc();
    switch (index & 3) {
        case 0:
            // No masking to 5 bits here: a value past R17 selects nothing.
            if (value < CRTC_REGISTER_COUNT) c.selectedRegister = value;
            break;
        case 1: {
            uint8_t reg = c.selectedRegister;
            if (reg >= CRTC_REGISTER_COUNT) break;
            c.R[reg] = value;
            CRTC_Update_fast(reg);
            XT_Trace("CRTC_out(): %s: %02XH at SL: %lu, ML: %lu", CRTC_RegisterName(reg), value,
                     Unsigned(c.SL), Unsigned(c.ML));
            break;
        }
        default:
            XT_Trace("* CRTC_out(): Write (%02XH) to Invalid port %02XH - Ignored.", value,
                     0xBC + (index & 3));
            break;
    }
}

uint8_t CRTC_in_fast(uint8_t index) {
    return CRTC_ReadPort("CRTC_in_fast", index, true);
}

void CRTC_Tick_fast(uint8_t microseconds) {
    CRTC_FastState& f = Crtc().fast;
    uint32_t count = microseconds;
    // The time beyond the end of a line carries into the next. Every line the time covers
    // is completed, so a count longer than a very short line cannot wrap the line time.
    if (f.lineTimeLeft <= count) {
        do {
            count -= f.lineTimeLeft;
            CompleteLine(Crtc());
            f.lineTimeLeft = f.lineLength;
        } while (count >= f.lineTimeLeft);
    }
    f.lineTimeLeft = static_cast<uint16_t>(f.lineTimeLeft - count);
    // Nothing happens before the line completes, so the processor may run ahead until then.
    g_Machine.crtcQuiet = static_cast<uint16_t>(f.lineTimeLeft - 1);
}

void CRTC_Update_fast(uint8_t registerNumber) {
    CRTC_State& c = Crtc();
    CRTC_FastState& f = c.fast;
    const uint8_t* R = c.R;
    bool all = registerNumber == CRTC_UPDATE_ALL;

    if ((registerNumber == 9 || all) && R[9] != 7 && R[9] != 0)
        XT_Trace("* CRTC_Update_fast(): Unsupported value for CRTC Reg 9: %d", R[9]);
    if (registerNumber == 0 || all) f.lineLength = static_cast<uint16_t>(R[0] + 1);
    if ((registerNumber >= 4 && registerNumber <= 9) || all) {
        unsigned rasters = R[9] + 1u;
        f.displayLines = static_cast<uint16_t>(R[6] * rasters);
        f.frameLines = static_cast<uint16_t>((R[4] + 1u) * rasters + R[5]);
        f.vsyncLine = static_cast<uint16_t>(R[7] * rasters);
    }
    if (registerNumber == 12 || registerNumber == 13 || all) {
        uint16_t start = static_cast<uint16_t>(R[12] * 256 + R[13]);
        // Type 1 also takes a new start address at once late in a line of the first
        // character row (less than R2 microseconds left); otherwise at the next frame.
        bool type1 = g_Machine.crtcType.load(std::memory_order_relaxed) != 0;
        if (type1 && c.VCC == 0 && f.lineTimeLeft < R[2]) c.lineStartMA = start;
        c.startAddress = start;
    }
    if (registerNumber <= 3 || all) ComputeBorders(c);
    PAL_SetFastGeometry(registerNumber, R, f.lBorder, f.rBorder);
}
