#pragma once
// Window pictures from the X server, for the tests of the desktop program.
#include <cstdint>
#include <string>
#include <vector>

struct Capture {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;  // 0xRRGGBB, row by row

    uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// The picture of the window's contents; false when the server or window is not there.
bool CaptureWindow(const char* display, unsigned long window, Capture& capture);
bool WritePng(const Capture& capture, const std::string& path);
