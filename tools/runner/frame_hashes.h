#pragma once
// One hash per complete frame, written as a line of text, so that two runs of the same
// session can be compared frame by frame (scripts/bench.sh --check).
#include <cstdint>
#include <cstdio>

// A 64-bit hash of the shown pixels of a frame buffer (the first PAL_SCREEN_WIDTH bytes
// of each of its PAL_FRAME_ROWS rows).
uint64_t Runner_HashFrame(const uint8_t* frameBuffer);

// Writes "frame N HASH" for the frame buffer; false when the write failed.
bool Runner_WriteFrameHash(std::FILE* file, uint64_t frameNumber, const uint8_t* frameBuffer);
