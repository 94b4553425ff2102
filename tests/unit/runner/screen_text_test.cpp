// Screen reading on hand-made video RAM: a character set of distinct made-up glyphs is
// drawn the way the firmware draws text, then read back.
#include "tools/runner/screen_text.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

class ScreenTextTest : public ::testing::Test {
   protected:
    void SetUp() override {
        for (auto& block : ram_) block.assign(16384, 0);
        // Glyph g: eight different lines made from g; space stays blank.
        for (int g = 0; g < 256; ++g) {
            for (int line = 0; line < 8; ++line) {
                charset_[g * 8 + line] = g == ' ' ? 0 : static_cast<uint8_t>(g * 7 + line * 29 + 1);
            }
        }
        inks_.fill(0);
        inks_[0] = 1;   // blue paper
        inks_[1] = 24;  // yellow
        inks_[2] = 20;
        inks_[3] = 6;
        for (int block = 0; block < 4; ++block) view_.ram[block] = ram_[block].data();
        view_.charsPerRow = 40;
        view_.rows = 25;
        view_.maxRaster = 7;
        view_.startAddress = 0x3000;  // video RAM at 0xC000
        view_.penInks = inks_.data();
        view_.charset = charset_.data();
    }

    // The byte address the CRTC fetches for MA and raster line RA.
    uint32_t Address(uint16_t ma, int raster) const {
        return ((ma & 0x3000u) << 2) | (static_cast<uint32_t>(raster & 7) << 11) |
               ((ma & 0x3FFu) << 1);
    }
    void Poke(uint32_t address, uint8_t value) {
        ram_[(address >> 14) & 3][address & 0x3FFF] = value;
    }

    // Draws glyph g at a cell in the view's mode with the given ink and paper pens.
    void Draw(int row, int column, int g, int ink, int paper) {
        int bytesPerCell = view_.mode == 2 ? 1 : view_.mode == 1 ? 2 : 4;
        int pixelsPerByte = 8 / bytesPerCell;
        for (int line = 0; line < 8; ++line) {
            uint8_t bits = charset_[g * 8 + line];
            for (int k = 0; k < bytesPerCell; ++k) {
                uint8_t byte = 0;
                for (int p = 0; p < pixelsPerByte; ++p) {
                    int pen = (bits & (0x80 >> (k * pixelsPerByte + p))) ? ink : paper;
                    byte |= static_cast<uint8_t>(EncodePixel(p, pen));
                }
                int byteInRow = column * bytesPerCell + k;
                uint16_t ma = static_cast<uint16_t>(view_.startAddress + row * view_.charsPerRow +
                                                    byteInRow / 2);
                Poke(Address(ma, line) + (byteInRow & 1), byte);
            }
        }
    }
    int EncodePixel(int p, int pen) const {
        switch (view_.mode) {
            case 2: return (pen & 1) << (7 - p);
            case 1: return ((pen & 1) << (7 - p)) | (((pen >> 1) & 1) << (3 - p));
            default:  // mode 0: pixel 0 uses bits 7, 3, 5, 1; pixel 1 bits 6, 2, 4, 0
                return (p == 0) ? ((pen & 1) << 7 | ((pen >> 1) & 1) << 3 | ((pen >> 2) & 1) << 5 |
                                   ((pen >> 3) & 1) << 1)
                                : ((pen & 1) << 6 | ((pen >> 1) & 1) << 2 | ((pen >> 2) & 1) << 4 |
                                   ((pen >> 3) & 1));
        }
    }
    void Write(int row, int column, const std::string& text, int ink = 1, int paper = 0) {
        for (size_t i = 0; i < text.size(); ++i) {
            Draw(row, column + static_cast<int>(i), static_cast<unsigned char>(text[i]), ink,
                 paper);
        }
    }
    void FillPaper(int paper) {
        int columns = view_.charsPerRow * 2 / (view_.mode == 2 ? 1 : view_.mode == 1 ? 2 : 4);
        for (int row = 0; row < view_.rows; ++row) {
            for (int column = 0; column < columns; ++column) Draw(row, column, ' ', 1, paper);
        }
    }

    std::array<std::vector<uint8_t>, 4> ram_;
    std::array<uint8_t, 2048> charset_{};
    std::array<uint8_t, 16> inks_{};
    ScreenView view_{};
};

}  // namespace

TEST_F(ScreenTextTest, ModeOneTextWithInverseCursorAndTrimmedLines) {
    view_.mode = 1;
    Write(0, 1, "Amstrad 64K");
    Write(2, 0, "Ready");
    Draw(3, 0, ' ', 1, 1);        // the cursor on an empty cell
    Draw(4, 2, 'X', 0, 1);        // inverse: paper and ink swapped
    Write(24, 36, "End!", 3, 0);  // another pen, last cell of the screen
    auto lines = Runner_ReadScreenText(view_);
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[0], " Amstrad 64K");
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(lines[2], "Ready");
    EXPECT_EQ(lines[3], "");
    EXPECT_EQ(lines[4], "  X");
    EXPECT_EQ(lines[24], std::string(36, ' ') + "End!");
    EXPECT_TRUE(Runner_ScreenShows(lines, "64K"));
    EXPECT_FALSE(Runner_ScreenShows(lines, "Ready!"));
}

TEST_F(ScreenTextTest, ModeTwoAndModeZeroGeometry) {
    view_.mode = 2;
    Write(10, 79, "Z");
    Write(10, 0, "80 columns");
    auto lines = Runner_ReadScreenText(view_);
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[10], "80 columns" + std::string(69, ' ') + "Z");

    view_.mode = 0;
    for (auto& block : ram_) block.assign(16384, 0);
    Write(5, 0, "20 wide", 3, 0);
    Write(5, 19, "!", 15, 0);
    lines = Runner_ReadScreenText(view_);
    EXPECT_EQ(lines[5], "20 wide" + std::string(12, ' ') + "!");
}

TEST_F(ScreenTextTest, FollowsTheStartAddressAndPaper) {
    // Scrolled screen: the CRTC starts 3 rows into video RAM, which wraps within its
    // 16 KB block; the paper is pen 2 everywhere and text is pen 3 on pen 2.
    view_.mode = 1;
    view_.startAddress = 0x3000 + 40 * 3 + 0x3F0;
    FillPaper(2);
    Write(24, 0, "bottom", 3, 2);
    Write(0, 39, "t", 3, 2);
    auto lines = Runner_ReadScreenText(view_);
    EXPECT_EQ(lines[0], std::string(39, ' ') + "t");
    EXPECT_EQ(lines[24], "bottom");
    EXPECT_EQ(Address(static_cast<uint16_t>(view_.startAddress + 24 * 40 + 20), 0) >> 14, 3u);

    // A glyph that is not in the character set reads as '?'.
    Poke(Address(static_cast<uint16_t>(view_.startAddress + 12 * 40), 3), 0x5A);
    lines = Runner_ReadScreenText(view_);
    EXPECT_EQ(lines[12], "?");
}

TEST_F(ScreenTextTest, NoGeometryNoLines) {
    view_.mode = 1;
    view_.charsPerRow = 0;
    EXPECT_TRUE(Runner_ReadScreenText(view_).empty());
}
