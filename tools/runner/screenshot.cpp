// The simplified libpng interface needs no setjmp error handling of our own.
#include "tools/runner/screenshot.h"

#include <png.h>

#include <vector>

bool Runner_WriteScreenshot(const char* path, const uint8_t* frameBuffer, const uint8_t* palette,
                            std::string& error) {
    std::vector<uint8_t> rgb(static_cast<size_t>(SCREENSHOT_WIDTH) * SCREENSHOT_HEIGHT * 3);
    for (size_t i = 0; i < static_cast<size_t>(SCREENSHOT_WIDTH) * SCREENSHOT_HEIGHT; ++i) {
        const uint8_t* entry = palette + 4 * (frameBuffer[i] & 31);
        rgb[3 * i] = entry[2];
        rgb[3 * i + 1] = entry[1];
        rgb[3 * i + 2] = entry[0];
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = SCREENSHOT_WIDTH;
    image.height = SCREENSHOT_HEIGHT;
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path, 0, rgb.data(), SCREENSHOT_WIDTH * 3, nullptr)) {
        error = std::string("could not write ") + path + ": " + image.message;
        png_image_free(&image);
        return false;
    }
    return true;
}
