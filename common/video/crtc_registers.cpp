// Register names and write masks of the 6845, shared by both CRTC variants and the
// monitor's register display.
#include "common/machine/machine.h"
#include "common/video/crtc.h"
#include "common/xtools/xtools.h"

namespace {
// Fixed-width names: the monitor prints them in a column.
const char* const kRegisterNames[CRTC_REGISTER_COUNT] = {
    " 0(H. TOTAL)    ", " 1(H. DISP)     ", " 2(H. SYNC POS) ", " 3(SYNC WIDTH)  ",
    " 4(V. TOTAL)    ", " 5(V. ADJUST)   ", " 6(V. DISP)     ", " 7(V. SYNC POS) ",
    " 8(INTERLACE)   ", " 9(MAX RASTER)  ", "10(CSR START)   ", "11(CSR END)     ",
    "12(START ADDR H)", "13(START ADDR L)", "14(CSR ADDR H)  ", "15(CSR ADDR L)  ",
    "16(LP ADDR H)   ", "17(LP ADDR L)   ",
};

constexpr uint8_t kFirstReadableRegister = 12;

const uint8_t kRegisterMasks[CRTC_REGISTER_COUNT] = {
    0xFF, 0xFF, 0xFF, 0x7F, 0x7F, 0x1F, 0x7F, 0x7F, 0x03,
    0x1F, 0x7F, 0x1F, 0x3F, 0xFF, 0x3F, 0xFF, 0x3F, 0xFF,
};
}  // namespace

const char* CRTC_RegisterName(int index) {
    if (index < 0 || index >= CRTC_REGISTER_COUNT) return "";
    return kRegisterNames[index];
}

uint8_t CRTC_RegisterMask(int index) {
    if (index < 0 || index >= CRTC_REGISTER_COUNT) return 0;
    // The type 0 chip (HD6845S) keeps the VSYNC width in R3's top four bits, so the
    // firmware's 0x8E gives an 8-line VSYNC there; masked to 0x7F it would read as 0, that
    // is 16 lines. Type 1 has a fixed 16-line VSYNC and ignores those bits.
    if (index == 3 && g_Machine.crtcType.load(std::memory_order_relaxed) == 0) return 0xFF;
    return kRegisterMasks[index];
}

void CRTC_LoadResetRegisters(CRTC_State* crtc) {
    crtc->R[0] = 63;
    crtc->R[1] = 40;
    crtc->R[2] = 46;
    crtc->R[3] = 0x8E;
    crtc->R[4] = 38;
    crtc->R[6] = 25;
    crtc->R[7] = 30;
    crtc->R[9] = 7;
    crtc->R[12] = 0x30;
}

uint8_t CRTC_ReadPort(const char* caller, uint8_t index, bool masked) {
    const CRTC_State& c = g_Machine.crtc;
    unsigned port = 0xBCu + (index & 3);
    switch (index & 3) {
        case 0:
        case 1:
            XT_Trace("%s(): Reading Write only port %02Xxx, returning 0.", caller, port);
            return 0;
        case 2: XT_Trace("%s(): Reading port %02Xxx, returning 0.", caller, port); return 0;
        default: break;
    }
    uint8_t reg = c.selectedRegister;
    if (reg >= kFirstReadableRegister && reg < CRTC_REGISTER_COUNT) {
        uint8_t value = masked ? c.R[reg] & kRegisterMasks[reg] : c.R[reg];
        XT_Trace("%s(): %02Xxx, %02X.", caller, port, value);
        return value;
    }
    XT_Trace("%s(): Reading port %02Xxx, selected register (%d) Write Only, returning 0.", caller,
             port, reg);
    return 0;
}

bool GA_StepLineCounter() {
    GA_State& ga = g_Machine.ga;
    CRTC_State& c = g_Machine.crtc;
    bool interrupt = false;
    ++ga.intLineCounter;
    if (c.gaVsyncDelay && --c.gaVsyncDelay == 0) {
        interrupt = (ga.intLineCounter & 0x20) != 0;
        ga.intLineCounter = 0;
    }
    if (ga.intLineCounter == GA_INTERRUPT_LINES) {
        ga.intLineCounter = 0;
        interrupt = true;
    }
    return interrupt;
}
