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
#include "platform/amsdos_catalog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (XT_AdjustTraceLevel(0), true);
    (void)quiet;
    if (size < 1) return 0;
    size_t nameLength = data[0] & 31;
    if (nameLength > size - 1) nameLength = size - 1;
    std::string imageName(reinterpret_cast<const char*>(data + 1), nameLength);

    FDC_Disk disk{};
    if (FDC_LoadDskBytes(&disk, data + 1 + nameLength, size - 1 - nameLength)) {
        std::vector<AmsdosFile> files;
        if (PAL_ReadAmsdosCatalog(disk, files)) {
            std::string command = PAL_ChooseAutorunCommand(files, imageName);
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
