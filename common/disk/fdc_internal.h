#pragma once
// Pieces of the controller shared by its port handling and its command handlers.
#include <cstdint>

#include "common/disk/fdc.h"
#include "common/machine/machine.h"

struct FDC_Command {
    void (*handler)();  // none: answered by FDC_InvalidCmd
    uint8_t commandBytes;
    uint8_t resultBytes;
};

// Indexed by the low 5 bits of a command's first byte.
extern const FDC_Command FDC_COMMANDS[32];
constexpr uint8_t FDC_READ_DATA = 6;
constexpr uint8_t FDC_WRITE_DATA = 5;
constexpr uint8_t FDC_WRITE_DELETED_DATA = 9;
constexpr uint8_t FDC_FORMAT_TRACK = 13;

constexpr uint8_t FDC_MULTI_TRACK = 0x80;  // the MT bit of a command's first byte

// The controller of the machine.
inline FDC_State& FDC_Current() {
    return g_Machine.fdc;
}

// Status bits of the result bytes.
constexpr uint8_t FDC_ST0_FAILED = 0x88;  // abnormal termination, not ready
constexpr uint8_t FDC_ST0_ABNORMAL = 0x40;
constexpr uint8_t FDC_ST0_NOT_READY = 0x08;
constexpr uint8_t FDC_ST1_END_OF_CYLINDER = 0x80;
constexpr uint8_t FDC_ST1_NO_DATA = 0x04;
constexpr uint8_t FDC_ST1_NOT_WRITABLE = 0x02;
constexpr uint8_t FDC_ST2_WRONG_CYLINDER = 0x10;
constexpr uint8_t FDC_ST2_CONTROL_MARK = 0x40;

void FDC_Specify();
void FDC_SenseDS();
void FDC_ReadData();
void FDC_Recalibrate();
void FDC_SenseIS();
void FDC_ReadID();
void FDC_Seek();
void FDC_InvalidCmd();
uint8_t FDC_ReadDataByte();
void FDC_WriteData();
void FDC_WriteDeletedData();
void FDC_FormatTrack();
// Execution phase bytes of the write commands.
void FDC_WriteDataByte(uint8_t value);
void FDC_FormatByte(uint8_t value);

uint8_t FDC_DriveOf(const FDC_State& fdc);
uint8_t FDC_HeadOf(const FDC_State& fdc);
void FDC_SetResult(uint8_t st0, uint8_t st1, uint8_t st2, uint8_t c, uint8_t h, uint8_t r,
                   uint8_t n);
// Index of the sector with ID R, searching once round the track from index start; -1 when
// the track has none.
int FDC_FindSector(const FDC_Track& track, int start, uint8_t R);
// After the sector at the drive's index: the next sector of a transfer over several, whose
// ID is one more, searched from the next position round the track. False when the sector
// just done was the last (EOT) or the next cannot be found; the result bytes say which.
bool FDC_NextSectorOfTransfer(FDC_Drive& drive, const FDC_Track& track);

// The phase a handler ends in.
void FDC_EnterCommandPhase();
void FDC_EnterResultPhase();

// Machine start: the controller takes the drive slots' disks.
void FDC_AttachToSlots();

// The drive's current track, or none (empty drive, or a track the disk does not have).
const FDC_Track* FDC_CurrentTrack(const FDC_Drive& drive);
