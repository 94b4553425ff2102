// PENDING: ROM files and the trace library loader replace the parts marked below.
#include "common/host_services.h"
#include <atomic>
#include <chrono>
bool PAL_LoadRoms(uint8_t) { return false; }
void PAL_FreeRoms() {}
void PAL_SetRomDirectory(const char*) {}
const char* PAL_GetRomDirectory() { return "../ROM/"; }
void* PAL_OpenTraceLibrary(const char*) { return nullptr; }
void* PAL_FindTraceEntry(void*, const char*) { return nullptr; }
void* PAL_ProgramModuleHandle() { return nullptr; }
void PAL_GetLocalHostName(char* buffer, size_t size) { if (size) buffer[0] = 0; }
