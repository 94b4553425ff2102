#pragma once
// Reads the CPC screen back as text.
#include <cstdint>
#include <string>
#include <vector>

// What the CRTC and the Gate Array display: the geometry, the video RAM and the colours.
struct ScreenView {
    const uint8_t* ram[4];   // base RAM blocks 0-3, the only RAM the CRTC fetches from
    uint8_t charsPerRow;     // R1: displayed CRTC characters (2 bytes each) per row
    uint8_t rows;            // R6: displayed character rows
    uint8_t maxRaster;       // R9: raster lines per row minus one
    uint16_t startAddress;   // R12 * 256 + R13
    uint8_t mode;            // Gate Array screen mode 0-3
    const uint8_t* penInks;  // hardware colours of pens 0-15
    const uint8_t* charset;  // 256 glyphs of 8 bytes, top line first, bit 7 leftmost
};

// The view of the running machine (g_Machine), with the character set of its lower ROM.
// Returns false when no machine with a lower ROM is built.
bool PAL_CurrentScreen(ScreenView& view);

// One string per character row, trailing spaces removed. Inverse characters (paper and
// ink swapped, as under the cursor) read as the character itself; a cell that matches no
// glyph reads as '?', as does a glyph outside printable ASCII (but for the
// pound and copyright signs, which read as UTF-8).
std::vector<std::string> PAL_ReadScreenText(const ScreenView& view);

// True when TEXT appears within one of the lines.
bool PAL_ScreenShows(const std::vector<std::string>& lines, const std::string& text);
