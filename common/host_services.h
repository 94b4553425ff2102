#pragma once
// Host services the emulated machine relies on. The core only declares them; the
// platform layer (platform/) defines them on POSIX and the standard library, and a
// front end may register the few that differ (the repaint request).
#include <cstddef>
#include <cstdint>
#include <string>

// ROM images: loads the lower ROM, BASIC, the credit ROM and (bit 7 of type) AMSDOS
// into the machine record. Returns false and holds nothing on any failure.
bool PAL_LoadRoms(uint8_t type);
// Frees every ROM image the machine holds; safe to call twice.
void PAL_FreeRoms();

// Folder the ROM files are read from; "../ROM/" unless a front end says otherwise. A
// folder given without a trailing separator gets one; null or empty restores the default.
// The text returned stays valid until the next PAL_SetRomDirectory.
void PAL_SetRomDirectory(const char* directory);
const char* PAL_GetRomDirectory();

// Trace library access, used once by the trace call. fileName is the library's plain
// name ("Zindrel"), which the host turns into its own file name (libZindrel.so) and finds
// by its normal library search; a name with a dot or a slash is used as given.
void* PAL_OpenTraceLibrary(const char* fileName);
void* PAL_FindTraceEntry(void* library, const char* entryName);
void* PAL_ProgramModuleHandle();
void PAL_GetLocalHostName(char* buffer, size_t size);

// True while a debugger is attached to this process.
bool PAL_DebuggerAttached();
// Stops in the attached debugger; the caller checks PAL_DebuggerAttached first.
void PAL_DebugBreak();

// Milliseconds since an arbitrary start; only differences are meaningful.
uint32_t PAL_GetTickCount();

// Asks the host to repaint the emulated screen. Safe to call from the emulation
// thread; does nothing until a front end installs a handler.
using PAL_RepaintHandler = void (*)();
void PAL_SetRepaintHandler(PAL_RepaintHandler handler);
void PAL_RequestRepaint();

// Waiting and the high-resolution clock, for the emulation thread and its pacing.
// PAL_Yield gives the rest of this time slice to other threads; a sleep of 0 yields.
void PAL_Yield();
void PAL_SleepMicroseconds(uint32_t microseconds);
// Ticks per second of PAL_QueryPerformanceCounter; false when the host has no such clock.
bool PAL_QueryPerformanceFrequency(uint64_t* frequency);
uint64_t PAL_QueryPerformanceCounter();

// Manual-reset events shared by the host and the emulation thread. The host creates
// and waits on them (platform/event.h); the emulation thread only sets them.
struct PAL_Event;
void PAL_SetEvent(PAL_Event* event);

// Drive slots: disk image files in drives A (0) and B (1). A name is looked for as given,
// then under "../Files/" and "../Test/", with ".dsk" added unless it ends in ".dsk"; the
// full path of a loaded image is remembered in the settings file (keys DriveA, DriveB).
// Callable from any thread; the controller takes a new disk over between commands.
//
// True when the disk is in the drive. A failure leaves the drive empty, its path empty and
// its settings key as it was.
bool PAL_LoadDisk(const char* fileName, int drive);
// Takes the disk out. forget also empties the drive's path and its settings key (an eject);
// without it both stay, so that the next start loads the disk again.
void PAL_UnloadDisk(int drive, bool forget);
// The Disk menu's eject: unload and forget.
void PAL_EjectDisk(int drive);
// Program end, once no machine runs: both drives unloaded, settings kept.
void PAL_EjectAll();
// Writes the path to the drive's settings key and makes it the drive's path.
void PAL_SetDrivePath(int drive, const char* path);
// Machine start: loads the disks the settings name.
void PAL_LoadDrivesFromSettings();
// The host's swap command: exchanges the disks and the paths of the two drives. False,
// and nothing changes, while the controller is busy.
bool PAL_SwapDrives();
// Full path of the image in the drive, empty for none (the status line shows it).
std::string PAL_GetDrivePath(int drive);
// Why the last load into the drive failed, empty after a success.
std::string PAL_GetDiskLoadError(int drive);

// Controller activity: called by the controller at every phase change, true while it
// transfers data; a change asks the status line to redraw.
void PAL_DriveActivity(bool active);
bool PAL_GetDriveActivity();

// Whole files, for snapshots. A read refuses files above limit bytes; a write puts a new
// file beside the old one, flushes it and renames it over, so a failure at any moment
// leaves the old file or the new one. Messages name the file and the reason.
bool PAL_ReadWholeFile(const char* path, size_t limit, std::string& bytes, std::string& error);
bool PAL_WriteFileAtomically(const char* path, const uint8_t* data, size_t size,
                             std::string& error);
