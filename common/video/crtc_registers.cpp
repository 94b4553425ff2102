// Register names and write masks of the 6845, shared by both CRTC variants and the
// monitor's register display.
#include "common/machine/machine.h"
#include "common/video/crtc.h"

namespace {
// Fixed-width names: the monitor prints them in a column.
const char* const kRegisterNames[CRTC_REGISTER_COUNT] = {
    " 0(H. TOTAL)    ", " 1(H. DISP)     ", " 2(H. SYNC POS) ", " 3(SYNC WIDTH)  ",
    " 4(V. TOTAL)    ", " 5(V. ADJUST)   ", " 6(V. DISP)     ", " 7(V. SYNC POS) ",
    " 8(INTERLACE)   ", " 9(MAX RASTER)  ", "10(CSR START)   ", "11(CSR END)     ",
    "12(START ADDR H)", "13(START ADDR L)", "14(CSR ADDR H)  ", "15(CSR ADDR L)  ",
    "16(LP ADDR H)   ", "17(LP ADDR L)   ",
};

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
