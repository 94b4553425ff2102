// The AMSDOS directory of a disk model and the choice of the command that starts the disk.
// AMSDOS disks have 1 KB blocks of two 512-byte sectors, the directory being blocks 0 and
// 1 (64 entries of 32 bytes) on the first track after the reserved ones.
#include "platform/amsdos_catalog.h"

#include <cctype>
#include <cstdint>

namespace {
constexpr size_t kSectorBytes = 512;
constexpr unsigned kSectorsPerBlock = 2;
constexpr int kDirectoryEntries = 64;
constexpr size_t kEntryBytes = 32;
constexpr size_t kEntriesPerSector = kSectorBytes / kEntryBytes;
constexpr uint8_t kUser0 = 0;
constexpr size_t kHeaderChecked = 67;  // the checksum covers bytes 0-66, stored at 67-68
constexpr size_t kHeaderType = 18;

struct DiskFormat {
    uint8_t reservedTracks;
    uint8_t firstR;
    uint8_t sectorsPerTrack;
};

// DATA disks number their sectors from C1, SYSTEM disks from 41, IBM disks from 01.
bool DetectFormat(const FDC_Disk& disk, DiskFormat& format) {
    if (!disk.tracks || disk.trackCount == 0 || disk.tracks[0].sectorCount == 0) return false;
    uint8_t lowest = 0xFF;
    for (int j = 0; j < disk.tracks[0].sectorCount; ++j)
        if (disk.tracks[0].sectors[j].R < lowest) lowest = disk.tracks[0].sectors[j].R;
    switch (lowest & 0xC0) {
        case 0xC0: format = {0, 0xC1, 9}; return true;
        case 0x40: format = {2, 0x41, 9}; return true;
        case 0x00: format = {1, 0x01, 8}; return true;
        default: return false;
    }
}

// The bytes of a sector counted from the first one after the reserved tracks, or none.
const uint8_t* LogicalSector(const FDC_Disk& disk, const DiskFormat& format, unsigned number) {
    unsigned track = format.reservedTracks + number / format.sectorsPerTrack;
    unsigned R = format.firstR + number % format.sectorsPerTrack;
    if (track > 0xFF) return nullptr;
    const FDC_Sector* sector =
        FDC_FindSectorById(&disk, static_cast<uint8_t>(track), static_cast<uint8_t>(R));
    return sector && sector->size >= kSectorBytes ? sector->data : nullptr;
}

std::string NameField(const uint8_t* bytes, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) text += static_cast<char>(bytes[i] & 0x7F);  // attributes
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

bool Printable(const std::string& text) {
    for (char c : text)
        if (c < 0x20 || c == 0x7F) return false;
    return true;
}

bool HasHeader(const uint8_t* record) {
    unsigned sum = 0;
    for (size_t i = 0; i < kHeaderChecked; ++i) sum += record[i];
    unsigned stored = record[kHeaderChecked] | (record[kHeaderChecked + 1] << 8);
    return sum != 0 && sum == stored;  // an all-zero record is no header
}

AmsdosFileKind KindOf(const FDC_Disk& disk, const DiskFormat& format, const uint8_t* entry,
                      const std::string& extension) {
    uint8_t firstBlock = entry[16];
    const uint8_t* record =
        firstBlock ? LogicalSector(disk, format, firstBlock * kSectorsPerBlock) : nullptr;
    if (record && HasHeader(record)) {
        switch (record[kHeaderType] & 0x0E) {  // bit 0 marks a protected file
            case 0: return AmsdosFileKind::Basic;
            case 2: return AmsdosFileKind::Binary;
            default: return AmsdosFileKind::Data;
        }
    }
    return extension.empty() || extension == "BAS" ? AmsdosFileKind::Basic : AmsdosFileKind::Data;
}

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

bool IsProgram(const AmsdosFile& file) {
    return file.kind != AmsdosFileKind::Data;
}

// What to type for the file: AMSDOS looks for a name without extension as NAME., then
// NAME.BAS, then NAME.BIN, so the bare name serves when that search finds this file.
std::string Reference(const std::vector<AmsdosFile>& files, const AmsdosFile& file) {
    for (const char* extension : {"", "BAS", "BIN"}) {
        for (const AmsdosFile& other : files) {
            if (other.name != file.name || other.extension != extension) continue;
            if (&other == &file) return file.name;
            return file.name + "." + file.extension;
        }
    }
    return file.name + "." + file.extension;
}

template <typename Test>
const AmsdosFile* First(const std::vector<AmsdosFile>& files, Test test) {
    for (const AmsdosFile& file : files)
        if (test(file)) return &file;
    return nullptr;
}

template <typename Test>
const AmsdosFile* Only(const std::vector<AmsdosFile>& files, Test test) {
    const AmsdosFile* found = nullptr;
    for (const AmsdosFile& file : files) {
        if (!test(file)) continue;
        if (found) return nullptr;
        found = &file;
    }
    return found;
}

// The longest name that the image's file name contains; the first of equals.
template <typename Test>
const AmsdosFile* NamedByImage(const std::vector<AmsdosFile>& files, const std::string& image,
                               Test test) {
    const AmsdosFile* best = nullptr;
    for (const AmsdosFile& file : files) {
        if (!test(file) || file.name.empty() || image.find(Upper(file.name)) == std::string::npos)
            continue;
        if (!best || file.name.size() > best->name.size()) best = &file;
    }
    return best;
}
}  // namespace

bool PAL_ReadAmsdosCatalog(const FDC_Disk& disk, std::vector<AmsdosFile>& files) {
    files.clear();
    DiskFormat format;
    if (!DetectFormat(disk, format)) return false;
    for (int i = 0; i < kDirectoryEntries; ++i) {
        const uint8_t* sector = LogicalSector(disk, format, i / kEntriesPerSector);
        if (!sector) return i > 0;
        const uint8_t* entry = sector + (i % kEntriesPerSector) * kEntryBytes;
        bool firstExtent = entry[12] == 0 && entry[14] == 0;
        if (entry[0] != kUser0 || !firstExtent) continue;
        AmsdosFile file{NameField(entry + 1, 8), NameField(entry + 9, 3), AmsdosFileKind::Data};
        if (file.name.empty() || !Printable(file.name) || !Printable(file.extension)) continue;
        file.kind = KindOf(disk, format, entry, file.extension);
        files.push_back(file);
    }
    return true;
}

std::string PAL_ChooseAutorunCommand(const std::vector<AmsdosFile>& files,
                                     const std::string& imageFileName) {
    const std::string image = Upper(imageFileName);
    auto basic = [](const AmsdosFile& f) { return f.kind == AmsdosFileKind::Basic; };
    auto binary = [](const AmsdosFile& f) { return f.kind == AmsdosFileKind::Binary; };
    auto disc = [](const AmsdosFile& f) {
        return IsProgram(f) && (Upper(f.name) == "DISC" || Upper(f.name) == "DISK");
    };
    const AmsdosFile* chosen = First(files, disc);
    if (!chosen) chosen = NamedByImage(files, image, basic);
    if (!chosen) chosen = Only(files, basic);
    if (!chosen) chosen = NamedByImage(files, image, IsProgram);
    if (!chosen) chosen = Only(files, binary);
    if (!chosen) chosen = First(files, basic);
    if (!chosen) chosen = First(files, binary);
    if (!chosen) return "|CPM";
    return "RUN\"" + Reference(files, *chosen) + "\"";
}
