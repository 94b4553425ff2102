// Drive slots: find an image file, load it into a disk model, hand the model to the
// controller, and remember the file in the settings.
//
// An eject forgets the drive's path as well as its settings key, so that the status line
// never shows a disk that has gone and a later swap cannot write an ejected disk's path
// into the other drive's key. Inserting, ejecting and swapping may come from any thread
// while the controller transfers data: the controller finishes the transfer on the disk it
// started with and takes the new one over before its next command (see fdc_handover.cpp).
#include "platform/drive_slots.h"

#include <strings.h>
#include <sys/stat.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"

namespace {
const char* const kSearchPrefixes[] = {"", "../Files/", "../Test/"};
constexpr const char* kExtension = ".dsk";

struct Slot {
    std::string path;
    std::string loadError;
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

bool EndsWithDiskExtension(const std::string& text) {
    size_t dot = text.rfind('.');
    return dot != std::string::npos && strcasecmp(text.c_str() + dot, kExtension) == 0;
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
    FDC_InsertDisk(drive, disk);
    return true;
}
}  // namespace

std::FILE* PAL_OpenDiskFile(const char* prefix, const char* fileName, std::string& fullPath) {
    std::string text = std::string(prefix ? prefix : "") + (fileName ? fileName : "");
    if (!EndsWithDiskExtension(text)) text += kExtension;
    if (text.size() >= PAL_MAX_PATH) {
        XT_Trace("* PAL_OpenDiskFile(): Name of %d characters is too long",
                 static_cast<int>(text.size()));
        return nullptr;
    }
    std::FILE* file = std::fopen(text.c_str(), "rb");
    if (!file) return nullptr;
    struct stat status;
    std::error_code failed;
    std::filesystem::path absolute = std::filesystem::absolute(text, failed).lexically_normal();
    fullPath = absolute.string();
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode) || failed ||
        fullPath.size() >= PAL_MAX_PATH) {
        std::fclose(file);
        return nullptr;
    }
    return file;
}

bool PAL_LoadDisk(const char* fileName, int drive) {
    if (!ValidDrive(drive) || !fileName) return false;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    PAL_UnloadDisk(drive, false);

    std::string fullPath;
    std::FILE* file = nullptr;
    for (const char* prefix : kSearchPrefixes) {
        file = PAL_OpenDiskFile(prefix, fileName, fullPath);
        if (file) break;
    }
    std::string error;
    bool loaded = false;
    if (!file) {
        XT_Trace("PAL_LoadDisk(): Can't open file [%s]", fileName);
        std::string tried = fileName;
        if (!EndsWithDiskExtension(tried)) tried += kExtension;
        error = "no file " + tried + " here, under ../Files/ or under ../Test/";
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
    XT_Trace("Successfully loaded disk: %s", fileName);
    return true;
}

void PAL_UnloadDisk(int drive, bool forget) {
    if (!ValidDrive(drive)) return;
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    if (!FDC_HostDisk(drive)) return;
    FDC_InsertDisk(drive, nullptr);
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

void PAL_LoadDrivesFromSettings() {
    std::string settings = PAL_GetSettingsPath();
    if (settings.empty()) return;
    for (int drive = 0; drive < FDC_DRIVE_COUNT; ++drive) {
        std::string name = PAL_GetProfileString(PAL_SETTINGS_SECTION, DriveKey(drive).c_str(), "",
                                                settings.c_str());
        if (!name.empty() && name.size() < PAL_MAX_PATH) PAL_LoadDisk(name.c_str(), drive);
    }
}

bool PAL_SwapDrives() {
    std::lock_guard<std::recursive_mutex> lock(g_slotsMutex);
    if (!FDC_SwapDrives()) return false;
    std::string formerA = g_slots[0].path;
    PAL_SetDrivePath(0, g_slots[1].path.c_str());
    PAL_SetDrivePath(1, formerA.c_str());
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
