#pragma once
// uPD765 floppy disk controller with drives A and B: the commands the disk operating system
// uses for reading, writing and formatting. Every command completes at once; a transfer
// moves its bytes as fast as the processor fetches or sends them. Runs on the emulation
// thread.
#include <atomic>
#include <cstdint>

#include "common/disk/dsk.h"

constexpr uint8_t FDC_PHASE_COMMAND = 0;
constexpr uint8_t FDC_PHASE_EXECUTION = 1;
constexpr uint8_t FDC_PHASE_RESULT = 2;

constexpr uint8_t FDC_MSR_COMMAND = 0x80;    // ready for a command byte
constexpr uint8_t FDC_MSR_RESULT = 0xD0;     // result bytes waiting
constexpr uint8_t FDC_MSR_EXECUTION = 0xF0;  // data bytes waiting
constexpr uint8_t FDC_MSR_WRITING = 0xB0;    // execution phase, data bytes wanted

constexpr int FDC_DRIVE_COUNT = 2;
constexpr int FDC_MAX_COMMAND_BYTES = 9;
constexpr int FDC_MAX_RESULT_BYTES = 7;
// Bytes a write gathers before they go into the disk at once (see FDC_LockDiskContent).
constexpr int FDC_WRITE_CHUNK = 512;
// Sector IDs a Format Track keeps: as many as a track information block describes.
constexpr int FDC_MAX_FORMAT_SECTORS = FDC_MAX_SECTOR_ENTRIES;

struct FDC_Drive {
    uint8_t number;
    uint8_t currentTrack;       // present cylinder (PCN)
    uint8_t sectorIndex;        // position in the current track's sector table
    bool seekEnd;               // a Seek or Recalibrate ended, not yet reported
    const uint8_t* sectorData;  // sector being read during Read Data
    uint16_t bytePosition;      // bytes of it already delivered, or received by a write
    FDC_Disk* disk;             // none: the drive is empty
};

struct FDC_State {
    uint8_t mainStatus;
    uint8_t motor;
    std::atomic<uint8_t> phase;  // the host's swap command reads it
    uint8_t commandIndex;
    uint8_t byteCounter;
    uint8_t executionDrive;
    uint8_t command[FDC_MAX_COMMAND_BYTES];
    uint8_t result[FDC_MAX_RESULT_BYTES];
    FDC_Drive drives[FDC_DRIVE_COUNT];
    uint64_t adoptedChange;  // last disk change taken over from the drive slots
    // A transfer over several sectors: the ID of the sector in hand (the next one is R+1).
    uint8_t sectorR;
    // Write Data and Write Deleted Data: bytes received and not yet in the disk.
    uint16_t writeBuffered;
    uint8_t writeBuffer[FDC_WRITE_CHUNK];
    // Format Track: ID bytes received (four a sector), the first sectors' kept.
    uint16_t formatBytes;
    uint8_t formatIds[FDC_MAX_FORMAT_SECTORS * 4];
};

void FDC_Init();
void FDC_Reset();
// The machine is released: the controller lets go of its disks.
void FDC_Shutdown();
uint8_t FDC_in(uint16_t port);
void FDC_out(uint16_t port, uint8_t value);
void FDC_SetPhase(uint8_t phase);

// Disks reach the controller from the drive slots, possibly on another thread. The slots
// own every disk; the controller takes the slots' current pair of disks over only between
// commands, so a transfer that is running keeps reading the disk it started on, and a disk
// is freed only once the controller has let go of it.
//
// Host side (any thread): puts disk (owned from now on, none to empty the drive) in the
// drive; the disk it replaces is freed as soon as the controller no longer reads it.
void FDC_InsertDisk(int drive, FDC_Disk* disk);
// The disk the drive slots have put in the drive; valid until the next insert or swap.
const FDC_Disk* FDC_HostDisk(int drive);
// Exchanges the disks of the two drives; refused (false) unless the controller is idle.
bool FDC_SwapDrives();
// Emulation side: takes over the slots' disks; the controller calls it between commands.
void FDC_AdoptDisks();

// Write protection of a drive, set by the host at any time; a write command checks it when
// it starts.
void FDC_SetWriteProtected(int drive, bool writeProtected);
bool FDC_IsWriteProtected(int drive);
