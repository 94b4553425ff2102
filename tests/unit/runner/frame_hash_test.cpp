// Frame hashes see every shown pixel and nothing else.
#include <gtest/gtest.h>

#include <vector>

#include "common/video/renderer.h"
#include "tools/runner/frame_hashes.h"

TEST(FrameHashes, EveryShownPixelCountsAndTheUnshownHalvesDoNot) {
    std::vector<uint8_t> frame(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
    const uint64_t black = Runner_HashFrame(frame.data());
    const size_t lastRow = size_t{PAL_FRAME_ROW_BYTES} * (PAL_FRAME_ROWS - 1);
    // Byte offset into the buffer, and whether a change there must change the hash.
    const std::pair<size_t, bool> cases[] = {
        {0, true},
        {7, true},
        {PAL_SCREEN_WIDTH - 1, true},
        {PAL_SCREEN_WIDTH, false},
        {PAL_FRAME_ROW_BYTES - 1, false},
        {PAL_FRAME_ROW_BYTES, true},
        {lastRow + PAL_SCREEN_WIDTH - 1, true},
        {PAL_FRAME_BUFFER_SIZE - 1, false},
    };
    for (auto [offset, counts] : cases) {
        frame[offset] = 1;
        EXPECT_EQ(Runner_HashFrame(frame.data()) != black, counts) << offset;
        frame[offset] = PAL_BLACK;
    }
    // Two pixels swapped are a different picture.
    frame[0] = 1;
    uint64_t first = Runner_HashFrame(frame.data());
    frame[0] = PAL_BLACK;
    frame[1] = 1;
    EXPECT_NE(Runner_HashFrame(frame.data()), first);
}
