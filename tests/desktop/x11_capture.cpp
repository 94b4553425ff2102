// Reads a window's pixels with xcb and writes them as PNG with libpng.
#include "x11_capture.h"

#include <png.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

bool CaptureWindow(const char* display, unsigned long window, Capture& capture) {
    xcb_connection_t* connection = xcb_connect(display, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return false;
    }
    bool ok = false;
    xcb_get_geometry_reply_t* geometry =
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr);
    if (geometry) {
        xcb_get_image_reply_t* image =
            xcb_get_image_reply(connection,
                                xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                              geometry->width, geometry->height, ~0u),
                                nullptr);
        size_t count = size_t{geometry->width} * geometry->height;
        if (image && xcb_get_image_data_length(image) >= static_cast<int>(count * 4)) {
            const uint8_t* data = xcb_get_image_data(image);
            capture.width = geometry->width;
            capture.height = geometry->height;
            capture.pixels.resize(count);
            for (size_t i = 0; i < count; ++i)
                capture.pixels[i] = data[4 * i + 2] << 16 | data[4 * i + 1] << 8 | data[4 * i];
            ok = true;
        }
        std::free(image);
        std::free(geometry);
    }
    xcb_disconnect(connection);
    return ok;
}

bool WritePng(const Capture& capture, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, capture.width, capture.height, 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<uint8_t> row(static_cast<size_t>(capture.width) * 3);
    for (int y = 0; y < capture.height; ++y) {
        for (int x = 0; x < capture.width; ++x) {
            uint32_t p = capture.At(x, y);
            row[3 * x] = static_cast<uint8_t>(p >> 16);
            row[3 * x + 1] = static_cast<uint8_t>(p >> 8);
            row[3 * x + 2] = static_cast<uint8_t>(p);
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return std::fclose(file) == 0;
}
