// The simplified libpng interface needs no setjmp error handling of our own.
#include "tools/runner/screenshot.h"

#include <png.h>

#include <vector>

#include "common/video/renderer.h"

namespace {
constexpr int WIDTH = PAL_SCREEN_WIDTH;
constexpr int HEIGHT = 2 * PAL_FRAME_ROWS;
static_assert(size_t{WIDTH} * HEIGHT == PAL_FRAME_BUFFER_SIZE, "a row is two picture lines");
}  // namespace

bool Runner_WriteScreenshot(const char* path, const uint8_t* frameBuffer, const uint8_t* palette,
                            std::string& error) {
    std::vector<uint8_t> rgb(PAL_FRAME_BUFFER_SIZE * 3);
    for (size_t i = 0; i < PAL_FRAME_BUFFER_SIZE; ++i) {
        const uint8_t* entry = palette + 4 * (frameBuffer[i] % PAL_PALETTE_ENTRIES);
        rgb[3 * i] = entry[2];
        rgb[3 * i + 1] = entry[1];
        rgb[3 * i + 2] = entry[0];
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = WIDTH;
    image.height = HEIGHT;
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path, 0, rgb.data(), WIDTH * 3, nullptr)) {
        error = std::string("could not write ") + path + ": " + image.message;
        png_image_free(&image);
        return false;
    }
    return true;
}
