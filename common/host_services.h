#pragma once
// Host services the emulated machine relies on. The core only declares them; the
// platform layer (platform/) defines them on POSIX and the standard library, and a
// front end may register the few that differ (the repaint request).
#include <cstddef>
#include <cstdint>

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

// Drive slots: load a disk image file into drive 0 (A) or 1 (B), or empty a drive.
bool PAL_LoadDisk(const char* fileName, int drive);
void PAL_EjectDisk(int drive);
