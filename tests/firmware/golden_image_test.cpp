// The picture of a booted 464, checked through the PNG the runner writes: border and
// paper in the firmware's default blue, the banner's letters in its default yellow at
// the places the CRTC's reset geometry puts them, and black between monitor lines.
#include <png.h>

#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "firmware_support.h"
#include "temp_folder.h"
#include "tools/runner/screenshot.h"

namespace {

struct Rgb {
    uint8_t r, g, b;
    bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};
std::ostream& operator<<(std::ostream& out, const Rgb& c) {
    return out << "(" << int(c.r) << "," << int(c.g) << "," << int(c.b) << ")";
}
// Border and pen 0 blue (hardware colour 4), pen 1 bright yellow (hardware colour 10).
constexpr Rgb BLUE{0x00, 0x00, 0x7F}, YELLOW{0xFF, 0xFF, 0x00}, BLACK{0x00, 0x00, 0x00};
// With the reset CRTC registers, the 640 pixels of a display line start at x = 65 and
// the 200 display lines at frame buffer row 39 (image row 78).
constexpr int DISPLAY_LEFT = 65;
constexpr int DISPLAY_TOP_ROW = 39;

using GoldenImage = FirmwareTest;

}  // namespace

TEST_F(GoldenImage, Booted464) {
    Start(CPC_MODEL_464);
    if (HasFatalFailure()) return;
    ASSERT_TRUE(Runner_Run(machine_, 3000 * 1000));

    TempFolder folder;
    const std::string path = folder.File("464.png");
    std::string error;
    ASSERT_TRUE(
        Runner_WriteScreenshot(path.c_str(), machine_.frameBuffer.data(), PAL_GetPalette(), error))
        << error;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
    ASSERT_EQ(image.width, 768u);
    ASSERT_EQ(image.height, 540u);
    auto at = [&](int x, int y) {
        const uint8_t* p = &pixels[(static_cast<size_t>(y) * 768 + x) * 3];
        return Rgb{p[0], p[1], p[2]};
    };

    for (int y = 1; y < 540; y += 2)
        for (int x = 0; x < 768; x += 97) ASSERT_EQ(at(x, y), BLACK) << x << "," << y;
    EXPECT_EQ(at(20, 2 * 20), BLUE);    // top left
    EXPECT_EQ(at(740, 2 * 250), BLUE);  // bottom right
    EXPECT_EQ(at(DISPLAY_LEFT + 16 * 30, 2 * (DISPLAY_TOP_ROW + 8 * 20 + 3)), BLUE);  // paper

    // The banner's "A" of Amstrad: its first lit pixel yellow, the pixel left of it blue.
    auto lines = Runner_ScreenText();
    int row = 0;
    while (row < static_cast<int>(lines.size()) && lines[row].find("Amstrad") == std::string::npos)
        ++row;
    ASSERT_LT(row, static_cast<int>(lines.size())) << ScreenDump();
    const int column = static_cast<int>(lines[row].find("Amstrad"));
    const uint8_t* glyph = g_Machine.lowerRom + 0x3800 + 'A' * 8;
    int glyphLine = 0;
    while (glyphLine < 8 && glyph[glyphLine] == 0) ++glyphLine;
    ASSERT_LT(glyphLine, 8);
    int bit = 0;
    while ((glyph[glyphLine] & (0x80 >> bit)) == 0) ++bit;
    const int x = DISPLAY_LEFT + column * 16 + bit * 2;
    const int y = 2 * (DISPLAY_TOP_ROW + row * 8 + glyphLine);
    EXPECT_EQ(at(x, y), YELLOW);
    EXPECT_EQ(at(x + 1, y), YELLOW);
    EXPECT_EQ(at(x - 1, y), BLUE);
}
