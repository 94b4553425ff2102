// A disk image loaded into both drives, then a stream of controller port accesses (reads,
// writes and formats among them), disk changes, resets and saves over it. The input is two
// bytes giving the stream's length, the image, then the stream (pairs of an operation and a
// value). Whatever the image says, the controller must read and write only inside its track
// data and keep a valid main status register, and every disk it changed must save as an
// image that loads again.
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

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

// The drive's disk saved and loaded again; the copy goes into the other drive.
void SaveAndReload(int drive) {
    const FDC_Disk* disk = FDC_HostDisk(drive);
    if (!disk) return;
    std::vector<uint8_t> saved;
    {
        std::lock_guard<std::mutex> lock(FDC_DiskContentMutex());
        saved = FDC_SaveDskBytes(*disk);
    }
    FDC_Disk* copy = new FDC_Disk{};
    if (!FDC_LoadDskBytes(copy, saved.data(), saved.size())) __builtin_trap();
    FDC_InsertDisk(1 - drive, copy);
}

void Run(uint8_t operation, uint8_t value, const uint8_t* image, size_t imageSize) {
    switch (operation % 10) {
        case 8:  // send a whole write or format transfer
            for (int i = 0; i < 70000 && FDC_in(0xFB7E) == FDC_MSR_WRITING; ++i)
                FDC_out(0xFB7F, static_cast<uint8_t>(value + i));
            break;
        case 9:
            if (value & 2)
                FDC_SetWriteProtected(value & 1, value & 4);
            else
                SaveAndReload(value & 1);
            break;
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
    FDC_SetWriteProtected(0, false);
    FDC_SetWriteProtected(1, false);
    InsertImage(image, imageSize, 0);
    InsertImage(image, imageSize, 1);
    for (size_t i = 0; i + 1 < streamLength; i += 2) {
        Run(stream[i], stream[i + 1], image, imageSize);
        uint8_t status = FDC_in(0xFB7E);
        if (status != FDC_MSR_COMMAND && status != FDC_MSR_RESULT && status != FDC_MSR_EXECUTION &&
            status != FDC_MSR_WRITING)
            __builtin_trap();
    }
    FDC_InsertDisk(0, nullptr);
    FDC_InsertDisk(1, nullptr);
    FDC_Shutdown();  // frees every disk of this run
    return 0;
}
