// The controller's command table and its command handlers. Drive means command byte 1
// & 3, head command byte 1 & 4; unsupported requests are traced and answered with a
// failure result (ST0 = 0x88 plus the drive), never by stopping the machine.
#include "common/disk/dsk_layout.h"
#include "common/disk/fdc_internal.h"
#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {
constexpr uint8_t kSt0Failed = FDC_ST0_FAILED;
constexpr uint8_t kSt0SeekEnd = 0x20;
constexpr uint8_t kSt0EndOfTransfer = FDC_ST0_ABNORMAL;
constexpr uint8_t kSt2WrongCylinder = FDC_ST2_WRONG_CYLINDER;
constexpr uint8_t kSt3Fault = 0x80;
constexpr uint8_t kSt3WriteProtected = 0x40;
constexpr uint8_t kSt3Ready = 0x20;
constexpr uint8_t kSt3Track0 = 0x10;
uint8_t DriveOf(const FDC_State& fdc) {
    return FDC_DriveOf(fdc);
}
uint8_t HeadOf(const FDC_State& fdc) {
    return FDC_HeadOf(fdc);
}
// N as the sector's ID gives it in the image.
uint8_t SizeCode(const FDC_Track& track, int index) {
    return track.data[dsk_layout::kSectorEntriesOffset + dsk_layout::kSectorEntrySize * index +
                      dsk_layout::kEntryNOffset];
}
void SetResult(uint8_t st0, uint8_t st1, uint8_t st2, uint8_t c, uint8_t h, uint8_t r, uint8_t n) {
    FDC_SetResult(st0, st1, st2, c, h, r, n);
}

void FailReadData(bool wrongCylinder) {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    uint8_t drive = DriveOf(fdc);
    XT_Trace("FDC_ReadData(): Command failed.");
    SetResult(drive | kSt0Failed, 0, wrongCylinder ? kSt2WrongCylinder : 0, cmd[2], 0, cmd[4],
              cmd[5]);
    const FDC_Track* track = drive <= 1 ? FDC_CurrentTrack(fdc.drives[drive]) : nullptr;
    if (wrongCylinder && track && track->sectorCount > 0) {
        int index = fdc.drives[drive].sectorIndex;
        fdc.result[3] = fdc.drives[drive].currentTrack;
        fdc.result[5] = track->sectors[index].R;
        fdc.result[6] = SizeCode(*track, index);
    }
    FDC_EnterResultPhase();
}

// Received command bytes, "%02XH " each, as one literal format per length.
const char* const kInvalidCommandFormats[FDC_MAX_COMMAND_BYTES + 1] = {
    "* FDC_InvalidCmd(): ",
    "* FDC_InvalidCmd(): %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH ",
    "* FDC_InvalidCmd(): %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH ",
};
}  // namespace

uint8_t FDC_DriveOf(const FDC_State& fdc) {
    return fdc.command[1] & 3;
}

uint8_t FDC_HeadOf(const FDC_State& fdc) {
    return fdc.command[1] & 4;
}

void FDC_SetResult(uint8_t st0, uint8_t st1, uint8_t st2, uint8_t c, uint8_t h, uint8_t r,
                   uint8_t n) {
    uint8_t* result = FDC_Current().result;
    result[0] = st0, result[1] = st1, result[2] = st2;
    result[3] = c, result[4] = h, result[5] = r, result[6] = n;
}

int FDC_FindSector(const FDC_Track& track, int start, uint8_t R) {
    if (track.sectorCount == 0) return -1;
    int index = start % track.sectorCount;
    for (int tries = 0; tries < track.sectorCount; ++tries) {
        if (track.sectors[index].R == R) return index;
        index = (index + 1) % track.sectorCount;
    }
    return -1;
}

// The real controller counts R up after each sector and looks for that ID from where the
// head is, so an interleaved track reads in ID order and duplicated IDs are taken as they
// come round.
bool FDC_NextSectorOfTransfer(FDC_Drive& drive, const FDC_Track& track) {
    FDC_State& fdc = FDC_Current();
    int next = (drive.sectorIndex + 1) % track.sectorCount;
    if (fdc.sectorR == fdc.command[6]) {  // EOT
        drive.sectorIndex = static_cast<uint8_t>(next);
        fdc.result[0] |= kSt0EndOfTransfer;
        fdc.result[1] = FDC_ST1_END_OF_CYLINDER;
        return false;
    }
    ++fdc.sectorR;
    int found = FDC_FindSector(track, next, fdc.sectorR);
    if (found < 0) {
        drive.sectorIndex = static_cast<uint8_t>(next);
        fdc.result[0] |= kSt0EndOfTransfer;
        fdc.result[1] = FDC_ST1_NO_DATA;
        return false;
    }
    drive.sectorIndex = static_cast<uint8_t>(found);
    drive.bytePosition = 0;
    return true;
}

// Handler, command bytes, result bytes, by command index. The lengths are the uPD765's;
// commands without a handler are answered as invalid, with their own result count.
const FDC_Command FDC_COMMANDS[32] = {
    {nullptr, 1, 1},               // 0 invalid
    {nullptr, 1, 1},               // 1 invalid
    {nullptr, 9, 7},               // 2 Read Track
    {FDC_Specify, 3, 0},           // 3 Specify
    {FDC_SenseDS, 2, 1},           // 4 Sense Drive Status
    {FDC_WriteData, 9, 7},         // 5 Write Data
    {FDC_ReadData, 9, 7},          // 6 Read Data
    {FDC_Recalibrate, 2, 0},       // 7 Recalibrate
    {FDC_SenseIS, 1, 2},           // 8 Sense Interrupt Status
    {FDC_WriteDeletedData, 9, 7},  // 9 Write Deleted Data
    {FDC_ReadID, 2, 7},            // 10 Read ID
    {nullptr, 1, 1},               // 11 invalid
    {nullptr, 9, 7},               // 12 Read Deleted Data
    {FDC_FormatTrack, 6, 7},       // 13 Format Track
    {nullptr, 1, 1},               // 14 invalid
    {FDC_Seek, 3, 0},              // 15 Seek
    {nullptr, 1, 1},               // 16 invalid
    {nullptr, 9, 7},               // 17 Scan Equal
    {nullptr, 1, 1},               // 18 invalid
    {nullptr, 1, 1},               // 19 invalid
    {nullptr, 1, 1},               // 20 invalid
    {nullptr, 1, 1},               // 21 invalid
    {nullptr, 1, 1},               // 22 invalid
    {nullptr, 1, 1},               // 23 invalid
    {nullptr, 1, 1},               // 24 invalid
    {nullptr, 9, 7},               // 25 Scan Low or Equal
    {nullptr, 1, 1},               // 26 invalid
    {nullptr, 1, 1},               // 27 invalid
    {nullptr, 1, 1},               // 28 invalid
    {nullptr, 1, 1},               // 29 invalid
    {nullptr, 9, 7},               // 30 Scan High or Equal
    {nullptr, 1, 1},               // 31 invalid
};

void FDC_Specify() {
    const uint8_t* cmd = FDC_Current().command;
    XT_Trace("FDC_Specify(): %02XH %02XH %02XH", cmd[0], cmd[1], cmd[2]);
    FDC_EnterCommandPhase();
}

void FDC_Recalibrate() {
    FDC_State& fdc = FDC_Current();
    XT_Trace("FDC_Recalibrate(): %02XH %02XH", fdc.command[0], fdc.command[1]);
    uint8_t drive = DriveOf(fdc);
    if (drive <= 1) {
        FDC_Drive& d = fdc.drives[drive];
        d.currentTrack = 0;
        d.sectorIndex = 0;
        d.seekEnd = true;
    } else {
        XT_Trace("* FDC_Recalibrate(): Invalid drive %d", drive);
    }
    FDC_EnterCommandPhase();
}

void FDC_Seek() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace("FDC_Seek(): %02XH %02XH %02XH", cmd[0], cmd[1], cmd[2]);
    uint8_t drive = DriveOf(fdc);
    if (drive > 1) {
        XT_Trace("* FDC_Seek(): Invalid drive %d", drive);
    } else {
        FDC_Drive& d = fdc.drives[drive];
        if (d.disk && cmd[2] < d.disk->trackCount) {
            d.currentTrack = cmd[2];
            d.sectorIndex = 0;
            d.seekEnd = true;
        } else {
            XT_Trace("* FDC_Seek(): Invalid track %d", cmd[2]);
        }
    }
    FDC_EnterCommandPhase();
}

void FDC_SenseIS() {
    FDC_State& fdc = FDC_Current();
    XT_Trace("FDC_SenseIS(): %02XH", fdc.command[0]);
    FDC_Drive* drive = fdc.drives[0].seekEnd   ? &fdc.drives[0]
                       : fdc.drives[1].seekEnd ? &fdc.drives[1]
                                               : nullptr;
    fdc.result[0] = 0;
    fdc.result[1] = 0;
    if (drive) {
        bool loaded = drive->disk != nullptr;
        fdc.result[0] = drive->number | (loaded ? kSt0SeekEnd : kSt0Failed);
        fdc.result[1] = loaded ? drive->currentTrack : 0;
        drive->seekEnd = false;
    }
    FDC_EnterResultPhase();
}

void FDC_SenseDS() {
    FDC_State& fdc = FDC_Current();
    XT_Trace("FDC_SenseDS(): %02XH %02XH", fdc.command[0], fdc.command[1]);
    uint8_t drive = DriveOf(fdc);
    uint8_t head = HeadOf(fdc);
    if (drive <= 1 && head == 0) {
        const FDC_Drive& d = fdc.drives[drive];
        fdc.result[0] = drive | (d.seekEnd ? 0 : kSt3Ready) |
                        (d.currentTrack == 0 ? kSt3Track0 : 0) |
                        (FDC_IsWriteProtected(drive) ? kSt3WriteProtected : 0);
    } else {
        fdc.result[0] = drive | head | kSt3Fault;
        XT_Trace("* FDC_SenseDS(): Invalid drive %d or head %d", drive, head);
    }
    FDC_EnterResultPhase();
}

void FDC_ReadID() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    uint8_t drive = DriveOf(fdc);
    const FDC_Track* track = nullptr;
    if (drive > 1) {
        XT_Trace("FDC_ReadID(%02XH %02XH): Drive %d not supported", cmd[0], cmd[1], drive);
    } else if (HeadOf(fdc)) {
        XT_Trace("FDC_ReadID(%02XH %02XH): Head 1 not supported", cmd[0], cmd[1]);
    } else if (!fdc.drives[drive].disk) {
        XT_Trace("FDC_ReadID(%02XH %02XH): Track 0 not supported", cmd[0], cmd[1]);
    } else {
        track = FDC_CurrentTrack(fdc.drives[drive]);
    }
    if (!track || track->sectorCount == 0) {
        SetResult(drive | kSt0Failed, 0, 0, 0, 0, 0, 0);
    } else {
        FDC_Drive& d = fdc.drives[drive];
        const FDC_Sector& sector = track->sectors[d.sectorIndex];
        SetResult(d.number, 0, 0, d.currentTrack, 0, sector.R, SizeCode(*track, d.sectorIndex));
        XT_Trace("FDC_ReadID(%02XH %02XH): 0x%02X.", cmd[0], cmd[1], sector.R);
        d.sectorIndex = static_cast<uint8_t>((d.sectorIndex + 1) % track->sectorCount);
    }
    FDC_EnterResultPhase();
}

void FDC_ReadData() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace("FDC_ReadData(): %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH", cmd[0],
             cmd[1], cmd[2], cmd[3], cmd[4], cmd[5], cmd[6], cmd[7], cmd[8]);
    uint8_t drive = DriveOf(fdc);
    if (cmd[0] & FDC_MULTI_TRACK) {
        XT_Trace("* FDC_ReadData(): MT reads not supported.");
        return FailReadData(false);
    }
    if (drive > 1) {
        XT_Trace("* FDC_ReadData(): Reading from Drive %d not supported.", drive);
        return FailReadData(false);
    }
    if (HeadOf(fdc)) {
        XT_Trace("* FDC_ReadData(): Reading from Head 1 not supported.");
        return FailReadData(false);
    }
    FDC_Drive& d = fdc.drives[drive];
    if (!d.disk) return FailReadData(false);
    if (d.currentTrack != cmd[2]) {
        XT_Trace("* FDC_ReadData(): Out of SEEK: Read Track = %d, Cur. Track = %d", cmd[2],
                 d.currentTrack);
        return FailReadData(true);
    }
    const FDC_Track* track = FDC_CurrentTrack(d);
    int found = track ? FDC_FindSector(*track, d.sectorIndex, cmd[4]) : -1;
    if (found < 0) return FailReadData(false);

    d.sectorIndex = static_cast<uint8_t>(found);
    d.sectorData = track->sectors[found].data;
    d.bytePosition = 0;
    fdc.executionDrive = drive;
    fdc.sectorR = cmd[4];
    SetResult(d.number, 0, 0, cmd[2], cmd[3], cmd[4], cmd[5]);
    fdc.mainStatus = FDC_MSR_EXECUTION;
    FDC_SetPhase(FDC_PHASE_EXECUTION);
}

uint8_t FDC_ReadDataByte() {
    FDC_State& fdc = FDC_Current();
    if (fdc.commandIndex != FDC_READ_DATA) {
        XT_Trace("* FDC_in(): Invalid read 3");
        return 0;
    }
    FDC_Drive& d = fdc.drives[fdc.executionDrive];
    const FDC_Track* track = FDC_CurrentTrack(d);
    if (!track || d.sectorIndex >= track->sectorCount) {  // no sector to read: end it
        FDC_EnterResultPhase();
        return 0;
    }
    const FDC_Sector& sector = track->sectors[d.sectorIndex];
    // A sector that holds no bytes (see the loader) delivers one 0 byte.
    uint8_t value = d.bytePosition < sector.size ? d.sectorData[d.bytePosition] : 0;
    ++d.bytePosition;
    if (d.bytePosition < sector.size) return value;

    if (FDC_NextSectorOfTransfer(d, *track))
        d.sectorData = track->sectors[d.sectorIndex].data;
    else
        FDC_EnterResultPhase();
    return value;
}

void FDC_InvalidCmd() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace(kInvalidCommandFormats[fdc.byteCounter], cmd[0], cmd[1], cmd[2], cmd[3], cmd[4],
             cmd[5], cmd[6], cmd[7], cmd[8]);
    fdc.result[0] = kSt0Failed;
    FDC_EnterResultPhase();
}
