// DSK image loader. The whole image is read once; the sector table of each track points
// into the track's own data block.
//
// Images can lie, and the controller trusts the model, so the loader makes every sector
// safe to read whatever the image says:
// - a track listing more sector entries than its 256-byte information block holds (29)
//   keeps the 29 that are there;
// - a sector whose size runs past the end of the track's data is cut at that end, and a
//   sector that starts past it holds 0 bytes (as does a standard image's N of 9 or more,
//   whose size does not fit 16 bits); the controller delivers a sector of 0 bytes as a
//   single 0 byte, so a transfer always moves on;
// - a sector table that cannot be allocated fails the load like any other allocation;
// - a track block too short for its information block, or an extended image with more
//   tracks than its size table has room for, is not a disk image we can read.
#include <cstring>
#include <new>

#include "common/disk/dsk.h"
#include "common/disk/dsk_layout.h"
#include "common/xtools/xtools.h"

namespace {
using namespace dsk_layout;
constexpr size_t kSignatureLength = 8;
constexpr size_t kMaxSectorEntries = (kInfoBlockSize - kSectorEntriesOffset) / kSectorEntrySize;

uint16_t Read16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8));
}

bool Fail(FDC_Disk* disk, const char* reason) {
    disk->loadError = reason;
    return false;
}

}  // namespace

bool FDC_BuildSectorTable(FDC_Track& track, bool extended) {
    const uint8_t* block = track.data;
    size_t count = block[kSectorCountOffset];
    if (count > kMaxSectorEntries) {
        XT_Trace("* FDC_LoadHostDsk(): Track %d lists %d sectors; keeping the %d it has room for.",
                 track.number, static_cast<int>(count), static_cast<int>(kMaxSectorEntries));
        count = kMaxSectorEntries;
    }
    track.sectorCount = static_cast<uint8_t>(count);
    if (count == 0) return true;
    track.sectors = new (std::nothrow) FDC_Sector[count]();
    if (!track.sectors) {
        XT_Trace("FDC_LoadHostDsk(): Can't allocate track %d sector table.", track.number);
        return false;
    }
    size_t position = kInfoBlockSize;
    for (size_t j = 0; j < count; ++j) {
        const uint8_t* entry = block + kSectorEntriesOffset + j * kSectorEntrySize;
        uint16_t size =
            extended ? Read16(entry + 6) : static_cast<uint16_t>(128u << (entry[3] & 31));
        size_t start = position < track.dataSize ? position : track.dataSize;
        size_t room = track.dataSize - start;
        FDC_Sector& sector = track.sectors[j];
        sector.R = entry[2];
        sector.data = block + start;
        sector.size = size <= room ? size : static_cast<uint16_t>(room);
        if (sector.size != size) {
            XT_Trace(
                "* FDC_LoadHostDsk(): Track %d sector %02XH runs past the track data; %d bytes "
                "kept.",
                track.number, sector.R, sector.size);
        }
        position += size;
    }
    return true;
}

bool FDC_LoadHostDsk(FDC_Disk* disk, const FDC_ImageReader& reader) {
    disk->loadError = nullptr;
    uint8_t info[kInfoBlockSize];
    if (reader.read(reader.context, info, sizeof info) != sizeof info) {
        XT_Trace("FDC_LoadHostDsk(): Can't read disk info");
        return Fail(disk, "the file is too short for a disk image");
    }
    bool extended;
    if (std::memcmp(info, "MV - CPC", kSignatureLength) == 0) {
        extended = false;
    } else if (std::memcmp(info, "EXTENDED", kSignatureLength) == 0) {
        extended = true;
    } else {
        XT_Trace("FDC_LoadHostDsk(): Not a disk image");
        return Fail(disk, "not a disk image");
    }
    if (info[kSideCountOffset] != 1) {
        XT_Trace("FDC_LoadHostDsk(): Only single sided disks are supported.");
        return Fail(disk, "only single-sided disks are supported");
    }
    uint8_t trackCount = info[kTrackCountOffset];
    if (extended && trackCount > kMaxExtendedTracks) {
        XT_Trace("FDC_LoadHostDsk(): Too many tracks (%d) for an extended image.", trackCount);
        return Fail(disk, "more tracks than an extended image can describe");
    }

    disk->sideCount = 1;
    disk->trackCount = trackCount;
    disk->extended = extended;
    disk->standardTrackSize = extended ? 0 : Read16(info + kTrackSizeOffset);
    if (trackCount > 0) {
        disk->tracks = new (std::nothrow) FDC_Track[trackCount]();
        if (!disk->tracks) {
            XT_Trace("FDC_LoadHostDsk(): Can't allocate tracks memory.");
            return Fail(disk, "out of memory");
        }
    }

    uint32_t trackSize = Read16(info + kTrackSizeOffset);
    for (int t = 0; t < trackCount; ++t) {
        if (extended) trackSize = info[kTrackSizeTableOffset + t] * 256u;
        FDC_Track& track = disk->tracks[t];
        track.number = static_cast<uint8_t>(t);
        track.side = 0;
        if (trackSize == 0) {
            XT_Trace("FDC_LoadHostDsk(): Track %d Empty.", t);
            continue;
        }
        if (trackSize < kInfoBlockSize) {
            XT_Trace(
                "FDC_LoadHostDsk(): Track %d block of %d bytes has no room for its information.", t,
                static_cast<int>(trackSize));
            return Fail(disk, "a track block is shorter than its information block");
        }
        track.data = new (std::nothrow) uint8_t[trackSize];
        if (!track.data) {
            XT_Trace("FDC_LoadHostDsk(): Can't allocate track %d memory (%d bytes).", t,
                     static_cast<int>(trackSize));
            return Fail(disk, "out of memory");
        }
        track.dataSize = trackSize;
        if (reader.read(reader.context, track.data, trackSize) != trackSize) {
            XT_Trace("FDC_LoadHostDsk(): Can't read track %d data", t);
            return Fail(disk, "the file ends inside a track");
        }
        if (!FDC_BuildSectorTable(track, extended)) return Fail(disk, "out of memory");
    }
    return true;
}

void FDC_FreeDisk(FDC_Disk* disk) {
    if (!disk) return;
    for (int t = 0; disk->tracks && t < disk->trackCount; ++t) {
        delete[] disk->tracks[t].sectors;
        delete[] disk->tracks[t].data;
    }
    delete[] disk->tracks;
    disk->tracks = nullptr;
    disk->trackCount = 0;
    disk->sideCount = 0;
}

const FDC_Sector* FDC_FindSectorById(const FDC_Disk* disk, uint8_t track, uint8_t R) {
    if (!disk || !disk->tracks || track >= disk->trackCount) return nullptr;
    const FDC_Track& t = disk->tracks[track];
    for (int j = 0; j < t.sectorCount; ++j)
        if (t.sectors[j].R == R) return &t.sectors[j];
    return nullptr;
}

bool FDC_LoadDskBytes(FDC_Disk* disk, const uint8_t* bytes, size_t size) {
    struct Cursor {
        const uint8_t* bytes;
        size_t size;
        size_t at;
    } cursor{bytes, size, 0};
    auto read = [](void* context, uint8_t* buffer, size_t count) -> size_t {
        auto* c = static_cast<Cursor*>(context);
        size_t n = count < c->size - c->at ? count : c->size - c->at;
        if (n) std::memcpy(buffer, c->bytes + c->at, n);
        c->at += n;
        return n;
    };
    return FDC_LoadHostDsk(disk, FDC_ImageReader{&cursor, read});
}
