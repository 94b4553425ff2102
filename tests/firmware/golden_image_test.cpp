// The picture of a booted 464, checked through the PNG the runner writes: border and
// paper in the firmware's default blue, the banner's letters in its default yellow at
// the places the CRTC's reset geometry puts them, and black between monitor lines.
#include <png.h>
#include <unistd.h>

#include <filesystem>

#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "firmware_support.h"
#include "tools/runner/screenshot.h"

namespace fs = std::filesystem;

namespace {

constexpr uint64_t BOOT_MS = 3000;

// The firmware's default colours: border and pen 0 blue (hardware colour 4), pen 1
// bright yellow (hardware colour 10).
struct Rgb {
    uint8_t r, g, b;
    bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};
constexpr Rgb BLUE{0x00, 0x00, 0x7F};
constexpr Rgb YELLOW{0xFF, 0xFF, 0x00};
constexpr Rgb BLACK{0x00, 0x00, 0x00};

// With the reset CRTC registers, the 640 pixels of a display line start at x = 65 and
// the 200 display lines at frame buffer row 39 (image row 78).
constexpr int DISPLAY_LEFT = 65;
constexpr int DISPLAY_TOP_ROW = 39;

std::ostream& operator<<(std::ostream& out, const Rgb& c) {
    return out << "(" << int(c.r) << "," << int(c.g) << "," << int(c.b) << ")";
}

class Picture {
   public:
    bool Load(const std::string& path) {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
        image.format = PNG_FORMAT_RGB;
        width_ = static_cast<int>(image.width);
        height_ = static_cast<int>(image.height);
        pixels_.resize(PNG_IMAGE_SIZE(image));
        return png_image_finish_read(&image, nullptr, pixels_.data(), 0, nullptr) != 0;
    }
    int width() const { return width_; }
    int height() const { return height_; }
    Rgb At(int x, int y) const {
        const uint8_t* p = &pixels_[(static_cast<size_t>(y) * width_ + x) * 3];
        return {p[0], p[1], p[2]};
    }

   private:
    int width_ = 0;
    int height_ = 0;
    std::vector<uint8_t> pixels_;
};

class GoldenImageTest : public FirmwareTest {
   protected:
    void TearDown() override {
        std::error_code ignored;
        if (!path_.empty()) fs::remove(path_, ignored);
        FirmwareTest::TearDown();
    }
    std::string path_;
};

}  // namespace

TEST_F(GoldenImageTest, Booted464) {
    Start(CPC_MODEL_464);
    if (HasFatalFailure()) return;
    ASSERT_TRUE(Runner_Run(machine_, BOOT_MS * 1000));

    path_ = (fs::temp_directory_path() / ("brallivane-464-" + std::to_string(getpid()) + ".png"))
                .string();
    std::string error;
    ASSERT_TRUE(
        Runner_WriteScreenshot(path_.c_str(), machine_.frameBuffer.data(), PAL_GetPalette(), error))
        << error;
    Picture picture;
    ASSERT_TRUE(picture.Load(path_));
    ASSERT_EQ(picture.width(), 768);
    ASSERT_EQ(picture.height(), 540);

    for (int y = 1; y < 540; y += 2) {
        for (int x = 0; x < 768; x += 97) ASSERT_EQ(picture.At(x, y), BLACK) << x << "," << y;
    }
    EXPECT_EQ(picture.At(20, 2 * 20), BLUE);    // top left border
    EXPECT_EQ(picture.At(740, 2 * 250), BLUE);  // bottom right border
    EXPECT_EQ(picture.At(DISPLAY_LEFT + 16 * 30, 2 * (DISPLAY_TOP_ROW + 8 * 20 + 3)),
              BLUE);  // paper

    // The banner's "A" of Amstrad: its first lit pixel yellow, the pixel left of it blue.
    auto lines = Runner_ScreenText();
    int row = -1;
    size_t column = std::string::npos;
    for (size_t r = 0; r < lines.size() && row < 0; ++r) {
        column = lines[r].find("Amstrad");
        if (column != std::string::npos) row = static_cast<int>(r);
    }
    ASSERT_GE(row, 0) << ScreenDump(lines);
    const uint8_t* glyph = g_Machine.lowerRom + 0x3800 + 'A' * 8;
    int glyphLine = 0;
    while (glyphLine < 8 && glyph[glyphLine] == 0) ++glyphLine;
    ASSERT_LT(glyphLine, 8);
    int bit = 0;
    while ((glyph[glyphLine] & (0x80 >> bit)) == 0) ++bit;
    int x = DISPLAY_LEFT + static_cast<int>(column) * 16 + bit * 2;
    int y = 2 * (DISPLAY_TOP_ROW + row * 8 + glyphLine);
    EXPECT_EQ(picture.At(x, y), YELLOW);
    EXPECT_EQ(picture.At(x + 1, y), YELLOW);
    EXPECT_EQ(picture.At(x - 1, y), BLUE);
}
