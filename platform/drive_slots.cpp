// Drive slots: find an image file, load it into a disk model, hand the model to the
// controller, remember the file in the settings, and write changed disks back.
//
// An eject forgets the drive's path as well as its settings key, so that the status line
// never shows a disk that has gone and a later swap cannot write an ejected disk's path
// into the other drive's key. Inserting, ejecting and swapping may come from any thread
// while the controller transfers data: the controller finishes the transfer on the disk it
// started with and takes the new one over before its next command (see fdc_handover.cpp).
#include "platform/drive_slots.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"
#include "platform/atomic_file.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"

namespace {
const char* const kSearchPrefixes[] = {"", "../Files/", "../Test/"};
constexpr const char* kExtension = ".dsk";

constexpr uint32_t kSaveDelayMs = 2000;

struct Slot {
    std::string path;
    std::string loadError;
    uint32_t savedChange = 0;   // the disk's change count its file holds
    uint32_t seenChange = 0;    // the change count last seen by PAL_FlushDisks
    uint32_t pendingAtMs = 0;   // host time the oldest change not yet written was seen
    uint32_t failedChange = 0;  // the change count whose write failed
    bool unsaved = false;       // a write failed and the file lacks changes
    std::string saveError;      // to tell, once
    bool userProtect = false;
    bool fileReadOnly = false;
};

// Slot operations one at a time; the controller never takes it.
std::recursive_mutex g_slotsMutex;
Slot g_slots[FDC_DRIVE_COUNT];
std::atomic<bool> g_activity{false};

bool ValidDrive(int drive) {
    return drive >= 0 && drive < FDC_DRIVE_COUNT;
}

std::string DriveKey(int drive) {
    return std::string("Drive") + static_cast<char>('A' + drive);
}

std::string ProtectKey(int drive) {
    return std::string("WriteProtect") + static_cast<char>('A' + drive);
}

bool EndsWithDiskExtension(const std::string& text) {
    size_t dot = text.rfind('.');
    return dot != std::string::npos && strcasecmp(text.c_str() + dot, kExtension) == 0;
}

void ApplyProtection(int drive) {
    const Slot& slot = g_slots[drive];
    FDC_SetWriteProtected(drive, slot.userProtect || slot.fileReadOnly);
}

// A file we could not replace: not writable itself, or in a folder we cannot write in.
bool MayWrite(const std::string& path) {
    std::string target = PAL_WriteTarget(path);
    size_t slash = target.rfind('/');
    std::string folder = slash == std::string::npos ? "." : target.substr(0, slash + 1);
    return access(target.c_str(), W_OK) == 0 && access(folder.c_str(), W_OK) == 0;
}

uint32_t ChangeCount(const FDC_Disk* disk) {
    std::lock_guard<std::mutex> lock(FDC_DiskContentMutex());
    return disk->changeCount;
}

// Writes the drive's disk to path when it has changes the file lacks (always with
// evenUnchanged). True when the file holds the disk afterwards.
bool SaveLocked(int drive, const std::string& path, bool evenUnchanged, std::string& error) {
    Slot& slot = g_slots[drive];
    const FDC_Disk* disk = FDC_HostDisk(drive);
    if (!disk || path.empty()) return !disk;
    std::vector<uint8_t> image;
    uint32_t change;
    {
        std::lock_guard<std::mutex> lock(FDC_DiskContentMutex());
        change = disk->changeCount;
        if (change == slot.savedChange && !evenUnchanged) return true;
        image = FDC_SaveDskBytes(*disk);
    }
    if (!PAL_WriteFileAtomically(path, image.data(), image.size(), error)) {
        XT_Trace("* PAL_SaveDisk(): Can't write %s: %s", path.c_str(), error.c_str());
        return false;
    }
    XT_Trace("PAL_SaveDisk(): Wrote %s", path.c_str());
    slot.savedChange = change;
    return true;
}

// The drive's changes into its own file; a failure is kept to tell once.
void SaveToItsFileLocked(int drive) {
    Slot& slot = g_slots[drive];
    const FDC_Disk* disk = FDC_HostDisk(drive);
    if (!disk) return;
    std::string error;
    if (SaveLocked(drive, slot.path, false, error)) {
        slot.unsaved = false;
        return;
    }
    uint32_t change = ChangeCount(disk);
    if (!slot.unsaved || change != slot.failedChange) {
        if (!slot.unsaved)
            slot.saveError = "Cannot write the disk in drive " +
                             std::string(1, static_cast<char>('A' + drive)) + " to " + slot.path +
                             ": " + error;
        PAL_RequestStatusRefresh();
    }
    slot.unsaved = true;
    slot.failedChange = change;
}

size_t ReadFromFile(void* context, uint8_t* buffer, size_t count) {
    return std::fread(buffer, 1, count, static_cast<std::FILE*>(context));
}

bool LoadFromFile(std::FILE* file, int drive, std::string& error) {
    FDC_Disk* disk = new (std::nothrow) FDC_Disk{};
    if (!disk) {
        error = "out of memory";
        return false;
    }
    FDC_ImageReader reader{file, ReadFromFile};
    if (!FDC_LoadHostDsk(disk, reader)) {
        error = disk->loadError ? disk->loadError : "not a disk image";
        FDC_FreeDisk(disk);
        delete disk;
        return false;
    }
    g_slots[drive].savedChange = g_slots[drive].seenChange = disk->changeCount;
    g_slots[drive].unsaved = false;
    FDC_InsertDisk(drive, disk);
    return true;
}
}  // namespace

bool PAL_LoadDisk(const char* fileName, int drive) {
    if (!ValidDrive(drive) || !fileName) return false;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    PAL_UnloadDisk(drive, false);

    std::string fullPath, problem;
    std::FILE* file = nullptr;
    for (const char* prefix : kSearchPrefixes) {
        std::string wrong;
        file = PAL_OpenDiskFile(prefix, fileName, fullPath, &wrong);
        if (file) break;
        if (problem.empty()) problem = wrong;  // the first name found tells
    }
    std::string error;
    bool loaded = false;
    if (!file) {
        XT_Trace("PAL_LoadDisk(): Can't open file [%s]", fileName);
        std::string tried = fileName;
        if (!EndsWithDiskExtension(tried)) tried += kExtension;
        error = !problem.empty() ? problem
                                 : "no file " + tried + " here, under ../Files/ or under ../Test/";
    } else {
        loaded = LoadFromFile(file, drive, error);
        std::fclose(file);
    }
    if (!loaded) {
        XT_Trace("Unable to load disk: %s", fileName);
        g_slots[drive].path.clear();
        g_slots[drive].loadError = error;
        return false;
    }
    PAL_SetDrivePath(drive, fullPath.c_str());
    g_slots[drive].loadError.clear();
    g_slots[drive].fileReadOnly = !MayWrite(fullPath);
    ApplyProtection(drive);
    XT_Trace("Successfully loaded disk: %s", fileName);
    return true;
}

void PAL_UnloadDisk(int drive, bool forget) {
    if (!ValidDrive(drive)) return;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    if (!FDC_HostDisk(drive)) return;
    SaveToItsFileLocked(drive);
    FDC_InsertDisk(drive, nullptr);
    g_slots[drive].unsaved = false;
    g_slots[drive].fileReadOnly = false;
    ApplyProtection(drive);
    if (forget) PAL_SetDrivePath(drive, "");
}

void PAL_EjectDisk(int drive) {
    PAL_UnloadDisk(drive, true);
}

void PAL_EjectAll() {
    PAL_UnloadDisk(0, false);
    PAL_UnloadDisk(1, false);
}

void PAL_SetDrivePath(int drive, const char* path) {
    if (!ValidDrive(drive) || !path) return;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    std::string value(path, strnlen(path, PAL_MAX_PATH - 1));
    std::string settings = PAL_GetSettingsPath();
    if (!settings.empty() && !PAL_WriteProfileString(PAL_SETTINGS_SECTION, DriveKey(drive).c_str(),
                                                     value.c_str(), settings.c_str())) {
        XT_Trace("* PAL_SetDrivePath(): Can't write %s to %s", DriveKey(drive).c_str(),
                 settings.c_str());
    }
    g_slots[drive].path = value;
}

// At a restart the drives still hold the disks the settings name: they are written back
// and stay, so that changes a file could not take are not lost.
void PAL_LoadDrivesFromSettings() {
    std::string settings = PAL_GetSettingsPath();
    if (settings.empty()) return;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    for (int drive = 0; drive < FDC_DRIVE_COUNT; ++drive) {
        Slot& slot = g_slots[drive];
        slot.userProtect = PAL_GetProfileInt(PAL_SETTINGS_SECTION, ProtectKey(drive).c_str(), 0,
                                             settings.c_str()) != 0;
        ApplyProtection(drive);
        std::string name = PAL_GetProfileString(PAL_SETTINGS_SECTION, DriveKey(drive).c_str(), "",
                                                settings.c_str());
        if (FDC_HostDisk(drive) && !name.empty() && name == slot.path) {
            SaveToItsFileLocked(drive);
            continue;
        }
        if (!name.empty() && name.size() < PAL_MAX_PATH) PAL_LoadDisk(name.c_str(), drive);
    }
}

bool PAL_SwapDrives() {
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    SaveToItsFileLocked(0);
    SaveToItsFileLocked(1);
    if (!FDC_SwapDrives()) return false;
    std::string formerA = g_slots[0].path;
    PAL_SetDrivePath(0, g_slots[1].path.c_str());
    PAL_SetDrivePath(1, formerA.c_str());
    // Everything but the user's protection goes with the disk.
    std::swap(g_slots[0].savedChange, g_slots[1].savedChange);
    std::swap(g_slots[0].seenChange, g_slots[1].seenChange);
    std::swap(g_slots[0].pendingAtMs, g_slots[1].pendingAtMs);
    std::swap(g_slots[0].failedChange, g_slots[1].failedChange);
    std::swap(g_slots[0].unsaved, g_slots[1].unsaved);
    std::swap(g_slots[0].saveError, g_slots[1].saveError);
    std::swap(g_slots[0].fileReadOnly, g_slots[1].fileReadOnly);
    ApplyProtection(0);
    ApplyProtection(1);
    PAL_RequestStatusRefresh();
    return true;
}

std::string PAL_GetDrivePath(int drive) {
    if (!ValidDrive(drive)) return {};
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    return g_slots[drive].path;
}

std::string PAL_GetDiskLoadError(int drive) {
    if (!ValidDrive(drive)) return {};
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    return g_slots[drive].loadError;
}

void PAL_DriveActivity(bool active) {
    if (g_activity.exchange(active) != active) PAL_RequestStatusRefresh();
}

bool PAL_GetDriveActivity() {
    return g_activity.load();
}

void PAL_FlushDisks(uint32_t nowMs, bool force) {
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    for (int drive = 0; drive < FDC_DRIVE_COUNT; ++drive) {
        Slot& slot = g_slots[drive];
        const FDC_Disk* disk = FDC_HostDisk(drive);
        if (!disk) continue;
        uint32_t change = ChangeCount(disk);
        if (change != slot.seenChange) {
            if (slot.seenChange == slot.savedChange) slot.pendingAtMs = nowMs;
            slot.seenChange = change;
        }
        if (change == slot.savedChange || (slot.unsaved && change == slot.failedChange)) continue;
        // Two seconds after the first change the file lacks, even while changes go on, so a
        // crash loses at most those seconds.
        if (force || nowMs - slot.pendingAtMs >= kSaveDelayMs) SaveToItsFileLocked(drive);
    }
}

bool PAL_DiskHasUnsavedChanges(int drive) {
    if (!ValidDrive(drive)) return false;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    return g_slots[drive].unsaved;
}

std::string PAL_TakeDiskSaveError(int drive) {
    if (!ValidDrive(drive)) return {};
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    std::string told;
    told.swap(g_slots[drive].saveError);
    return told;
}

bool PAL_SaveDiskAs(int drive, const char* path, std::string& error) {
    if (!ValidDrive(drive) || !path || !*path) {
        error = "no file name";
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    if (!FDC_HostDisk(drive)) {
        error = "the drive is empty";
        return false;
    }
    if (!SaveLocked(drive, path, true, error)) return false;
    char resolved[PATH_MAX];
    PAL_SetDrivePath(drive, realpath(path, resolved) ? resolved : path);
    Slot& slot = g_slots[drive];
    slot.unsaved = false;
    slot.saveError.clear();
    slot.fileReadOnly = !MayWrite(slot.path);
    ApplyProtection(drive);
    PAL_RequestStatusRefresh();
    return true;
}

void PAL_SetWriteProtect(int drive, bool on, bool remember) {
    if (!ValidDrive(drive)) return;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    g_slots[drive].userProtect = on;
    ApplyProtection(drive);
    std::string settings = PAL_GetSettingsPath();
    if (remember && !settings.empty())
        PAL_WriteProfileString(PAL_SETTINGS_SECTION, ProtectKey(drive).c_str(), on ? "1" : "0",
                               settings.c_str());
}

bool PAL_GetWriteProtect(int drive) {
    if (!ValidDrive(drive)) return false;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    return g_slots[drive].userProtect;
}

bool PAL_CreateBlankDisk(const char* path, FDC_BlankFormat format, bool replace,
                         std::string& error) {
    if (!path || !*path) {
        error = "no file name";
        return false;
    }
    std::vector<uint8_t> image = FDC_BlankDskBytes(format);
    return PAL_WriteFileAtomically(path, image.data(), image.size(), error, replace);
}
