// A tape file read as CDT/TZX or CSW, then played by the deck with the motor running,
// with a seek to each block. Whatever the file says, reading must end, the edges must be
// in order within the tape, playing must stay inside them, and the edges recorded as a CDT
// file must read back.
#include <cstddef>
#include <cstdint>

#include "common/machine/machine.h"
#include "common/tape/tape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TAPE_Image image;
    std::string error;
    if (!TAPE_ReadImage(data, size, image, error)) {
        if (error.empty()) __builtin_trap();
        return 0;
    }
    for (size_t i = 1; i < image.edges.size(); ++i)
        if (image.edges[i] < image.edges[i - 1]) __builtin_trap();
    if (!image.edges.empty() && image.edges.back() > image.length) __builtin_trap();
    // The edges recorded again (in microseconds, as the deck records) must read back.
    std::vector<uint64_t> recorded;
    for (size_t i = 0; i < image.edges.size() && i < 100000; ++i)
        recorded.push_back(image.edges[i] * 2 / 7);
    std::vector<uint8_t> file = TAPE_EncodeRecording(recorded);
    TAPE_Image again;
    if (!TAPE_ReadImage(file.data(), file.size(), again, error) && recorded.size() > 1)
        __builtin_trap();
    size_t blocks = image.blocks.size();
    TAPE_Insert(std::move(image));
    TAPE_SetPlaying(true);
    TAPE_WritePortC(0x10);
    for (size_t block = 0; block <= blocks && block < 64; ++block) {
        TAPE_SeekBlock(block);
        TAPE_SetPlaying(true);
        for (int step = 0; step < 64; ++step) {
            g_Machine.deviceTime += 1u << (step % 20);
            TAPE_ReadBit();
        }
    }
    TAPE_WritePortC(0);
    TAPE_Eject();
    return 0;
}
