// Handing disks from the drive slots (any thread) to the controller (emulation thread)
// without a lock on the emulation side.
//
// The slots publish the disk of each drive in an atomic pointer and then count the change.
// Between commands the controller reads the change count, then the two pointers, and
// reports the count it has taken over. A disk the slots replace is kept, tagged with the
// change that replaced it, until the controller reports that change or a later one: by
// then it has read the pointers again and holds the disk no more. The slots never hand a
// replaced disk out again, so the controller cannot pick it up late. Everything shared is
// sequentially consistent, which also covers a controller attaching while the slots
// replace a disk (each side stores, then reads what the other stored).
#include <limits>
#include <mutex>
#include <vector>

#include "common/disk/fdc.h"
#include "common/disk/fdc_internal.h"
#include "common/machine/machine.h"

namespace {
// The controller's report while no machine runs: it holds nothing.
constexpr uint64_t kNoController = std::numeric_limits<uint64_t>::max();

struct RetiredDisk {
    FDC_Disk* disk;
    uint64_t change;  // the change that took it out of its drive
};

std::mutex g_slotsMutex;  // the slots' side only; the controller never waits on it
std::atomic<FDC_Disk*> g_slotDisks[FDC_DRIVE_COUNT];
std::atomic<uint64_t> g_changeCount{1};
std::atomic<uint64_t> g_controllerChange{kNoController};
std::vector<RetiredDisk> g_retired;
std::atomic<bool> g_writeProtected[FDC_DRIVE_COUNT];

void DeleteDisk(FDC_Disk* disk) {
    FDC_FreeDisk(disk);
    delete disk;
}

void FreeReleasedLocked() {
    uint64_t held = g_controllerChange.load();
    size_t kept = 0;
    for (const RetiredDisk& retired : g_retired) {
        if (retired.change <= held)
            DeleteDisk(retired.disk);
        else
            g_retired[kept++] = retired;
    }
    g_retired.resize(kept);
}

uint64_t CountChangeLocked() {
    return g_changeCount.fetch_add(1) + 1;
}
}  // namespace

void FDC_InsertDisk(int drive, FDC_Disk* disk) {
    if (drive < 0 || drive >= FDC_DRIVE_COUNT) {
        if (disk) DeleteDisk(disk);
        return;
    }
    std::lock_guard<std::mutex> lock(g_slotsMutex);
    FDC_Disk* previous = g_slotDisks[drive].exchange(disk);
    uint64_t change = CountChangeLocked();
    if (previous) g_retired.push_back({previous, change});
    FreeReleasedLocked();
}

const FDC_Disk* FDC_HostDisk(int drive) {
    if (drive < 0 || drive >= FDC_DRIVE_COUNT) return nullptr;
    return g_slotDisks[drive].load();
}

bool FDC_SwapDrives() {
    if (g_Machine.fdc.phase.load() != FDC_PHASE_COMMAND) return false;
    std::lock_guard<std::mutex> lock(g_slotsMutex);
    FDC_Disk* a = g_slotDisks[0].load();
    g_slotDisks[0].store(g_slotDisks[1].load());
    g_slotDisks[1].store(a);
    CountChangeLocked();
    return true;
}

void FDC_AdoptDisks() {
    FDC_State& fdc = g_Machine.fdc;
    uint64_t change = g_changeCount.load();
    if (change == fdc.adoptedChange) return;
    for (int d = 0; d < FDC_DRIVE_COUNT; ++d) {
        FDC_Drive& drive = fdc.drives[d];
        FDC_Disk* disk = g_slotDisks[d].load();
        if (disk == drive.disk) continue;
        // Another disk: the old sector index may name no sector of it.
        drive.disk = disk;
        drive.sectorIndex = 0;
        drive.sectorData = nullptr;
        drive.bytePosition = 0;
    }
    fdc.adoptedChange = change;
    g_controllerChange.store(change);
}

void FDC_SetWriteProtected(int drive, bool writeProtected) {
    if (drive >= 0 && drive < FDC_DRIVE_COUNT) g_writeProtected[drive].store(writeProtected);
}

bool FDC_IsWriteProtected(int drive) {
    return drive >= 0 && drive < FDC_DRIVE_COUNT && g_writeProtected[drive].load();
}

void FDC_AttachToSlots() {
    g_Machine.fdc.adoptedChange = 0;  // never a real count: the next adoption reads all
    g_controllerChange.store(0);      // holding, before reading the slots
    FDC_AdoptDisks();
}

void FDC_Shutdown() {
    FDC_State& fdc = g_Machine.fdc;
    for (FDC_Drive& drive : fdc.drives) {
        drive.disk = nullptr;
        drive.sectorData = nullptr;
    }
    fdc.adoptedChange = 0;
    std::lock_guard<std::mutex> lock(g_slotsMutex);
    g_controllerChange.store(kNoController);
    FreeReleasedLocked();
}
