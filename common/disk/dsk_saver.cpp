// Writing disk models back as DSK image files, and the track blocks a format lays out.
//
// A standard image keeps every track block at one size and derives each sector's size from
// its N; as long as the controller has only written sector bytes, the blocks are still the
// ones read and the image is saved as it came. Once a format gives a track another layout
// (other sizes, another count, a track that was absent), the image is saved as extended,
// whose track blocks each have their own size and whose entries give each sector's bytes.
#include <algorithm>
#include <cstring>

#include "common/disk/dsk.h"
#include "common/disk/dsk_layout.h"
#include "common/xtools/xtools.h"

namespace {
using namespace dsk_layout;
constexpr size_t kMaxExtendedBlock = 0xFF * 256;
constexpr size_t kCreatorOffset = 0x22;
constexpr char kStandardSignature[] = "MV - CPCEMU Disk-File\r\nDisk-Info\r\n";
constexpr char kExtendedSignature[] = "EXTENDED CPC DSK File\r\nDisk-Info\r\n";
constexpr char kTrackSignature[] = "Track-Info\r\n";
constexpr char kCreator[] = "Brallivane";

void Put16(uint8_t* at, size_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

std::vector<uint8_t> DiskInfo(const char* signature, const FDC_Disk& disk) {
    std::vector<uint8_t> info(kInfoBlockSize, 0);
    std::memcpy(info.data(), signature, std::strlen(signature));
    std::memcpy(info.data() + kCreatorOffset, kCreator, sizeof kCreator - 1);
    info[kTrackCountOffset] = disk.trackCount;
    info[kSideCountOffset] = 1;
    return info;
}

// Every track is present, as large as the image's track size, and every sector as large as
// its N says.
bool KeepsStandardLayout(const FDC_Disk& disk) {
    if (disk.extended || disk.standardTrackSize < kInfoBlockSize) return false;
    for (int t = 0; t < disk.trackCount; ++t) {
        const FDC_Track& track = disk.tracks[t];
        if (!track.data || track.dataSize != disk.standardTrackSize) return false;
        for (int j = 0; j < track.sectorCount; ++j) {
            uint8_t N = track.data[kSectorEntriesOffset + j * kSectorEntrySize + kEntryNOffset];
            if (N > 8 || track.sectors[j].size != (128u << N)) return false;
        }
    }
    return true;
}

std::vector<uint8_t> SaveStandard(const FDC_Disk& disk) {
    std::vector<uint8_t> image = DiskInfo(kStandardSignature, disk);
    Put16(image.data() + kTrackSizeOffset, disk.standardTrackSize);
    for (int t = 0; t < disk.trackCount; ++t)
        image.insert(image.end(), disk.tracks[t].data,
                     disk.tracks[t].data + disk.tracks[t].dataSize);
    return image;
}

std::vector<uint8_t> SaveExtended(const FDC_Disk& disk) {
    std::vector<uint8_t> image = DiskInfo(kExtendedSignature, disk);
    size_t trackCount = std::min<size_t>(disk.trackCount, kMaxExtendedTracks);
    if (trackCount < disk.trackCount)
        XT_Trace("* FDC_SaveDskBytes(): Only %d tracks fit an extended image.",
                 static_cast<int>(trackCount));
    image[kTrackCountOffset] = static_cast<uint8_t>(trackCount);
    for (size_t t = 0; t < trackCount; ++t) {
        const FDC_Track& track = disk.tracks[t];
        if (!track.data) continue;  // absent: size 0, no block
        size_t kept = std::min<size_t>(track.dataSize, kMaxExtendedBlock);
        size_t blockSize = (kept + 255) / 256 * 256;
        image[kTrackSizeTableOffset + t] = static_cast<uint8_t>(blockSize / 256);
        size_t start = image.size();
        image.insert(image.end(), track.data, track.data + kept);
        image.resize(start + blockSize, 0);
        uint8_t* block = image.data() + start;
        // The entries' byte counts, which a standard image leaves unset.
        for (int j = 0; j < track.sectorCount; ++j) {
            const FDC_Sector& sector = track.sectors[j];
            size_t offset = static_cast<size_t>(sector.data - track.data);
            size_t size = offset >= kept ? 0 : std::min<size_t>(sector.size, kept - offset);
            Put16(block + kSectorEntriesOffset + j * kSectorEntrySize + kEntryByteCountOffset,
                  size);
        }
    }
    return image;
}
}  // namespace

std::mutex& FDC_DiskContentMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<uint8_t> FDC_SaveDskBytes(const FDC_Disk& disk) {
    if (disk.trackCount > 0 && !disk.tracks) return {};
    return KeepsStandardLayout(disk) ? SaveStandard(disk) : SaveExtended(disk);
}

std::vector<uint8_t> FDC_FormattedTrackBlock(uint8_t trackNumber, const uint8_t* ids, int count,
                                             uint8_t N, uint8_t gap, uint8_t filler) {
    count = std::max(0, std::min<int>(count, FDC_MAX_SECTOR_ENTRIES));
    std::vector<uint8_t> block(kInfoBlockSize, 0);
    std::memcpy(block.data(), kTrackSignature, sizeof kTrackSignature - 1);
    block[0x10] = trackNumber;
    block[0x14] = N;
    block[kSectorCountOffset] = static_cast<uint8_t>(count);
    block[0x16] = gap;
    block[0x17] = filler;
    for (int j = 0; j < count; ++j) {
        const uint8_t* id = ids + 4 * j;
        size_t room = kMaxExtendedBlock - block.size();
        size_t size = std::min<size_t>(id[3] > 8 ? 0 : 128u << id[3], room);
        uint8_t* entry = block.data() + kSectorEntriesOffset + j * kSectorEntrySize;
        std::memcpy(entry, id, 4);
        Put16(entry + 6, size);
        block.resize(block.size() + size, filler);
    }
    return block;
}

std::vector<uint8_t> FDC_BlankDskBytes(FDC_BlankFormat format) {
    constexpr int kTracks = 40, kSectors = 9;
    constexpr uint8_t kSize512 = 2, kGap = 0x4E, kFiller = 0xE5;
    uint8_t firstId = format == FDC_BlankFormat::Data ? 0xC1 : 0x41;
    // Sectors interleaved as the disk operating system formats them.
    const uint8_t order[kSectors] = {0, 5, 1, 6, 2, 7, 3, 8, 4};
    FDC_Disk header{};
    header.trackCount = kTracks;
    std::vector<uint8_t> image = DiskInfo(kStandardSignature, header);
    for (int t = 0; t < kTracks; ++t) {
        uint8_t ids[kSectors * 4];
        for (int j = 0; j < kSectors; ++j) {
            uint8_t id[4] = {static_cast<uint8_t>(t), 0, static_cast<uint8_t>(firstId + order[j]),
                             kSize512};
            std::memcpy(ids + 4 * j, id, 4);
        }
        std::vector<uint8_t> block = FDC_FormattedTrackBlock(static_cast<uint8_t>(t), ids, kSectors,
                                                             kSize512, kGap, kFiller);
        if (t == 0) Put16(image.data() + kTrackSizeOffset, block.size());
        image.insert(image.end(), block.begin(), block.end());
    }
    return image;
}
