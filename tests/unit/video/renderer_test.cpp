// The renderer called directly, as the CRTC variants call it.
#include <chrono>
#include <string>
#include <thread>

#include "common/z80/z80.h"
#include "video_fixture.h"

namespace {

class Renderer : public VideoTest {
   protected:
    // Starts monitor line ML 6 (row 0) with pixel 0 the first one drawn.
    void BeginRow0(uint8_t mode, int16_t offset = 0) {
        g_Machine.horizontalOffset = offset;
        g_Machine.crtc.ML = PAL_FIRST_SHOWN_LINE;
        g_Machine.crtc.currentMode = mode;
        PAL_BeginLine();
    }
    void FastGeometry(uint8_t r1, int16_t leftChars, int16_t rightChars) {
        uint8_t registers[CRTC_REGISTER_COUNT] = {};
        registers[1] = r1;
        PAL_SetFastGeometry(1, registers, leftChars, rightChars);
    }
    std::ptrdiff_t Count(int row, int from, int to, uint8_t ink) {
        return std::count(Row(row) + from, Row(row) + to, ink);
    }
};

}  // namespace

// Each bit of a screen byte on its own: the pen (as a hex digit) it gives each of the 8
// pixels it covers, for bits 7 down to 0. A character is two bytes, drawn in turn.
TEST_F(Renderer, EveryBitOfAScreenByteByMode) {
    const char* const pixels[4][8] = {
        {"11110000", "00001111", "44440000", "00004444", "22220000", "00002222", "88880000",
         "00008888"},
        {"11000000", "00110000", "00001100", "00000011", "22000000", "00220000", "00002200",
         "00000022"},
        {"10000000", "01000000", "00100000", "00010000", "00001000", "00000100", "00000010",
         "00000001"},
        {"11110000", "00001111", "00000000", "00000000", "22220000", "00002222", "00000000",
         "00000000"},
    };
    for (uint8_t mode = 0; mode < 4; ++mode) {
        for (int bit = 0; bit < 8; ++bit) {
            const uint8_t bytes[2] = {static_cast<uint8_t>(0x80 >> bit),
                                      static_cast<uint8_t>(1 << bit)};
            BeginRow0(mode);
            PAL_DrawChar(bytes);
            std::string expected = std::string(pixels[mode][bit]) + pixels[mode][7 - bit];
            std::string drawn;
            for (int x = 0; x < 16; ++x) drawn += "0123456789ABCDEF"[(Row(0)[x] - kInkOfPen0) & 15];
            EXPECT_EQ(drawn, expected) << "mode " << int(mode) << ", bit " << 7 - bit;
        }
        BeginRow0(mode);
        PAL_DrawChar(nullptr);
        EXPECT_EQ(Count(0, 0, 16, kBorderInk), 16) << "mode " << int(mode);
    }
    // A new ink shows from the next character on, in whole lines too.
    const uint8_t bytes[2] = {0x80, 0x80};
    g_Machine.ga.penInks[1] = 3;
    BeginRow0(2);
    PAL_DrawChar(bytes);
    EXPECT_EQ(Row(0)[0], 3);
    FastGeometry(1, 0, 0);
    g_Machine.ga.penInks[1] = 5;
    PAL_DrawLine(bytes, 0, PAL_FIRST_SHOWN_LINE, 2);
    EXPECT_EQ(Row(0)[0], 5);
}

// Blue, green and red of each hardware colour as 0 (0x00), 1 (0x7F) or 2 (0xFF).
TEST(Palette, EveryHardwareColour) {
    const char* const kColours =
        "111 111 120 122 100 102 110 112 102 122 022 222 002 202 012 212 "
        "100 120 020 220 000 200 010 210 101 121 021 221 001 201 011 211";
    const uint8_t kLevels[3] = {0x00, 0x7F, 0xFF};
    const uint8_t* palette = PAL_GetPalette();
    for (int colour = 0; colour < PAL_PALETTE_ENTRIES; ++colour) {
        for (int component = 0; component < 3; ++component)
            EXPECT_EQ(palette[4 * colour + component],
                      kLevels[kColours[4 * colour + component] - '0'])
                << "colour " << colour << " component " << component;
        EXPECT_EQ(palette[4 * colour + 3], 0) << "colour " << colour;
    }
}

TEST_F(Renderer, PixelsLeftOfTheOffsetAndPastTheEdgeAreDropped) {
    BeginRow0(1, -1);
    PAL_DrawSync();  // x -15 to 0: only pixel 0 lands
    PAL_DrawSync();
    EXPECT_EQ(Row(0)[0], 12);
    for (int x = 1; x <= 16; ++x) EXPECT_EQ(Row(0)[x], x % 2 ? 6 : 12) << x;
    EXPECT_EQ(Row(0)[17], PAL_BLACK);

    // Sync covered pixels 0-16; border from 17 runs far past the right edge.
    for (int i = 0; i < 100; ++i) PAL_DrawChar(nullptr);
    EXPECT_EQ(Row(0)[PAL_SCREEN_WIDTH - 1], kBorderInk);
    EXPECT_EQ(Row(0)[PAL_SCREEN_WIDTH], PAL_BLACK);

    // Monitor lines outside rows 0-269 draw nothing.
    for (uint16_t ml : {5, 276}) {
        g_Machine.crtc.ML = ml;
        PAL_BeginLine();
        PAL_DrawChar(nullptr);
        PAL_DrawSync();
    }
    EXPECT_EQ(std::count(frame_.begin(), frame_.end(), kBorderInk), PAL_SCREEN_WIDTH - 17);
}

TEST_F(Renderer, EndFrameFillsTheRowsBelowTheLastLine) {
    PAL_EndFrame(312);
    EXPECT_TRUE(AllBlack(frame_.data(), frame_.data() + frame_.size()));
    PAL_EndFrame(200);
    for (int row = 0; row < PAL_FRAME_ROWS; ++row) {
        EXPECT_EQ(Count(row, 0, PAL_SCREEN_WIDTH, row >= 194 ? kBorderInk : PAL_BLACK),
                  PAL_SCREEN_WIDTH)
            << row;
        EXPECT_TRUE(AllBlack(Row(row) + PAL_SCREEN_WIDTH, Row(row) + PAL_FRAME_ROW_BYTES));
    }
    PAL_EndFrame(3);
    EXPECT_EQ(Row(0)[0], kBorderInk);
    EXPECT_EQ(repaints().size(), 3u);
}

// Every 100 frames: the speed figure, emulated microseconds per host millisecond since the
// last measurement (kept when the processor's counter has not advanced), and a status
// refresh.
TEST_F(Renderer, SpeedMeasurementEvery100Frames) {
    Z80_State cpu{};
    g_Machine.processor = &cpu;
    cpu.time = 1000;
    PAL_TakeStatusRefresh();  // earlier tests ended frames too: run to a measurement
    for (int i = 0; !PAL_TakeStatusRefresh(); ++i) {
        ASSERT_LE(i, 100);
        PAL_EndFrame(312);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    cpu.time += 5000000;
    for (int i = 0; i < 99; ++i) PAL_EndFrame(312);
    EXPECT_FALSE(PAL_TakeStatusRefresh());
    PAL_EndFrame(312);
    EXPECT_TRUE(PAL_TakeStatusRefresh());
    EXPECT_FALSE(PAL_TakeStatusRefresh()) << "taken by the first look";
    uint32_t figure = PAL_GetSpeedFigure();
    EXPECT_GE(figure, 5000000u / 5000) << "5 s or less went by";
    EXPECT_LE(figure, 5000000u / 50) << "50 ms or more went by";
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    for (int i = 0; i < 100; ++i) PAL_EndFrame(312);
    EXPECT_EQ(PAL_GetSpeedFigure(), figure);
    g_Machine.processor = nullptr;
}

TEST_F(Renderer, FastLinePlacesBordersAroundTheScreenBytes) {
    uint8_t* block = g_Machine.baseRam[3];
    for (int i = 0; i < 0x800; ++i) block[0x800 + i] = static_cast<uint8_t>(i);
    std::fill(block + 0x1000, block + 0x1800, 0xFF);
    const uint8_t ink1 = kInkOfPen0 + 1;

    // Reset geometry of the fast CRTC: 12 and 8 characters of border, 40 displayed.
    g_Machine.horizontalOffset = -8;
    FastGeometry(40, 12, 8);
    PAL_DrawLine(block, 0x1000, PAL_FIRST_SHOWN_LINE, 2);
    EXPECT_EQ(Count(0, 0, 64, kBorderInk), 64);
    EXPECT_EQ(Count(0, 64, 704, ink1), 640);
    EXPECT_EQ(Count(0, 704, 768, kBorderInk), 64);
    EXPECT_EQ(Row(0)[768], PAL_BLACK);

    // A negative left border starts 4 bytes into the 80 and draws the other 76; the byte
    // index wraps within its 2 KB block (0x7FE + 4 -> 2). Mode 1, 2 pixels per pen.
    g_Machine.horizontalOffset = 0;
    FastGeometry(40, -2, 0);
    PAL_DrawLine(block, 0x0800 + 0x7FE, PAL_FIRST_SHOWN_LINE + 1, 1);
    EXPECT_EQ(Row(1)[0], kInkOfPen0 + 0);  // byte 2: pens 0, 0, 2, 0
    EXPECT_EQ(Row(1)[4], kInkOfPen0 + 2);
    EXPECT_EQ(Row(1)[607], kInkOfPen0 + 2);  // byte 77 = 0x4D: pens 2, 3, 0, 2
    EXPECT_EQ(Row(1)[603], kInkOfPen0 + 3);
    EXPECT_EQ(Row(1)[608], PAL_BLACK);

    // Borders that leave fewer than no bytes: the count wraps and the bytes run to the edge.
    g_Machine.horizontalOffset = -1;
    FastGeometry(1, -2, 0);
    PAL_DrawLine(block, 0x1000, PAL_FIRST_SHOWN_LINE + 2, 2);
    EXPECT_EQ(Count(2, 0, 768, ink1), 768);
    EXPECT_EQ(Row(2)[768], PAL_BLACK);

    // No RAM block: a border line. Lines outside the shown rows draw nothing.
    PAL_DrawLine(nullptr, 0, PAL_FIRST_SHOWN_LINE + 3, 2);
    EXPECT_EQ(Count(3, 0, 768, kBorderInk), 768);
    PAL_DrawLine(block, 0x1000, 5, 2);
    PAL_DrawLine(block, 0x1000, 276, 2);
    EXPECT_TRUE(AllBlack(Row(4), frame_.data() + frame_.size()));
}

// Once a mode and its inks have lasted a few draws, lines and runs of characters read the
// whole decode table directly: they must land as those drawn through the table's stamps
// did, a line still wrapping within its 2 KB block, and a new ink must show at once.
TEST_F(Renderer, WholeDecodeTableKeepsTheRules) {
    uint8_t* block = g_Machine.baseRam[3];
    for (int i = 0; i < 0x800; ++i) block[0x800 + i] = static_cast<uint8_t>(i);
    g_Machine.horizontalOffset = 0;
    FastGeometry(40, -2, 0);
    // Bytes 0x7F4 to 0x7FF, then 0 onwards.
    auto drawLine = [block](int row) {
        PAL_DrawLine(block, 0x0800 + 0x7F0, static_cast<uint16_t>(PAL_FIRST_SHOWN_LINE + row), 1);
    };
    drawLine(0);
    for (int i = 0; i < 40; ++i) drawLine(1);
    EXPECT_TRUE(std::equal(Row(0), Row(1), Row(1)));

    // Under a new ink, runs of characters from left of the row to past its right edge
    // land as the same characters drawn one at a time do.
    g_Machine.ga.penInks[2] = 7;
    auto beginRow = [](int row) {
        g_Machine.horizontalOffset = -2;
        g_Machine.crtc.ML = static_cast<uint16_t>(PAL_FIRST_SHOWN_LINE + row);
        g_Machine.crtc.currentMode = 1;
        PAL_BeginLine();
    };
    // The first run after the change, the per-character rule, then runs from the whole
    // table.
    beginRow(3);
    PAL_DrawChars(block, 0x0804, 60);
    beginRow(4);
    for (int k = 0; k < 60; ++k) PAL_DrawChar(block + 0x0804 + 2 * k);
    for (int run = 0; run < 40; ++run) {
        beginRow(5);
        PAL_DrawChars(block, 0x0804, 60);
    }
    EXPECT_TRUE(std::equal(Row(3), Row(4), Row(4)));
    EXPECT_TRUE(std::equal(Row(5), Row(6), Row(4)));
    EXPECT_EQ(Row(3)[0], 7);  // the last pixel of the second character: pen 2
    drawLine(2);
    EXPECT_GT(Count(2, 0, PAL_SCREEN_WIDTH, 7), 0);
    EXPECT_EQ(Count(2, 0, PAL_SCREEN_WIDTH, 7), Count(1, 0, PAL_SCREEN_WIDTH, kInkOfPen0 + 2));
}
