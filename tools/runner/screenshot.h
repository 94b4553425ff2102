#pragma once
// PNG pictures of the frame buffer.
#include <cstdint>
#include <string>

constexpr int SCREENSHOT_WIDTH = 768;
constexpr int SCREENSHOT_HEIGHT = 540;
constexpr size_t FRAME_BUFFER_SIZE = 414720;  // 270 rows of 1536 bytes
constexpr uint8_t FRAME_BUFFER_FILL = 20;     // hardware colour black

// Writes FRAMEBUFFER (hardware colour numbers) as a 768 x 540 RGB PNG, read as 540 rows
// of 768 bytes so that the never-written half of each 1536-byte row shows as the black
// line between two monitor lines. PALETTE holds 32 entries of blue, green, red, 0.
// Returns false with a message when the file cannot be written.
bool Runner_WriteScreenshot(const char* path, const uint8_t* frameBuffer, const uint8_t* palette,
                            std::string& error);
