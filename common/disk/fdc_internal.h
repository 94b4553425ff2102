#pragma once
// Pieces of the controller shared by its port handling and its command handlers.
#include <cstdint>

#include "common/disk/fdc.h"

struct FDC_Command {
    void (*handler)();  // none: answered by FDC_InvalidCmd
    uint8_t commandBytes;
    uint8_t resultBytes;
};

// Indexed by the low 5 bits of a command's first byte.
extern const FDC_Command FDC_COMMANDS[32];
constexpr uint8_t FDC_READ_DATA = 6;

void FDC_Specify();
void FDC_SenseDS();
void FDC_ReadData();
void FDC_Recalibrate();
void FDC_SenseIS();
void FDC_ReadID();
void FDC_Seek();
void FDC_InvalidCmd();
uint8_t FDC_ReadDataByte();

// The phase a handler ends in.
void FDC_EnterCommandPhase();
void FDC_EnterResultPhase();

// Machine start: the controller takes the drive slots' disks.
void FDC_AttachToSlots();

// The drive's current track, or none (empty drive, or a track the disk does not have).
const FDC_Track* FDC_CurrentTrack(const FDC_Drive& drive);
