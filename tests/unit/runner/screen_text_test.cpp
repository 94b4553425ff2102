// Screen reading on hand-made video RAM: a character set of distinct made-up glyphs is
// drawn the way the firmware draws text, then read back.
#include "platform/screen_text.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

class ScreenText : public ::testing::Test {
   protected:
    void SetUp() override {
        for (auto& block : ram_) block.assign(16384, 0);
        // Glyph g: eight different lines made from g; space stays blank.
        for (int g = 0; g < 256; ++g)
            for (int line = 0; line < 8; ++line)
                charset_[g * 8 + line] = g == ' ' ? 0 : static_cast<uint8_t>(g * 7 + line * 29 + 1);
        inks_ = {1, 24, 20, 6};  // pen 0 blue paper, pen 1 yellow; the rest black
        for (int block = 0; block < 4; ++block) view_.ram[block] = ram_[block].data();
        view_.charsPerRow = 40;
        view_.rows = 25;
        view_.maxRaster = 7;
        view_.startAddress = 0x3000;  // video RAM at 0xC000
        view_.penInks = inks_.data();
        view_.charset = charset_.data();
    }

    // The byte address the CRTC fetches for MA and raster line RA.
    static uint32_t Address(uint16_t ma, int raster) {
        return ((ma & 0x3000u) << 2) | (static_cast<uint32_t>(raster & 7) << 11) |
               ((ma & 0x3FFu) << 1);
    }
    void Poke(uint32_t address, uint8_t value) {
        ram_[(address >> 14) & 3][address & 0x3FFF] = value;
    }

    // Draws glyph g at a cell in the view's mode with the given ink and paper pens. Pen bit
    // b of pixel p of a byte is bit kPenBit[b] - p (modes 2 and 1 use the first one or two).
    void Draw(int row, int column, int g, int ink, int paper) {
        static constexpr int kPenBit[4] = {7, 3, 5, 1};
        const int penBits = view_.mode == 2 ? 1 : view_.mode == 1 ? 2 : 4;
        const int pixelsPerByte = 8 / penBits, bytesPerCell = penBits;
        for (int line = 0; line < 8; ++line) {
            for (int k = 0; k < bytesPerCell; ++k) {
                uint8_t byte = 0;
                for (int p = 0; p < pixelsPerByte; ++p) {
                    bool lit = charset_[g * 8 + line] & (0x80 >> (k * pixelsPerByte + p));
                    int pen = lit ? ink : paper;
                    for (int b = 0; b < penBits; ++b) byte |= ((pen >> b) & 1) << (kPenBit[b] - p);
                }
                int byteInRow = column * bytesPerCell + k;
                auto ma = static_cast<uint16_t>(view_.startAddress + row * view_.charsPerRow +
                                                byteInRow / 2);
                Poke(Address(ma, line) + (byteInRow & 1), byte);
            }
        }
    }
    void Write(int row, int column, const std::string& text, int ink = 1, int paper = 0) {
        for (size_t i = 0; i < text.size(); ++i)
            Draw(row, column + static_cast<int>(i), static_cast<unsigned char>(text[i]), ink,
                 paper);
    }

    std::array<std::vector<uint8_t>, 4> ram_;
    std::array<uint8_t, 2048> charset_{};
    std::array<uint8_t, 16> inks_{};
    ScreenView view_{};
};

}  // namespace

TEST_F(ScreenText, ModeOneTextWithInverseCursorAndTrimmedLines) {
    view_.mode = 1;
    Write(0, 1, "Amstrad 64K");
    Write(2, 0, "Ready");
    Draw(3, 0, ' ', 1, 1);        // the cursor on an empty cell
    Draw(4, 2, 'X', 0, 1);        // inverse: paper and ink swapped
    Write(24, 36, "End!", 3, 0);  // another pen, last cell of the screen
    auto lines = PAL_ReadScreenText(view_);
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[0], " Amstrad 64K");
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(lines[2], "Ready");
    EXPECT_EQ(lines[3], "");
    EXPECT_EQ(lines[4], "  X");
    EXPECT_EQ(lines[24], std::string(36, ' ') + "End!");
    EXPECT_TRUE(PAL_ScreenShows(lines, "64K"));
    EXPECT_FALSE(PAL_ScreenShows(lines, "Ready!"));

    view_.charsPerRow = 0;  // no geometry, no lines
    EXPECT_TRUE(PAL_ReadScreenText(view_).empty());
}

TEST_F(ScreenText, ModeTwoAndModeZeroGeometry) {
    view_.mode = 2;
    Write(10, 79, "Z");
    Write(10, 0, "80 columns");
    auto lines = PAL_ReadScreenText(view_);
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[10], "80 columns" + std::string(69, ' ') + "Z");

    view_.mode = 0;
    for (auto& block : ram_) block.assign(16384, 0);
    Write(5, 0, "20 wide", 3, 0);
    Write(5, 19, "!", 15, 0);
    EXPECT_EQ(PAL_ReadScreenText(view_)[5], "20 wide" + std::string(12, ' ') + "!");
}

TEST_F(ScreenText, FollowsTheStartAddressAndPaper) {
    // Scrolled screen: the CRTC starts 3 rows into video RAM, which wraps within its
    // 16 KB block; the paper is pen 2 everywhere and text is pen 3 on pen 2.
    view_.mode = 1;
    view_.startAddress = 0x3000 + 40 * 3 + 0x3F0;
    for (int row = 0; row < 25; ++row) Write(row, 0, std::string(40, ' '), 1, 2);
    Write(24, 0, "bottom", 3, 2);
    Write(0, 39, "t", 3, 2);
    auto lines = PAL_ReadScreenText(view_);
    EXPECT_EQ(lines[0], std::string(39, ' ') + "t");
    EXPECT_EQ(lines[24], "bottom");
    EXPECT_EQ(Address(static_cast<uint16_t>(view_.startAddress + 24 * 40 + 20), 0) >> 14, 3u);

    // A glyph that is not in the character set reads as '?'.
    Poke(Address(static_cast<uint16_t>(view_.startAddress + 12 * 40), 3), 0x5A);
    EXPECT_EQ(PAL_ReadScreenText(view_)[12], "?");

    // The copyright and pound glyphs read as UTF-8.
    Write(13, 0, "\xA4 \xA3", 3, 2);
    EXPECT_EQ(PAL_ReadScreenText(view_)[13], "\xC2\xA9 \xC2\xA3");
}
