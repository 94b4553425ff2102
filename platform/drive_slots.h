#pragma once
// Drive slots (declared for the machine in common/host_services.h): the pieces the
// desktop, the runner and the tests reach beyond those.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>

#include "common/disk/dsk.h"

// Longest path of this host, terminating zero included. Names that would need more are
// not opened, and no drive path or settings value is longer.
constexpr size_t PAL_MAX_PATH = PATH_MAX;

// Opens prefix + fileName for binary reading, with ".dsk" appended unless the text already
// ends in ".dsk" (any case). On success fullPath is the file's real path (links and ".."
// resolved). None when the text is too long, names nothing, or names something that is not
// a readable regular file; in that last case problem says what is wrong with it. Never
// waits on a named pipe or a device.
std::FILE* PAL_OpenDiskFile(const char* prefix, const char* fileName, std::string& fullPath,
                            std::string* problem = nullptr);

// Writing disks back. A changed disk is written to its file when it leaves its drive (eject,
// swap, a new disk, program end), when the machine restarts, and by PAL_FlushDisks two
// seconds (host time) after a change, however many follow. A file that cannot be written keeps the
// disk in its drive, changes and all: the drive is marked unsaved and the reason is told once.
//
// Writes every changed disk whose oldest unwritten change is at least two seconds old (all
// of them with force), as seen at host time nowMs.
void PAL_FlushDisks(uint32_t nowMs, bool force);
// Starts and stops a thread that calls PAL_FlushDisks every quarter second.
void PAL_StartDiskWriter();
void PAL_StopDiskWriter();
// The drive holds changes its file does not have.
bool PAL_DiskHasUnsavedChanges(int drive);
// Why the last write of the drive's disk failed, naming the file: once, empty afterwards
// and while there is nothing new to tell.
std::string PAL_TakeDiskSaveError(int drive);
// Writes the drive's disk to path and makes it the drive's file. False with error.
bool PAL_SaveDiskAs(int drive, const char* path, std::string& error);

// Write protection the user chose for a drive (settings keys WriteProtectA and
// WriteProtectB; remember writes the key). A disk whose file the user may not write is
// protected whatever the choice.
void PAL_SetWriteProtect(int drive, bool on, bool remember);
bool PAL_GetWriteProtect(int drive);

// Writes a blank formatted disk to path; replace false refuses an existing file.
bool PAL_CreateBlankDisk(const char* path, FDC_BlankFormat format, bool replace,
                         std::string& error);
