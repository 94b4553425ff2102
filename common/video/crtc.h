#pragma once
// 6845 CRT controller state and the operations every CRTC variant shares.
#include <cstdint>

constexpr int CRTC_REGISTER_COUNT = 18;

// Status flag bits.
constexpr uint8_t CRTC_STATUS_VDISPLAY = 0x01;  // vertical display enable
constexpr uint8_t CRTC_STATUS_VADJUST = 0x02;   // vertical total adjust running
constexpr uint8_t CRTC_STATUS_DISPLAY = 0x08;   // characters are fetched and drawn

// What the line-based variant adds: the frame geometry worked out from the registers at
// each write, and where the current line stands.
struct CRTC_FastState {
    uint16_t lineLength;    // R0 + 1: microseconds per scan line
    uint16_t lineTimeLeft;  // microseconds until the current line is complete
    uint16_t displayLines;  // R6 x (R9 + 1)
    uint16_t frameLines;    // (R4 + 1) x (R9 + 1) + R5
    uint16_t vsyncLine;     // R7 x (R9 + 1)
    int16_t lBorder;        // characters of left border
    int16_t rBorder;        // characters of right border
    bool newFrame;          // the next completed line starts a new frame
    bool display;           // lines show video RAM, otherwise border
};

struct CRTC_State {
    uint8_t selectedRegister;
    uint8_t R[CRTC_REGISTER_COUNT];
    uint8_t HCC;  // horizontal character counter
    uint8_t RA;   // raster address, 0-31
    uint8_t VCC;  // vertical character counter, 0-127
    uint16_t lineStartMA;
    uint16_t startAddress;  // R12 * 256 + R13
    uint16_t MA;
    uint16_t addressBlock;    // MA & 0xFC00 at the last address computation
    uint16_t byteOffset;      // of the current character within its RAM block
    const uint8_t* ramBlock;  // base RAM block holding the current character
    bool lastRaster;          // RA >= R9
    bool hccAtR0;             // HCC == R0 after the last character
    bool vccAtR4;             // VCC == R4, for the next row change
    uint8_t latchedR5;        // R5 at the last HSYNC start
    uint8_t verticalAdjustCounter;
    uint8_t hsyncCountdown;  // nonzero while HSYNC runs
    uint8_t vsyncCountdown;  // nonzero while VSYNC runs
    uint16_t SL;             // scan line within the CRTC frame (traces)
    uint8_t status;
    uint8_t currentMode;  // mode in force for drawing
    uint8_t modeChangeDelay;
    uint8_t gaHsyncDelay;        // CRTC HSYNC start to Gate Array HSYNC
    uint8_t gaVsyncDelay;        // HSYNCs from VSYNC start to the line counter resync
    uint16_t ML;                 // monitor line within the monitor frame
    uint16_t frameEndCountdown;  // nonzero also marks the VSYNC blanking
    int16_t lineTime;            // microseconds since the last monitor line started
    CRTC_FastState fast;
};

// Clears the fields the machine reset clears, before the handler set's reset runs.
void CRTC_ClearResetState(CRTC_State* crtc);

// Stores the CRTC type and installs the precise or fast handler set.
void CRTC_Init(uint8_t type);
void CRTC_InstallBest();
void CRTC_InstallFast();

// The registers both variants load at reset; the others keep their cleared values.
void CRTC_LoadResetRegisters(CRTC_State* crtc);

// Name text of register 0-17 as the monitor prints it; "" for any other number.
const char* CRTC_RegisterName(int index);
// Bits of register 0-17 that a write keeps on the machine's current CRTC type; 0 for any
// other number.
uint8_t CRTC_RegisterMask(int index);

// A read of port &BC + index (0-3) as both variants answer it, with their traces under
// the caller's name ("CRTC_in_best"). Only registers 12-17 can be read; the line-based
// variant stores values unmasked and applies the mask here (masked true).
uint8_t CRTC_ReadPort(const char* caller, uint8_t index, bool masked);

// Lines the Gate Array counts from one interrupt to the next.
constexpr uint8_t GA_INTERRUPT_LINES = 52;
// The Gate Array's interrupt line counter, one step per line: true when an interrupt is
// due (every 52 lines, and at the end of the VSYNC delay if the counter had reached 32).
bool GA_StepLineCounter();
