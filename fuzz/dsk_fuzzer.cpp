// A disk image loaded into both drives, then a stream of controller port accesses, disk
// changes and resets over it. The input is two bytes giving the stream's length, the image,
// then the stream (pairs of an operation and a value). Whatever the image says, the
// controller must read only inside its track data and keep a valid main status register.
#include <cstddef>
#include <cstdint>
#include <new>

#include "common/disk/fdc.h"
#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {

void InsertImage(const uint8_t* image, size_t size, int drive) {
    FDC_Disk* disk = new FDC_Disk{};
    if (FDC_LoadDskBytes(disk, image, size)) {
        FDC_InsertDisk(drive, disk);
    } else {
        FDC_FreeDisk(disk);
        delete disk;
    }
}

void Run(uint8_t operation, uint8_t value, const uint8_t* image, size_t imageSize) {
    switch (operation % 8) {
        case 0:
        case 1:
        case 2: FDC_out(0xFB7F, value); break;
        case 3: FDC_in(0xFB7F); break;
        case 4:  // read a whole transfer, as the disk operating system does
            for (int i = 0; i < 70000 && FDC_in(0xFB7E) == FDC_MSR_EXECUTION; ++i) FDC_in(0xFB7F);
            break;
        case 5:
            (value & 1) ? FDC_out(0xFA7E, value)
                        : FDC_out(static_cast<uint16_t>(value << 8), value);
            break;
        case 6:
            if (value & 2)
                FDC_SwapDrives();
            else if (value & 4)
                InsertImage(image, imageSize, value & 1);
            else
                FDC_InsertDisk(value & 1, nullptr);
            break;
        default: FDC_Reset(); break;
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (XT_AdjustTraceLevel(0), true);
    (void)quiet;
    if (size < 2) return 0;
    size_t streamLength = static_cast<size_t>(data[0] | (data[1] << 8));
    if (streamLength > size - 2) streamLength = size - 2;
    const uint8_t* image = data + 2;
    size_t imageSize = size - 2 - streamLength;
    const uint8_t* stream = image + imageSize;

    FDC_Init();
    InsertImage(image, imageSize, 0);
    InsertImage(image, imageSize, 1);
    for (size_t i = 0; i + 1 < streamLength; i += 2) {
        Run(stream[i], stream[i + 1], image, imageSize);
        uint8_t status = FDC_in(0xFB7E);
        if (status != FDC_MSR_COMMAND && status != FDC_MSR_RESULT && status != FDC_MSR_EXECUTION)
            __builtin_trap();
    }
    FDC_InsertDisk(0, nullptr);
    FDC_InsertDisk(1, nullptr);
    FDC_Shutdown();  // frees every disk of this run
    return 0;
}
