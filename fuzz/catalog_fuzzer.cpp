// The AMSDOS directory and file headers of a disk image, as --autorun reads them, and the
// command it chooses. The first input byte gives the length of the image's file name (at
// most 31 bytes), which follows; the rest is the image. Whatever the directory and headers
// say, the choice is a RUN"..." of a listed file or |CPM.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/disk/fdc.h"
#include "common/xtools/xtools.h"
#include "tools/runner/autorun.h"

namespace {
struct Cursor {
    const uint8_t* data;
    size_t size;
    size_t at;
};

size_t ReadFromCursor(void* context, uint8_t* buffer, size_t count) {
    auto* cursor = static_cast<Cursor*>(context);
    size_t left = cursor->size - cursor->at;
    size_t n = count < left ? count : left;
    for (size_t i = 0; i < n; ++i) buffer[i] = cursor->data[cursor->at + i];
    cursor->at += n;
    return n;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (XT_AdjustTraceLevel(0), true);
    (void)quiet;
    if (size < 1) return 0;
    size_t nameLength = data[0] & 31;
    if (nameLength > size - 1) nameLength = size - 1;
    std::string imageName(reinterpret_cast<const char*>(data + 1), nameLength);
    Cursor cursor{data + 1 + nameLength, size - 1 - nameLength, 0};

    FDC_Disk disk{};
    if (FDC_LoadHostDsk(&disk, FDC_ImageReader{&cursor, ReadFromCursor})) {
        std::vector<AmsdosFile> files;
        if (Runner_ReadCatalog(disk, files)) {
            std::string command = Runner_ChooseAutorunCommand(files, imageName);
            bool listed = command == "|CPM";
            for (const AmsdosFile& file : files) {
                if (file.name.size() > 8 || file.extension.size() > 3) __builtin_trap();
                listed = listed || command.rfind("RUN\"" + file.name, 0) == 0;
            }
            if (!listed) __builtin_trap();
        }
    }
    FDC_FreeDisk(&disk);
    return 0;
}
