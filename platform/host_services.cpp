// Host services of the trace facility: loading the trace library, naming this program
// and this host, and stopping in a debugger when one watches the process.
#include "common/host_services.h"

#include <dlfcn.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

void* PAL_OpenTraceLibrary(const char* fileName) {
    if (!fileName || !*fileName) return nullptr;
    std::string path = fileName;
    if (path.find_first_of("./") == std::string::npos) path = "lib" + path + ".so";
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* PAL_FindTraceEntry(void* library, const char* entryName) {
    if (!library || !entryName) return nullptr;
    return dlsym(library, entryName);
}

void* PAL_ProgramModuleHandle() {
    // The main program is always loaded, so this never really opens anything.
    return dlopen(nullptr, RTLD_LAZY);
}

void PAL_GetLocalHostName(char* buffer, size_t size) {
    if (!buffer || size == 0) return;
    if (gethostname(buffer, size) != 0) buffer[0] = '\0';
    buffer[size - 1] = '\0';  // a truncated name need not be terminated
}

bool PAL_DebuggerAttached() {
    // Linux names the tracing process in /proc/self/status; 0 means nobody traces us.
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (!status) return false;
    char line[256];
    long tracer = 0;
    while (std::fgets(line, sizeof line, status)) {
        if (std::strncmp(line, "TracerPid:", 10) == 0) {
            tracer = std::strtol(line + 10, nullptr, 10);
            break;
        }
    }
    std::fclose(status);
    return tracer != 0;
}

void PAL_DebugBreak() {
    std::raise(SIGTRAP);
}
