// Screen text recognition works on video RAM, read the way the CRTC and the Gate Array
// display it (start address, characters per row, rows, raster lines, mode and inks),
// rather than on the frame buffer's pixels: the character grid is then exact, with no
// dependence on the picture's horizontal offset, borders or sync position, and a
// character is compared with the lower ROM's glyphs colour by colour. Pens are turned
// into their inks first, so two pens that look alike on the screen also read alike.
#include "platform/screen_text.h"

#include <array>

#include "common/machine/machine.h"

namespace {

constexpr int GLYPH_COUNT = 256;
constexpr int CELL_SIZE = 8;  // firmware characters are 8 x 8 logical pixels
constexpr size_t CHARSET_OFFSET = 0x3800;

using Cell = std::array<uint8_t, CELL_SIZE * CELL_SIZE>;  // hardware colours, row by row

// Bytes of video RAM per 8-pixel character cell in each mode.
int BytesPerCell(uint8_t mode) {
    switch (mode & 3) {
        case 2: return 1;
        case 1: return 2;
        default: return 4;  // modes 0 and 3: two pixels per byte
    }
}

// Address in the 64 KB of base RAM of a byte the CRTC fetches: MA bits 12-13 choose the
// 16 KB block, RA bits 0-2 the 2 KB line within it, MA bits 0-9 the word.
uint8_t VideoByte(const ScreenView& view, uint16_t ma, uint8_t raster, int byteInWord) {
    uint32_t address = ((ma & 0x3000u) << 2) | ((raster & 7u) << 11) | ((ma & 0x3FFu) << 1);
    address += static_cast<uint32_t>(byteInWord);
    const uint8_t* block = view.ram[(address >> 14) & 3];
    return block ? block[address & 0x3FFF] : 0;
}

// Pens of the pixels one byte holds, leftmost first; returns how many.
int DecodeByte(uint8_t mode, uint8_t b, uint8_t* pens) {
    auto bit = [b](int n) { return (b >> n) & 1; };
    switch (mode & 3) {
        case 2:
            for (int p = 0; p < 8; ++p) pens[p] = static_cast<uint8_t>(bit(7 - p));
            return 8;
        case 1:
            for (int p = 0; p < 4; ++p)
                pens[p] = static_cast<uint8_t>(bit(7 - p) | bit(3 - p) << 1);
            return 4;
        case 0:
            pens[0] = static_cast<uint8_t>(bit(7) | bit(3) << 1 | bit(5) << 2 | bit(1) << 3);
            pens[1] = static_cast<uint8_t>(bit(6) | bit(2) << 1 | bit(4) << 2 | bit(0) << 3);
            return 2;
        default:  // mode 3: the two left pixels of the mode 1 decoding, made wide
            pens[0] = static_cast<uint8_t>(bit(7) | bit(3) << 1);
            pens[1] = static_cast<uint8_t>(bit(6) | bit(2) << 1);
            return 2;
    }
}

int CellLines(const ScreenView& view) {
    int lines = view.maxRaster + 1;
    return lines < CELL_SIZE ? lines : CELL_SIZE;
}

Cell ReadCell(const ScreenView& view, int row, int column) {
    Cell cell{};
    int bytesPerCell = BytesPerCell(view.mode);
    int lines = CellLines(view);
    for (int line = 0; line < lines; ++line) {
        int x = 0;
        for (int k = 0; k < bytesPerCell; ++k) {
            int byteInRow = column * bytesPerCell + k;
            uint16_t ma =
                static_cast<uint16_t>(view.startAddress + row * view.charsPerRow + byteInRow / 2);
            uint8_t pens[8];
            int count = DecodeByte(
                view.mode, VideoByte(view, ma, static_cast<uint8_t>(line), byteInRow & 1), pens);
            for (int p = 0; p < count && x < CELL_SIZE; ++p) {
                cell[line * CELL_SIZE + x++] = view.penInks[pens[p] & 15];
            }
        }
    }
    return cell;
}

// The cell's pixels of colour INK as a glyph bit pattern: byte per line, bit 7 leftmost.
uint64_t PatternOf(const Cell& cell, uint8_t ink, int lines) {
    uint64_t pattern = 0;
    for (int line = 0; line < lines; ++line) {
        uint64_t bits = 0;
        for (int x = 0; x < CELL_SIZE; ++x) {
            if (cell[line * CELL_SIZE + x] == ink) bits |= 0x80u >> x;
        }
        pattern |= bits << (8 * line);
    }
    return pattern;
}

uint64_t GlyphPattern(const uint8_t* charset, int glyph, int lines) {
    uint64_t pattern = 0;
    for (int line = 0; line < lines; ++line) {
        pattern |= static_cast<uint64_t>(charset[glyph * CELL_SIZE + line]) << (8 * line);
    }
    return pattern;
}

// Printable ASCII first, so a glyph that the character set repeats reads as text.
int FindGlyph(const uint64_t* glyphs, uint64_t pattern) {
    for (int g = 0x20; g < GLYPH_COUNT; ++g) {
        if (glyphs[g] == pattern) return g;
    }
    for (int g = 0; g < 0x20; ++g) {
        if (glyphs[g] == pattern) return g;
    }
    return -1;
}

// The text of a glyph: printable ASCII as itself, the two symbols of the CPC keyboard
// and copyright line in UTF-8, anything else '?'.
const char* CharacterOf(int glyph) {
    static const std::array<char[2], 0x5F> ascii = [] {
        std::array<char[2], 0x5F> table{};
        for (int c = 0x20; c < 0x7F; ++c) table[c - 0x20][0] = static_cast<char>(c);
        return table;
    }();
    if (glyph >= 0x20 && glyph < 0x7F) return ascii[glyph - 0x20];
    if (glyph == 0xA3) return "\xC2\xA3";  // pound sign
    if (glyph == 0xA4) return "\xC2\xA9";  // copyright sign
    return "?";
}

// The colour that most of the text area shows is the paper of normal text.
uint8_t BackgroundInk(const std::vector<Cell>& cells, int lines) {
    uint32_t counts[256] = {};
    for (const Cell& cell : cells) {
        for (int i = 0; i < lines * CELL_SIZE; ++i) ++counts[cell[i]];
    }
    int best = 0;
    for (int ink = 1; ink < 256; ++ink) {
        if (counts[ink] > counts[best]) best = ink;
    }
    return static_cast<uint8_t>(best);
}

const char* RecogniseCell(const Cell& cell, uint8_t background, int lines, const uint64_t* glyphs) {
    // A cell of one colour is a space, normal or inverse (the cursor on an empty cell).
    uint8_t first = cell[0];
    bool uniform = true;
    for (int i = 1; i < lines * CELL_SIZE && uniform; ++i) uniform = cell[i] == first;
    if (uniform) return " ";

    // Try each colour of the cell as the ink, the background last (inverse text).
    uint8_t tried[CELL_SIZE * CELL_SIZE];
    int triedCount = 0;
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < lines * CELL_SIZE; ++i) {
            uint8_t ink = cell[i];
            if ((ink == background) != (pass == 1)) continue;
            bool seen = false;
            for (int t = 0; t < triedCount && !seen; ++t) seen = tried[t] == ink;
            if (seen) continue;
            tried[triedCount++] = ink;
            int glyph = FindGlyph(glyphs, PatternOf(cell, ink, lines));
            if (glyph >= 0) return CharacterOf(glyph);
        }
    }
    return "?";
}

}  // namespace

bool PAL_CurrentScreen(ScreenView& view) {
    if (g_Machine.lowerRom == nullptr) return false;
    for (int block = 0; block < 4; ++block) view.ram[block] = g_Machine.baseRam[block];
    view.charsPerRow = g_Machine.crtc.R[1];
    view.rows = g_Machine.crtc.R[6];
    view.maxRaster = g_Machine.crtc.R[9];
    view.startAddress = g_Machine.crtc.startAddress;
    view.mode = g_Machine.ga.screenMode;
    view.penInks = g_Machine.ga.penInks;
    view.charset = g_Machine.lowerRom + CHARSET_OFFSET;
    return true;
}

std::vector<std::string> PAL_ReadScreenText(const ScreenView& view) {
    std::vector<std::string> lines;
    int columns = view.charsPerRow * 2 / BytesPerCell(view.mode);
    if (columns == 0 || view.rows == 0 || view.charset == nullptr) return lines;

    int cellLines = CellLines(view);
    uint64_t glyphs[GLYPH_COUNT];
    for (int g = 0; g < GLYPH_COUNT; ++g) glyphs[g] = GlyphPattern(view.charset, g, cellLines);

    std::vector<Cell> cells;
    cells.reserve(static_cast<size_t>(columns) * view.rows);
    for (int row = 0; row < view.rows; ++row) {
        for (int column = 0; column < columns; ++column)
            cells.push_back(ReadCell(view, row, column));
    }
    uint8_t background = BackgroundInk(cells, cellLines);

    for (int row = 0; row < view.rows; ++row) {
        std::string line;
        for (int column = 0; column < columns; ++column) {
            line += RecogniseCell(cells[static_cast<size_t>(row) * columns + column], background,
                                  cellLines, glyphs);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
    }
    return lines;
}

bool PAL_ScreenShows(const std::vector<std::string>& lines, const std::string& text) {
    for (const std::string& line : lines) {
        if (line.find(text) != std::string::npos) return true;
    }
    return false;
}
