// Scanline renderer. Every pixel is produced at a horizontal position x that starts at
// the horizontal offset x 16 at each monitor line; only x in 0-767 reaches the row.
#include "common/video/renderer.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/z80/z80.h"

namespace {
constexpr int kBorderInk = 16;
constexpr uint8_t kSyncOddColour = 6;
constexpr uint8_t kSyncEvenColour = 12;
constexpr uint32_t kFramesPerMeasurement = 100;
constexpr uint8_t kFrameSkipDivisor = 1;   // every frame is drawn
constexpr uint16_t kLineByteMask = 0x7FF;  // a line's bytes wrap within a 2 KB block

// Blue, green, red, 0 for each hardware colour.
const uint8_t kPalette[PAL_PALETTE_ENTRIES * 4] = {
    0x7F, 0x7F, 0x7F, 0, 0x7F, 0x7F, 0x7F, 0, 0x7F, 0xFF, 0x00, 0, 0x7F, 0xFF, 0xFF, 0,
    0x7F, 0x00, 0x00, 0, 0x7F, 0x00, 0xFF, 0, 0x7F, 0x7F, 0x00, 0, 0x7F, 0x7F, 0xFF, 0,
    0x7F, 0x00, 0xFF, 0, 0x7F, 0xFF, 0xFF, 0, 0x00, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0,
    0x00, 0x00, 0xFF, 0, 0xFF, 0x00, 0xFF, 0, 0x00, 0x7F, 0xFF, 0, 0xFF, 0x7F, 0xFF, 0,
    0x7F, 0x00, 0x00, 0, 0x7F, 0xFF, 0x00, 0, 0x00, 0xFF, 0x00, 0, 0xFF, 0xFF, 0x00, 0,
    0x00, 0x00, 0x00, 0, 0xFF, 0x00, 0x00, 0, 0x00, 0x7F, 0x00, 0, 0xFF, 0x7F, 0x00, 0,
    0x7F, 0x00, 0x7F, 0, 0x7F, 0xFF, 0x7F, 0, 0x00, 0xFF, 0x7F, 0, 0xFF, 0xFF, 0x7F, 0,
    0x00, 0x00, 0x7F, 0, 0xFF, 0x00, 0x7F, 0, 0x00, 0x7F, 0x7F, 0, 0xFF, 0x7F, 0x7F, 0,
};

// Pens of a screen byte: mode 0 left pen in the low byte, right pen in the high byte;
// mode 1 pixel 0 (leftmost) in the low byte up to pixel 3 in the high byte.
uint16_t g_mode0Pens[256];
uint32_t g_mode1Pens[256];

// Where the next pixel of a line goes. x saturates at the right edge, so a line that
// never ends (no HSYNC) cannot wrap round into the row again.
struct LineCursor {
    int32_t x;
    uint8_t* dest;
    uint8_t* end;
};

struct RendererState {
    uint8_t* frameBuffer;
    LineCursor line;  // the precise CRTC's current monitor line; dest none when not shown
    uint8_t frameSkipCounter;
    uint32_t frameCounter;
    uint32_t savedTime;
    uint32_t savedTicks;
    uint16_t bytesPerLine;
    int16_t lBorder;
    int16_t rBorder;
};

RendererState g_renderer;
std::atomic<uint32_t> g_speedFigure{0};
std::atomic<uint32_t> g_statusRefresh{0};

inline int Bit(uint8_t byte, int bit) {
    return (byte >> bit) & 1;
}

// Pixels x + 1 to x + count are produced; the whole run lands when all of them are on
// the row, which is the usual case and needs no per-pixel test.
inline bool RunFullyShown(const LineCursor& cursor, int count) {
    return cursor.x >= -1 && cursor.x + count < PAL_SCREEN_WIDTH &&
           cursor.end - cursor.dest >= count;
}

// Stores 8 pixels held as in DecodeByte, leftmost first, in one 8-byte store.
inline void StorePixels(uint8_t* dest, uint64_t pixels) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    pixels = __builtin_bswap64(pixels);
#endif
    std::memcpy(dest, &pixels, sizeof pixels);
}

// The pixel output rule for the 8 pixels of one screen byte.
inline void EmitByte(LineCursor& cursor, uint64_t pixels) {
    if (RunFullyShown(cursor, 8)) {
        StorePixels(cursor.dest, pixels);
        cursor.dest += 8;
        cursor.x += 8;
        return;
    }
    for (int i = 0; i < 8 && cursor.x < PAL_SCREEN_WIDTH; ++i) {
        ++cursor.x;
        if (cursor.x >= 0 && cursor.x < PAL_SCREEN_WIDTH && cursor.dest < cursor.end) {
            *cursor.dest++ = static_cast<uint8_t>(pixels >> (8 * i));
        }
    }
}

// The 8 pixels of a screen byte as hardware colours, pixel i from the left in bits 8i to
// 8i + 7. Built in a register, so a whole byte reaches the row in one store: the inks are
// placed once, and a multiplication copies each into the neighbouring empty bytes.
inline uint64_t DecodeByte(uint8_t byte, uint8_t mode, const uint8_t* inks) {
    constexpr uint64_t kTwoWide = 0x0101;
    constexpr uint64_t kFourWide = 0x01010101;
    switch (mode & 3) {
        case 0: {
            uint16_t pens = g_mode0Pens[byte];
            return (inks[pens & 0xFF] | uint64_t{inks[pens >> 8]} << 32) * kFourWide;
        }
        case 1: {
            uint32_t pens = g_mode1Pens[byte];
            return (inks[pens & 0xFF] | uint64_t{inks[(pens >> 8) & 0xFF]} << 16 |
                    uint64_t{inks[(pens >> 16) & 0xFF]} << 32 | uint64_t{inks[pens >> 24]} << 48) *
                   kTwoWide;
        }
        case 2: {
            uint64_t pixels = 0;
            for (int pixel = 0; pixel < 8; ++pixel)
                pixels |= uint64_t{inks[Bit(byte, 7 - pixel)]} << (8 * pixel);
            return pixels;
        }
        default: {  // mode 3: the first two pixels of mode 1, each four wide
            uint32_t pens = g_mode1Pens[byte];
            return (inks[pens & 0xFF] | uint64_t{inks[(pens >> 8) & 0xFF]} << 32) * kFourWide;
        }
    }
}

// Decoded screen bytes for the mode and pen inks of the last use. An entry is good while
// its stamp is the current one; a change of mode or of any pen ink moves the stamp on,
// so entries are decoded again as bytes come up, however often the inks change. Inks
// that stay for a few draws get the whole table, and runs of bytes skip the stamp.
struct DecodedByte {
    uint64_t pixels;
    uint32_t stamp;
};
DecodedByte g_decoded[256];
uint32_t g_decodeStamp = 1;
uint32_t g_decodedCount = 0;   // entries good under the current stamp
uint32_t g_drawsSinceKey = 0;  // lines or runs of characters drawn under the stamp
constexpr uint32_t kDrawsBeforeWholeTable = 32;
uint8_t g_decodeMode = 0xFF;  // none yet
uint8_t g_decodeInks[16];

__attribute__((noinline)) void ChangeDecodeKey(uint8_t mode, const uint8_t* inks) {
    g_decodeMode = mode;
    std::memcpy(g_decodeInks, inks, sizeof g_decodeInks);
    g_decodedCount = 0;
    g_drawsSinceKey = 0;
    if (++g_decodeStamp == 0) {  // after a wrap no old entry may pass for a new one
        for (DecodedByte& entry : g_decoded) entry.stamp = 0;
        g_decodeStamp = 1;
    }
}

inline void UseDecodeKey(uint8_t mode, const uint8_t* inks) {
    if (mode != g_decodeMode || std::memcmp(inks, g_decodeInks, sizeof g_decodeInks) != 0)
        ChangeDecodeKey(mode, inks);
}

__attribute__((noinline)) uint64_t DecodeIntoTable(uint8_t byte, uint8_t mode,
                                                   const uint8_t* inks) {
    DecodedByte& entry = g_decoded[byte];
    entry.pixels = DecodeByte(byte, mode, inks);
    entry.stamp = g_decodeStamp;
    ++g_decodedCount;
    return entry.pixels;
}

// DecodeByte through the table; UseDecodeKey has been given the same mode and inks.
inline uint64_t Decoded(uint8_t byte, uint8_t mode, const uint8_t* inks) {
    const DecodedByte& entry = g_decoded[byte];
    return entry.stamp == g_decodeStamp ? entry.pixels : DecodeIntoTable(byte, mode, inks);
}

__attribute__((noinline)) void CompleteDecodeTable(uint8_t mode, const uint8_t* inks) {
    for (unsigned byte = 0; byte < 256; ++byte) Decoded(static_cast<uint8_t>(byte), mode, inks);
}

// After UseDecodeKey, for a draw of several bytes: true when the whole table is good.
inline bool WholeDecodeTable(uint8_t mode, const uint8_t* inks) {
    if (g_decodedCount != 256 && ++g_drawsSinceKey == kDrawsBeforeWholeTable)
        CompleteDecodeTable(mode, inks);
    return g_decodedCount == 256;
}

inline int32_t LineStartX() {
    return int32_t{g_Machine.horizontalOffset.load(std::memory_order_relaxed)} * 16;
}

inline uint8_t* ShownRow(uint16_t monitorLine) {
    if (!g_renderer.frameBuffer || monitorLine < PAL_FIRST_SHOWN_LINE ||
        monitorLine - PAL_FIRST_SHOWN_LINE >= PAL_FRAME_ROWS) {
        return nullptr;
    }
    return g_renderer.frameBuffer +
           size_t{PAL_FRAME_ROW_BYTES} * (monitorLine - PAL_FIRST_SHOWN_LINE);
}

// Writes count border pixels at the cursor without moving x (the fast line's borders
// are placed by arithmetic, not by the pixel rule).
inline void FillBorder(LineCursor& cursor, uint8_t ink, int32_t count) {
    if (count > cursor.end - cursor.dest) count = static_cast<int32_t>(cursor.end - cursor.dest);
    if (count <= 0) return;
    std::memset(cursor.dest, ink, static_cast<size_t>(count));
    cursor.dest += count;
}

// A character that is only partly on the row (x + 16 >= 0, x < the last pixel), by the
// pixel output rule: pixels x + 1 to x + 16, x stopping at the right edge, those on the
// row stored. Every line has two, so the pixels that land go in with one copy. The cursor
// goes in and out by value, so that the caller's copy can stay in registers.
__attribute__((noinline)) LineCursor DrawCharAtEdge(LineCursor line, const uint8_t* videoBytes) {
    const uint8_t* inks = g_Machine.ga.penInks;
    uint8_t pixels[16];
    if (!videoBytes) {
        std::memset(pixels, inks[kBorderInk], sizeof pixels);
    } else {
        uint8_t mode = g_Machine.crtc.currentMode & 3;
        UseDecodeKey(mode, inks);
        StorePixels(pixels, Decoded(videoBytes[0], mode, inks));
        StorePixels(pixels + 8, Decoded(videoBytes[1], mode, inks));
    }
    int32_t first = std::max(0, -(line.x + 1));
    int32_t last = std::min(15, PAL_SCREEN_WIDTH - 2 - line.x);
    int32_t count = std::min(last - first + 1, static_cast<int32_t>(line.end - line.dest));
    if (count > 0) {
        std::memcpy(line.dest, pixels + first, static_cast<size_t>(count));
        line.dest += count;
    }
    line.x = std::min(line.x + 16, PAL_SCREEN_WIDTH);
    return line;
}

// One character of video RAM (none for border) at the cursor, by the pixel output rule;
// UseDecodeKey has been given mode and inks. The usual cases cost least: a character
// wholly left of the row drops its pixels, one wholly on the row is stored whole.
inline void DrawCharAt(LineCursor& line, const uint8_t* videoBytes, uint8_t mode,
                       const uint8_t* inks) {
    int32_t x = line.x;
    if (x + 16 < 0) {
        line.x = x + 16;
        return;
    }
    if (x >= PAL_SCREEN_WIDTH - 1) {  // past the right edge, where x stops
        line.x = PAL_SCREEN_WIDTH > x ? PAL_SCREEN_WIDTH : x;
        return;
    }
    if (!RunFullyShown(line, 16)) {
        line = DrawCharAtEdge(line, videoBytes);
        return;
    }
    uint8_t* dest = line.dest;
    if (!videoBytes) {
        std::memset(dest, inks[kBorderInk], 16);
    } else {
        StorePixels(dest, Decoded(videoBytes[0], mode, inks));
        StorePixels(dest + 8, Decoded(videoBytes[1], mode, inks));
    }
    line.dest = dest + 16;
    line.x = x + 16;
}

// Characters from the cursor on that land wholly on the row, at most count.
inline int CharsFullyShown(const LineCursor& line, int count) {
    if (line.x < -1) return 0;
    int byRow = (PAL_SCREEN_WIDTH - 1 - line.x) / 16;
    int byBuffer = static_cast<int>((line.end - line.dest) / 16);
    return std::max(0, std::min({count, byRow, byBuffer}));
}

// count characters of video RAM from byteOffset on (border with no RAM block); those
// wholly on the row go in
// without a test each (and, with the whole table good, without the stamp), the others by
// the per-character rule.
template <bool kWholeTable>
void DrawCharRun(LineCursor& line, const uint8_t* ramBlock, uint16_t byteOffset, int count,
                 uint8_t mode, const uint8_t* inks) {
    while (count > 0) {
        int fit = CharsFullyShown(line, count);
        if (fit == 0) {
            DrawCharAt(line, ramBlock ? ramBlock + byteOffset : nullptr, mode, inks);
            byteOffset = static_cast<uint16_t>((byteOffset + 2) & 0x3FFE);
            --count;
            continue;
        }
        uint8_t* dest = line.dest;
        if (!ramBlock) {  // border
            std::memset(dest, inks[kBorderInk], 16 * static_cast<size_t>(fit));
            dest += 16 * fit;
        } else {
            for (int i = 0; i < fit; ++i) {
                const uint8_t* bytes = ramBlock + byteOffset;
                StorePixels(
                    dest, kWholeTable ? g_decoded[bytes[0]].pixels : Decoded(bytes[0], mode, inks));
                StorePixels(dest + 8, kWholeTable ? g_decoded[bytes[1]].pixels
                                                  : Decoded(bytes[1], mode, inks));
                dest += 16;
                byteOffset = static_cast<uint16_t>((byteOffset + 2) & 0x3FFE);
            }
        }
        line.dest = dest;
        line.x += 16 * fit;
        count -= fit;
    }
}

void MeasureSpeed() {
    const Z80_State* processor = g_Machine.processor;
    uint32_t now = processor ? processor->time : 0;
    if (now > g_renderer.savedTime && g_renderer.savedTicks != 0) {
        uint32_t elapsed = PAL_GetTickCount() - g_renderer.savedTicks;
        if (elapsed)
            g_speedFigure.store((now - g_renderer.savedTime) / elapsed, std::memory_order_relaxed);
    }
    g_renderer.savedTime = now;
    g_renderer.savedTicks = PAL_GetTickCount();
    g_statusRefresh.store(1, std::memory_order_release);
}
}  // namespace

void PAL_SetFrameBuffer(uint8_t* buffer) {
    g_renderer.frameBuffer = buffer;
    g_renderer.line = LineCursor{0, nullptr, nullptr};
}

uint8_t* PAL_GetFrameBuffer() {
    return g_renderer.frameBuffer;
}

PAL_RendererPosition PAL_GetRendererPosition() {
    const RendererState& r = g_renderer;
    auto offset = [](const uint8_t* at) {
        const uint8_t* buffer = g_renderer.frameBuffer;
        return (at && buffer) ? static_cast<int32_t>(at - buffer) : -1;
    };
    return {r.line.x,           offset(r.line.dest), offset(r.line.end), r.frameSkipCounter,
            r.frameCounter,     r.bytesPerLine,      r.lBorder,          r.rBorder};
}

void PAL_SetRendererPosition(const PAL_RendererPosition& position) {
    RendererState& r = g_renderer;
    const int32_t size = static_cast<int32_t>(PAL_FRAME_BUFFER_SIZE);
    const PAL_RendererPosition& p = position;
    bool fits = r.frameBuffer && p.destOffset >= 0 && p.destOffset <= p.endOffset &&
                p.endOffset <= size && p.endOffset - p.destOffset <= PAL_SCREEN_WIDTH;
    r.line = fits ? LineCursor{p.x, r.frameBuffer + p.destOffset, r.frameBuffer + p.endOffset}
                  : LineCursor{p.x, nullptr, nullptr};
    r.frameSkipCounter = p.frameSkipCounter % kFrameSkipDivisor;
    r.frameCounter = p.frameCounter;
    // Within what the line-based CRTC's registers can give.
    r.bytesPerLine = std::min<uint16_t>(p.bytesPerLine, 2 * 255);
    r.lBorder = std::clamp<int16_t>(p.lBorder, -2 * 270, 2 * 256);
    r.rBorder = std::clamp<int16_t>(p.rBorder, -2 * 253, 2 * 257);
}

const uint8_t* PAL_GetPalette() {
    return kPalette;
}

bool PAL_InitVideoTables() {
    // No decoded byte survives: the next draw starts the table afresh.
    g_decodeMode = 0xFF;
    g_decodedCount = 0;
    g_drawsSinceKey = 0;
    for (int value = 0; value < 256; ++value) {
        uint8_t b = static_cast<uint8_t>(value);
        int left = Bit(b, 7) + 2 * Bit(b, 3) + 4 * Bit(b, 5) + 8 * Bit(b, 1);
        int right = Bit(b, 6) + 2 * Bit(b, 2) + 4 * Bit(b, 4) + 8 * Bit(b, 0);
        g_mode0Pens[value] = static_cast<uint16_t>(left | right << 8);
        uint32_t pens = 0;
        for (int pixel = 0; pixel < 4; ++pixel) {
            uint32_t pen = static_cast<uint32_t>(Bit(b, 7 - pixel) + 2 * Bit(b, 3 - pixel));
            pens |= pen << (8 * pixel);
        }
        g_mode1Pens[value] = pens;
    }
    return true;
}

void PAL_BeginLine() {
    if (g_renderer.frameSkipCounter) return;
    LineCursor& line = g_renderer.line;
    line.x = LineStartX();
    line.dest = ShownRow(g_Machine.crtc.ML);
    line.end = line.dest ? line.dest + PAL_SCREEN_WIDTH : nullptr;
}

void PAL_DrawChar(const uint8_t* videoBytes) {
    if (g_renderer.frameSkipCounter || !g_renderer.line.dest) return;
    const uint8_t* inks = g_Machine.ga.penInks;
    uint8_t mode = g_Machine.crtc.currentMode & 3;
    if (videoBytes) UseDecodeKey(mode, inks);
    DrawCharAt(g_renderer.line, videoBytes, mode, inks);
}

void PAL_DrawChars(const uint8_t* ramBlock, uint16_t byteOffset, int count) {
    if (g_renderer.frameSkipCounter || !g_renderer.line.dest) return;
    const uint8_t* inks = g_Machine.ga.penInks;
    uint8_t mode = g_Machine.crtc.currentMode & 3;
    LineCursor line = g_renderer.line;  // local, so that the pixel stores cannot alias it
    if (ramBlock) {
        UseDecodeKey(mode, inks);
        if (WholeDecodeTable(mode, inks))
            DrawCharRun<true>(line, ramBlock, byteOffset, count, mode, inks);
        else
            DrawCharRun<false>(line, ramBlock, byteOffset, count, mode, inks);
    } else {
        DrawCharRun<false>(line, nullptr, 0, count, mode, inks);
    }
    // Field by field: a whole-record copy would read back the parts just written.
    g_renderer.line.x = line.x;
    g_renderer.line.dest = line.dest;
}

void PAL_DrawSync() {
    LineCursor& line = g_renderer.line;
    if (g_renderer.frameSkipCounter || !line.dest) return;
    if (line.x >= PAL_SCREEN_WIDTH) return;
    // Pixels x + 1 to x + 16, x stopping at the right edge; only those on the row are
    // stored. Most sync characters fall left of the row, so the span is worked out once.
    int32_t lastX = line.x + 16 < PAL_SCREEN_WIDTH ? line.x + 16 : PAL_SCREEN_WIDTH;
    int32_t firstShown = line.x + 1 > 0 ? line.x + 1 : 0;
    int32_t lastShown = lastX < PAL_SCREEN_WIDTH ? lastX : PAL_SCREEN_WIDTH - 1;
    for (int32_t x = firstShown; x <= lastShown && line.dest < line.end; ++x) {
        *line.dest++ = (x & 1) ? kSyncOddColour : kSyncEvenColour;
    }
    line.x = lastX;
}

void PAL_SetFastGeometry(uint8_t /*registerNumber*/, const uint8_t* registers, int16_t leftBorder,
                         int16_t rightBorder) {
    if (registers) g_renderer.bytesPerLine = static_cast<uint16_t>(registers[1] * 2);
    g_renderer.lBorder = static_cast<int16_t>(leftBorder * 2);
    g_renderer.rBorder = static_cast<int16_t>(rightBorder * 2);
}

void PAL_DrawLine(const uint8_t* ramBlock, uint16_t address, uint16_t monitorLine, uint8_t mode) {
    if (g_renderer.frameSkipCounter) return;
    uint8_t* row = ShownRow(monitorLine);
    if (!row) return;
    const uint8_t* inks = g_Machine.ga.penInks;
    uint8_t border = inks[kBorderInk];
    if (!ramBlock) {
        std::memset(row, border, PAL_SCREEN_WIDTH);
        return;
    }

    mode &= 3;
    UseDecodeKey(mode, inks);
    const bool wholeTable = WholeDecodeTable(mode, inks);
    uint16_t index = address & kLineByteMask;
    const uint8_t* data = ramBlock + (address & 0x3800);  // stays inside the 16 KB block
    LineCursor cursor{LineStartX(), row, row + PAL_SCREEN_WIDTH};
    uint16_t count = g_renderer.bytesPerLine;
    int32_t lBorder = g_renderer.lBorder;
    int32_t rBorder = g_renderer.rBorder;

    if (lBorder < 0) {
        index = static_cast<uint16_t>((index - lBorder) & kLineByteMask);
        count = static_cast<uint16_t>(count + lBorder);
    } else if (lBorder > 0) {
        cursor.x += lBorder * 8;
        if (cursor.x > 0)
            FillBorder(cursor, border, cursor.x < PAL_SCREEN_WIDTH ? cursor.x : PAL_SCREEN_WIDTH);
    }
    if (rBorder < 0) count = static_cast<uint16_t>(count + rBorder);

    // A count wrapped below zero means "to the right edge": once no pixel can show, the
    // remaining bytes only push x past the edge.
    while (count) {
        if (cursor.x >= PAL_SCREEN_WIDTH - 1) {
            cursor.x = PAL_SCREEN_WIDTH;
            break;
        }
        // The bytes whose 8 pixels all land on the row go straight in.
        uint32_t whole = 0;
        if (cursor.x >= -1) {
            whole = std::min<uint32_t>({count,
                                        static_cast<uint32_t>(PAL_SCREEN_WIDTH - 1 - cursor.x) / 8,
                                        static_cast<uint32_t>(cursor.end - cursor.dest) / 8});
        }
        if (whole == 0) {
            EmitByte(cursor, Decoded(data[index], mode, inks));
            index = (index + 1) & kLineByteMask;
            --count;
            continue;
        }
        if (wholeTable && index + whole <= kLineByteMask + 1u) {
            // The usual line: the bytes lie in a row and every one is decoded already.
            const uint8_t* bytes = data + index;
            for (uint32_t i = 0; i < whole; ++i)
                StorePixels(cursor.dest + 8 * i, g_decoded[bytes[i]].pixels);
            index = static_cast<uint16_t>((index + whole) & kLineByteMask);
        } else {
            for (uint32_t i = 0; i < whole; ++i) {
                StorePixels(cursor.dest + 8 * i, Decoded(data[index], mode, inks));
                index = (index + 1) & kLineByteMask;
            }
        }
        cursor.dest += 8 * whole;
        cursor.x += static_cast<int32_t>(8 * whole);
        count = static_cast<uint16_t>(count - whole);
    }

    if (rBorder > 0 && cursor.x < PAL_SCREEN_WIDTH) {
        int32_t right = cursor.x + rBorder * 8;
        if (right > PAL_SCREEN_WIDTH) right = PAL_SCREEN_WIDTH;
        FillBorder(cursor, border, right - (cursor.x > 0 ? cursor.x : 0));
    }
}

void PAL_EndFrame(uint16_t monitorLine) {
    if (g_renderer.frameSkipCounter == 0) {
        int firstRow = monitorLine < PAL_FIRST_SHOWN_LINE ? 0 : monitorLine - PAL_FIRST_SHOWN_LINE;
        if (g_renderer.frameBuffer) {
            uint8_t border = g_Machine.ga.penInks[kBorderInk];
            for (int row = firstRow; row < PAL_FRAME_ROWS; ++row) {
                std::memset(g_renderer.frameBuffer + size_t{PAL_FRAME_ROW_BYTES} * row, border,
                            PAL_SCREEN_WIDTH);
            }
        }
        if (++g_renderer.frameCounter == kFramesPerMeasurement) {
            g_renderer.frameCounter = 0;
            MeasureSpeed();
        }
        PAL_RequestRepaint();
    }
    if (++g_renderer.frameSkipCounter == kFrameSkipDivisor) g_renderer.frameSkipCounter = 0;
}

uint32_t PAL_GetSpeedFigure() {
    return g_speedFigure.load(std::memory_order_relaxed);
}

void PAL_RequestStatusRefresh() {
    g_statusRefresh.store(1, std::memory_order_release);
}

bool PAL_StatusRefreshPending() {
    return g_statusRefresh.load(std::memory_order_acquire) != 0;
}

bool PAL_TakeStatusRefresh() {
    return g_statusRefresh.exchange(0, std::memory_order_acq_rel) != 0;
}
