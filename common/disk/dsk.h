#pragma once
// The in-memory model of a DSK disk image (standard or extended, single-sided) and the
// loader that builds it. The controller reads sector bytes straight from the track blocks.
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

// Sector entries a 256-byte track information block holds.
constexpr int FDC_MAX_SECTOR_ENTRIES = 29;

struct FDC_Sector {
    uint8_t R;            // sector ID
    uint16_t size;        // bytes held, never running past the track's data block
    const uint8_t* data;  // first byte, inside the track's data block
};

struct FDC_Track {
    uint8_t number;  // position in the image, from 0
    uint8_t side;    // always 0
    uint8_t sectorCount;
    FDC_Sector* sectors;  // none for a track without sectors
    uint8_t* data;        // the track block as read, information block included
    uint32_t dataSize;
};

struct FDC_Disk {
    uint8_t trackCount;
    uint8_t sideCount;
    FDC_Track* tracks;           // trackCount entries; none when the disk has no tracks
    const char* loadError;       // why the last load failed (static text), none after success
    bool extended;               // read from an extended image
    uint16_t standardTrackSize;  // a standard image's track block size
    // Counts the controller's changes to the disk; read and changed under
    // FDC_LockDiskContent.
    uint32_t changeCount;
};

// Where the loader's bytes come from: read returns how many of count bytes it delivered.
struct FDC_ImageReader {
    void* context;
    size_t (*read)(void* context, uint8_t* buffer, size_t count);
};

// Reads a whole image into disk, which must be empty. On failure disk keeps what was built
// so far (FDC_FreeDisk releases it) and loadError says why.
bool FDC_LoadHostDsk(FDC_Disk* disk, const FDC_ImageReader& reader);
// The same from an image already in memory.
bool FDC_LoadDskBytes(FDC_Disk* disk, const uint8_t* bytes, size_t size);
// The sector table of a track whose block is in place: sizes from the entries' 16-bit
// byte counts (extended) or from their N, each sector kept inside the block.
bool FDC_BuildSectorTable(FDC_Track& track, bool extended);
// A track block laid out as a format writes it: an information block for count sectors with
// the IDs (C, H, R, N four bytes each) given, then their data, every byte filler. Sizes come
// from N and are cut where the block would pass the largest an extended image can describe.
std::vector<uint8_t> FDC_FormattedTrackBlock(uint8_t trackNumber, const uint8_t* ids, int count,
                                             uint8_t N, uint8_t gap, uint8_t filler);
// Frees the tracks, their data and sector tables; the disk is empty afterwards.
void FDC_FreeDisk(FDC_Disk* disk);

// The controller changes a disk on the emulation thread while the host may save it from
// another: every change, and every read from another thread than the emulation thread,
// holds this lock. The emulation thread reads without it.
std::mutex& FDC_DiskContentMutex();

// The image file of disk: a standard image while every track still has the standard
// layout it was read with, else an extended one. Call with the content lock held, or on
// the emulation thread.
std::vector<uint8_t> FDC_SaveDskBytes(const FDC_Disk& disk);

enum class FDC_BlankFormat { Data, System };
// A formatted disk of 40 tracks of nine 512-byte sectors (DATA: C1-C9, SYSTEM: 41-49),
// every byte E5, as a standard image file.
std::vector<uint8_t> FDC_BlankDskBytes(FDC_BlankFormat format);

// The sector with ID R on track, or none (also for a track the disk does not have).
const FDC_Sector* FDC_FindSectorById(const FDC_Disk* disk, uint8_t track, uint8_t R);
