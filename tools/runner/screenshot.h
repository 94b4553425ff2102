#pragma once
// PNG pictures of the frame buffer.
#include <cstdint>
#include <string>

// Writes FRAMEBUFFER (hardware colour numbers, the renderer's 270 rows of 1536 bytes) as
// a 768 x 540 RGB PNG: read as 540 rows of 768 bytes, the never-written half of each row
// shows as the black line between two monitor lines. PALETTE holds 32 entries of blue,
// green, red, 0. Returns false with a message when the file cannot be written.
bool Runner_WriteScreenshot(const char* path, const uint8_t* frameBuffer, const uint8_t* palette,
                            std::string& error);
