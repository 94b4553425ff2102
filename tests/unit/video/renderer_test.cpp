// The renderer called directly, as the CRTC variants call it.
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
    // Pens (inks back to pen numbers) of the first 16 pixels of a row.
    std::vector<int> Pens(int row) {
        std::vector<int> pens;
        for (int x = 0; x < 16; ++x) pens.push_back(Row(row)[x] - kInkOfPen0);
        return pens;
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

TEST_F(Renderer, ScreenBytesDecodeByMode) {
    struct Case {
        uint8_t mode, first, second;
        std::vector<int> pens;
    };
    const Case cases[] = {
        {0, 0xAA, 0x0F, {15, 15, 15, 15, 0, 0, 0, 0, 10, 10, 10, 10, 10, 10, 10, 10}},
        {1, 0xAA, 0x0F, {3, 3, 0, 0, 3, 3, 0, 0, 2, 2, 2, 2, 2, 2, 2, 2}},
        {2, 0x80, 0x35, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 1, 0, 1}},
        {3, 0xAA, 0x0F, {3, 3, 3, 3, 0, 0, 0, 0, 2, 2, 2, 2, 2, 2, 2, 2}},
    };
    for (const Case& c : cases) {
        const uint8_t bytes[2] = {c.first, c.second};
        BeginRow0(c.mode);
        PAL_DrawChar(bytes);
        EXPECT_EQ(Pens(0), c.pens) << "mode " << int(c.mode);
        BeginRow0(c.mode);
        PAL_DrawChar(nullptr);
        EXPECT_EQ(Count(0, 0, 16, kBorderInk), 16) << "mode " << int(c.mode);
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

TEST_F(Renderer, EndFrameFillsTheRowsBelowTheLastLineAndRefreshesStatusEvery100) {
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

    // Earlier tests ended frames too: run up to the next measurement first.
    PAL_TakeStatusRefresh();
    int frames = 0;
    while (!PAL_TakeStatusRefresh() && frames++ < 100) PAL_EndFrame(312);
    ASSERT_LT(frames, 100);
    for (int i = 0; i < 99; ++i) PAL_EndFrame(312);
    EXPECT_FALSE(PAL_TakeStatusRefresh());
    PAL_EndFrame(312);
    EXPECT_TRUE(PAL_TakeStatusRefresh());
    EXPECT_FALSE(PAL_TakeStatusRefresh());
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
