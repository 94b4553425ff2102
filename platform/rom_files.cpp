// ROM images of the machine: the model's file (lower ROM then BASIC), AMSDOS for the
// disk interface, and the credit ROM that makes the firmware print our banner.
#include "platform/rom_files.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "common/host_services.h"
#include "common/machine/machine.h"

namespace {
constexpr const char* kDefaultRomDirectory = "../ROM/";
constexpr int kBasicSlot = 0;
constexpr int kCreditSlot = 1;
constexpr int kAmsdosSlot = 7;

// Filler for the part of the credit ROM's page that holds nothing, as an erased EPROM reads.
constexpr uint8_t kCreditRomFiller = 0xFF;

// A background ROM whose initialisation routine prints the text at 0xC028 through the
// firmware's TXT OUTPUT (0xBB5A) and returns with carry set (initialised, no memory taken).
constexpr uint8_t kCreditRomCode[40] = {
    0x01,                                      // background ROM
    0x00, 0x00, 0x00,                          // mark, version, modification
    0x09, 0xC0,                                // command name table at 0xC009
    0xC3, 0x10, 0xC0,                          // JP 0xC010: initialisation
    0x43, 0x52, 0x45, 0x44, 0x49, 0x54, 0xD3,  // "CREDITS", last letter with bit 7
    0xD5, 0xE5,                                // PUSH DE; PUSH HL
    0x21, 0x28, 0xC0,                          // LD HL,0xC028
    0x7E, 0xB7, 0x28, 0x06,                    // loop: LD A,(HL); OR A; JR Z,done
    0xCD, 0x5A, 0xBB,                          // CALL TXT OUTPUT
    0x23, 0x18, 0xF6,                          // INC HL; JR loop
    0xE1, 0xD1, 0x37, 0xC9,                    // done: POP HL; POP DE; SCF; RET
    0x00, 0x00, 0x00, 0x00, 0x00,
};
// With its terminating zero, which ends the print loop.
constexpr char kCreditBanner[] = " Brallivane 0.6\r\n\r\n";

std::mutex g_directoryMutex;
std::string g_romDirectory = kDefaultRomDirectory;

std::string RomPath(const char* fileName) {
    std::lock_guard<std::mutex> lock(g_directoryMutex);
    return g_romDirectory + fileName;
}

const char* ModelRomFile(uint8_t type) {
    switch (type & CPC_TYPE_MODEL_MASK) {
        case 0: return "CPC464.rom";
        case 1: return "CPC664.rom";
        case 2: return "CPC6128.rom";
        default: return nullptr;
    }
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File OpenRom(const char* fileName) {
    return File(std::fopen(RomPath(fileName).c_str(), "rb"));
}

bool ReadPage(std::FILE* file, uint8_t* page) {
    return std::fread(page, 1, CPC_PAGE_SIZE, file) == CPC_PAGE_SIZE;
}

uint8_t* AllocatePage() {
    return new (std::nothrow) uint8_t[CPC_PAGE_SIZE];
}

void BuildCreditRom(uint8_t* page) {
    std::memset(page, kCreditRomFiller, CPC_PAGE_SIZE);
    std::memcpy(page, kCreditRomCode, sizeof kCreditRomCode);
    std::memcpy(page + sizeof kCreditRomCode, kCreditBanner, sizeof kCreditBanner);
}

void FreePage(uint8_t*& page) {
    delete[] page;
    page = nullptr;
}

bool LoadRomImages(uint8_t type) {
    const char* modelFile = ModelRomFile(type);
    if (!modelFile) return false;
    File file = OpenRom(modelFile);
    if (!file) return false;

    CPC_Machine& machine = g_Machine;
    machine.lowerRom = AllocatePage();
    machine.upperRoms[kBasicSlot] = AllocatePage();
    machine.upperRoms[kCreditSlot] = AllocatePage();
    if (!machine.lowerRom || !machine.upperRoms[kBasicSlot] || !machine.upperRoms[kCreditSlot])
        return false;
    BuildCreditRom(machine.upperRoms[kCreditSlot]);

    const bool disk = (type & CPC_TYPE_DISK) != 0;
    if (disk) {
        machine.upperRoms[kAmsdosSlot] = AllocatePage();
        if (!machine.upperRoms[kAmsdosSlot]) return false;
    }

    if (!ReadPage(file.get(), machine.lowerRom)) return false;
    if (!ReadPage(file.get(), machine.upperRoms[kBasicSlot])) return false;
    file.reset();

    if (disk) {
        File amsdos = OpenRom("amsdos.rom");
        if (!amsdos || !ReadPage(amsdos.get(), machine.upperRoms[kAmsdosSlot])) return false;
    }
    return true;
}
}  // namespace

bool PAL_LoadRoms(uint8_t type) {
    PAL_FreeRoms();  // a second load replaces the images instead of leaking them
    if (LoadRomImages(type)) return true;
    PAL_FreeRoms();
    return false;
}

void PAL_FreeRoms() {
    CPC_Machine& machine = g_Machine;
    FreePage(machine.lowerRom);
    FreePage(machine.upperRoms[kBasicSlot]);
    FreePage(machine.upperRoms[kCreditSlot]);
    FreePage(machine.upperRoms[kAmsdosSlot]);
}

void PAL_SetRomDirectory(const char* directory) {
    std::string folder = (directory && *directory) ? directory : kDefaultRomDirectory;
    if (folder.back() != '/') folder += '/';
    std::lock_guard<std::mutex> lock(g_directoryMutex);
    g_romDirectory = folder;
}

std::string PAL_DescribeRomProblem(uint8_t type) {
    const char* modelFile = ModelRomFile(type);
    if (!modelFile) return "there is no ROM file for model " + std::to_string(type & 7);
    struct Needed {
        const char* fileName;
        uintmax_t size;
    };
    const Needed needed[] = {{modelFile, 2 * CPC_PAGE_SIZE},
                             {(type & CPC_TYPE_DISK) ? "amsdos.rom" : nullptr, CPC_PAGE_SIZE}};
    for (const Needed& rom : needed) {
        if (!rom.fileName) continue;
        std::string path = RomPath(rom.fileName);
        std::error_code error;
        uintmax_t size = std::filesystem::file_size(path, error);
        if (error) return "the ROM file " + path + " is missing";
        if (size < rom.size)
            return "the ROM file " + path + " is too short: " + std::to_string(size) +
                   " bytes, where " + std::to_string(rom.size) + " are needed";
        if (!OpenRom(rom.fileName)) return "the ROM file " + path + " cannot be read";
    }
    return "";
}

const char* PAL_GetRomDirectory() {
    std::lock_guard<std::mutex> lock(g_directoryMutex);
    return g_romDirectory.c_str();
}
