// Frame hashes: an FNV-1a over 8-byte words with a final mix, fast enough to run at every
// frame without slowing a check run much. Only for comparing runs, not for security.
#include "tools/runner/frame_hashes.h"

#include <cinttypes>
#include <cstring>

#include "common/video/renderer.h"

namespace {
constexpr uint64_t kOffsetBasis = 0xCBF29CE484222325ull;
constexpr uint64_t kPrime = 0x100000001B3ull;
static_assert(PAL_SCREEN_WIDTH % 8 == 0, "rows are hashed in whole words");
}  // namespace

uint64_t Runner_HashFrame(const uint8_t* frameBuffer) {
    uint64_t hash = kOffsetBasis;
    for (int row = 0; row < PAL_FRAME_ROWS; ++row) {
        const uint8_t* pixels = frameBuffer + size_t{PAL_FRAME_ROW_BYTES} * row;
        for (int at = 0; at < PAL_SCREEN_WIDTH; at += 8) {
            uint64_t word;
            std::memcpy(&word, pixels + at, sizeof word);
            hash = (hash ^ word) * kPrime;
            hash ^= hash >> 29;  // spreads the high bytes of a word into the low ones
        }
    }
    return hash;
}

bool Runner_WriteFrameHash(std::FILE* file, uint64_t frameNumber, const uint8_t* frameBuffer) {
    return std::fprintf(file, "frame %" PRIu64 " %016" PRIx64 "\n", frameNumber,
                        Runner_HashFrame(frameBuffer)) > 0;
}
