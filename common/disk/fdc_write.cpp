// Write Data, Write Deleted Data and Format Track, with the result bytes of the real
// controller: ST0 0x40 (abnormal end) with ST1 0x80 at the end of the track, 0x04 for a
// sector not found, 0x02 on a write-protected disk; 0x48 for a drive without a disk.
//
// The bytes a write receives are gathered in the controller's state and go into the disk
// a chunk at a time under the disk content lock, so the host can save the disk from
// another thread while the machine writes, and no port access takes a lock.
#include <cstring>
#include <new>

#include "common/disk/dsk_layout.h"
#include "common/disk/fdc_internal.h"
#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {
using namespace dsk_layout;

void Fail(uint8_t st0, uint8_t st1, uint8_t st2) {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace("FDC_Write(): Command failed: %02XH %02XH %02XH.", st0, st1, st2);
    if (fdc.commandIndex == FDC_FORMAT_TRACK)
        FDC_SetResult(st0, st1, st2, 0, 0, 0, cmd[2]);
    else
        FDC_SetResult(st0, st1, st2, cmd[2], cmd[3], cmd[4], cmd[5]);
    FDC_EnterResultPhase();
}

// The drive a write command may change, or none after answering the command with its
// failure.
FDC_Drive* WritableDrive() {
    FDC_State& fdc = FDC_Current();
    uint8_t drive = FDC_DriveOf(fdc);
    uint8_t head = FDC_HeadOf(fdc);
    if (drive > 1 || head || !fdc.drives[drive].disk || !FDC_CurrentTrack(fdc.drives[drive])) {
        Fail(FDC_ST0_ABNORMAL | FDC_ST0_NOT_READY | head | drive, 0, 0);
        return nullptr;
    }
    if (FDC_IsWriteProtected(drive)) {
        Fail(FDC_ST0_ABNORMAL | drive, FDC_ST1_NOT_WRITABLE, 0);
        return nullptr;
    }
    return &fdc.drives[drive];
}

void EnterWriting() {
    FDC_Current().mainStatus = FDC_MSR_WRITING;
    FDC_SetPhase(FDC_PHASE_EXECUTION);
}

void StartWrite() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace("FDC_WriteData(): %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH %02XH", cmd[0],
             cmd[1], cmd[2], cmd[3], cmd[4], cmd[5], cmd[6], cmd[7], cmd[8]);
    if (cmd[0] & FDC_MULTI_TRACK)
        return Fail(FDC_ST0_ABNORMAL | FDC_DriveOf(fdc), FDC_ST1_NO_DATA, 0);
    FDC_Drive* d = WritableDrive();
    if (!d) return;
    if (d->currentTrack != cmd[2])
        return Fail(FDC_ST0_ABNORMAL | d->number, FDC_ST1_NO_DATA, FDC_ST2_WRONG_CYLINDER);
    const FDC_Track& track = *FDC_CurrentTrack(*d);
    int found = FDC_FindSector(track, d->sectorIndex, cmd[4]);
    if (found < 0) return Fail(FDC_ST0_ABNORMAL | d->number, FDC_ST1_NO_DATA, 0);
    d->sectorIndex = static_cast<uint8_t>(found);
    d->bytePosition = 0;
    fdc.executionDrive = d->number;
    fdc.sectorR = cmd[4];
    fdc.writeBuffered = 0;
    FDC_SetResult(d->number, 0, 0, cmd[2], cmd[3], cmd[4], cmd[5]);
    EnterWriting();
}

// Puts the gathered bytes into the sector they belong to; at the sector's end also its
// deleted-data mark.
void CommitWrite(FDC_Track& track, const FDC_Drive& d, bool sectorDone) {
    FDC_State& fdc = FDC_Current();
    const FDC_Sector& sector = track.sectors[d.sectorIndex];
    size_t first = static_cast<size_t>(d.bytePosition - fdc.writeBuffered);
    size_t offset = static_cast<size_t>(sector.data - track.data);
    std::lock_guard<std::mutex> lock(FDC_DiskContentMutex());
    for (size_t i = 0; i < fdc.writeBuffered && first + i < sector.size; ++i)
        track.data[offset + first + i] = fdc.writeBuffer[i];
    if (sectorDone) {
        uint8_t& st2 =
            track.data[kSectorEntriesOffset + d.sectorIndex * kSectorEntrySize + kEntrySt2Offset];
        bool deleted = fdc.commandIndex == FDC_WRITE_DELETED_DATA;
        st2 = static_cast<uint8_t>(deleted ? st2 | FDC_ST2_CONTROL_MARK
                                           : st2 & ~FDC_ST2_CONTROL_MARK);
    }
    ++d.disk->changeCount;
    fdc.writeBuffered = 0;
}

void InstallTrack(FDC_Disk& disk, FDC_Track& track, const std::vector<uint8_t>& block) {
    FDC_Track formatted{};
    formatted.number = track.number;
    formatted.data = new (std::nothrow) uint8_t[block.size()];
    if (!formatted.data) return XT_Trace("* FDC_FormatTrack(): Out of memory.");
    std::memcpy(formatted.data, block.data(), block.size());
    formatted.dataSize = static_cast<uint32_t>(block.size());
    if (!FDC_BuildSectorTable(formatted, true)) {
        delete[] formatted.data;
        return;
    }
    FDC_Track old;
    {
        std::lock_guard<std::mutex> lock(FDC_DiskContentMutex());
        old = track;
        track = formatted;
        ++disk.changeCount;
    }
    delete[] old.sectors;
    delete[] old.data;
}

void FinishFormat(FDC_Drive& d) {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    int count = cmd[3] < FDC_MAX_FORMAT_SECTORS ? cmd[3] : FDC_MAX_FORMAT_SECTORS;
    FDC_Track& track = d.disk->tracks[d.currentTrack];
    InstallTrack(
        *d.disk, track,
        FDC_FormattedTrackBlock(d.currentTrack, fdc.formatIds, count, cmd[2], cmd[4], cmd[5]));
    d.sectorIndex = 0;
    const uint8_t* last = count ? fdc.formatIds + 4 * (count - 1) : nullptr;
    FDC_SetResult(d.number, 0, 0, last ? last[0] : 0, last ? last[1] : 0, last ? last[2] : 0,
                  cmd[2]);
    FDC_EnterResultPhase();
}
}  // namespace

void FDC_WriteData() {
    StartWrite();
}

void FDC_WriteDeletedData() {
    StartWrite();
}

void FDC_WriteDataByte(uint8_t value) {
    FDC_State& fdc = FDC_Current();
    FDC_Drive& d = fdc.drives[fdc.executionDrive];
    FDC_Track* track =
        d.disk && d.currentTrack < d.disk->trackCount ? &d.disk->tracks[d.currentTrack] : nullptr;
    if (!track || d.sectorIndex >= track->sectorCount) return FDC_EnterResultPhase();
    fdc.writeBuffer[fdc.writeBuffered++] = value;
    ++d.bytePosition;
    // A sector that holds no bytes (see the loader) takes one.
    bool sectorDone = d.bytePosition >= track->sectors[d.sectorIndex].size;
    if (!sectorDone && fdc.writeBuffered < FDC_WRITE_CHUNK) return;
    CommitWrite(*track, d, sectorDone);
    if (sectorDone && !FDC_NextSectorOfTransfer(d, *track)) FDC_EnterResultPhase();
}

void FDC_FormatTrack() {
    FDC_State& fdc = FDC_Current();
    const uint8_t* cmd = fdc.command;
    XT_Trace("FDC_FormatTrack(): %02XH %02XH %02XH %02XH %02XH %02XH", cmd[0], cmd[1], cmd[2],
             cmd[3], cmd[4], cmd[5]);
    FDC_Drive* d = WritableDrive();
    if (!d) return;
    fdc.executionDrive = d->number;
    fdc.formatBytes = 0;
    if (cmd[3] == 0) return FinishFormat(*d);
    EnterWriting();
}

void FDC_FormatByte(uint8_t value) {
    FDC_State& fdc = FDC_Current();
    if (fdc.formatBytes < sizeof fdc.formatIds) fdc.formatIds[fdc.formatBytes] = value;
    ++fdc.formatBytes;
    if (fdc.formatBytes >= fdc.command[3] * 4) FinishFormat(fdc.drives[fdc.executionDrive]);
}
