#pragma once
// Scanline renderer: turns the characters and lines the CRTC fetches into pixels of the
// frame buffer, and tells the host when a monitor frame is complete. Drawing runs on the
// emulation thread; the host reads the buffer, the speed figure and the refresh flag.
#include <cstddef>
#include <cstdint>

// Frame buffer: 270 rows of 1536 bytes. Bytes 0-767 of row r are the pixels of monitor
// line r + 6, one hardware colour number each; bytes 768-1535 are never written, so the
// block shows as a 768 x 540 top-down 8-bit bitmap with every second row black.
constexpr int PAL_SCREEN_WIDTH = 768;
constexpr int PAL_FRAME_ROWS = 270;
constexpr int PAL_FRAME_ROW_BYTES = 1536;
constexpr size_t PAL_FRAME_BUFFER_SIZE = size_t{PAL_FRAME_ROW_BYTES} * PAL_FRAME_ROWS;
constexpr int PAL_FIRST_SHOWN_LINE = 6;  // monitor lines 0-5 are never shown
constexpr uint8_t PAL_BLACK = 20;        // hardware colour the host fills the buffer with
constexpr int PAL_PALETTE_ENTRIES = 32;
constexpr int PAL_SPEED_REAL_TIME = 1000;  // speed figure of an emulation at real speed

// The host's frame buffer of PAL_FRAME_BUFFER_SIZE bytes, filled with PAL_BLACK by the
// host. Without one (none is the start value) nothing is drawn.
void PAL_SetFrameBuffer(uint8_t* buffer);
uint8_t* PAL_GetFrameBuffer();

// What a snapshot keeps of the renderer: the current line's place as offsets into the
// frame buffer (-1 for none), the frame counters and the line-based CRTC's borders.
struct PAL_RendererPosition {
    int32_t x;
    int32_t destOffset;
    int32_t endOffset;
    uint8_t frameSkipCounter;
    uint32_t frameCounter;
    uint16_t bytesPerLine;
    int16_t lBorder;
    int16_t rBorder;
};
PAL_RendererPosition PAL_GetRendererPosition();
// Offsets that do not fit the frame buffer leave the line undrawn until the next starts.
void PAL_SetRendererPosition(const PAL_RendererPosition& position);

// 32 entries of blue, green, red, 0, indexed by hardware colour number.
const uint8_t* PAL_GetPalette();

// Builds the pixel tables of modes 0 and 1; call once before the machine runs.
bool PAL_InitVideoTables();

// Precise CRTC, once per character: a monitor line starts (at ML of the CRTC state),
// one character of video RAM (two bytes, or none for border), one sync character.
void PAL_BeginLine();
void PAL_DrawChar(const uint8_t* videoBytes);
void PAL_DrawSync();
// count characters as PAL_DrawChar draws them one by one: from ramBlock at byteOffset, the
// offset moving on two bytes a character within the 16 KB block (none: border).
void PAL_DrawChars(const uint8_t* ramBlock, uint16_t byteOffset, int count);

// Fast CRTC, once per line: the line geometry from the register file and the borders in
// characters, then a whole line from a 16 KB RAM block (none for border).
void PAL_SetFastGeometry(uint8_t registerNumber, const uint8_t* registers, int16_t leftBorder,
                         int16_t rightBorder);
void PAL_DrawLine(const uint8_t* ramBlock, uint16_t address, uint16_t monitorLine, uint8_t mode);

// Completes a monitor frame of monitorLine lines: fills the rows below it with the border
// ink, measures the speed every 100 frames and asks the host to repaint.
void PAL_EndFrame(uint16_t monitorLine);

// Emulated microseconds per host millisecond over the last 100 frames; 0 until measured.
uint32_t PAL_GetSpeedFigure();
// Status-bar refresh flag: set by the speed measurement and the drive activity notice,
// taken (read and cleared) by the host when it repaints its status area.
void PAL_RequestStatusRefresh();
bool PAL_TakeStatusRefresh();
bool PAL_StatusRefreshPending();
