#pragma once
// The in-memory model of a DSK disk image (standard or extended, single-sided) and the
// loader that builds it. The controller reads sector bytes straight from the track blocks.
#include <cstddef>
#include <cstdint>

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
    FDC_Track* tracks;      // trackCount entries; none when the disk has no tracks
    const char* loadError;  // why the last load failed (static text), none after success
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
// Frees the tracks, their data and sector tables; the disk is empty afterwards.
void FDC_FreeDisk(FDC_Disk* disk);

// The sector with ID R on track, or none (also for a track the disk does not have).
const FDC_Sector* FDC_FindSectorById(const FDC_Disk* disk, uint8_t track, uint8_t R);
