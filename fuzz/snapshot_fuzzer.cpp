// Snapshot files as the loader reads them: whatever the bytes, the parse either fails
// with a message or gives memory of the model's size, and our chunks at their sizes. The
// run-length code also takes the input back to the bytes it was made from.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/machine/machine.h"
#include "common/machine/snapshot.h"
#include "common/machine/snapshot_internal.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (XT_AdjustTraceLevel(0), true);
    (void)quiet;
    SNA_Image image;
    std::string error;
    const uint8_t running = size > 0 && (data[0] & 1) ? CPC_MODEL_464 : CPC_MODEL_6128;
    if (SNA_Parse(data, size, running, &image, &error)) {
        size_t ram = (image.model & CPC_TYPE_EXTRA_RAM) ? 2 * SNA_BLOCK_SIZE : SNA_BLOCK_SIZE;
        if (image.ram.size() != ram) __builtin_trap();
        if (!image.ownState.empty() && image.ownState.size() != SNA_OwnStateSize())
            __builtin_trap();
        if (!image.frame.empty() && image.frame.size() != PAL_FRAME_BUFFER_SIZE) __builtin_trap();
    } else if (error.empty()) {
        __builtin_trap();
    }

    std::vector<uint8_t> packed;
    SNA_Compress(data, size, &packed);
    std::vector<uint8_t> unpacked(size);
    const char* problem = nullptr;
    if (!SNA_Decompress(packed.data(), packed.size(), unpacked.data(), size, &problem) ||
        (size > 0 && std::memcmp(unpacked.data(), data, size) != 0))
        __builtin_trap();
    return 0;
}
