// Zindrel, the trace-output library: writes every record as one line of a log file.
// The file is named by ZINDREL_LOG, else "Zindrel.log" in the current directory, and is
// opened for appending when the program opens the output port. Records may come from
// several threads at once; a mutex keeps their lines whole.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "common/xtools/trace_library_api.h"

#define ZINDREL_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
std::mutex g_mutex;
std::FILE* g_log = nullptr;

const char* LogPath() {
    const char* path = std::getenv("ZINDREL_LOG");
    return (path && *path) ? path : "Zindrel.log";
}

// Writes one record under the lock; the caller holds nothing.
template <typename WriteText>
int WriteRecord(WriteText writeText) {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_log) return -1;
    int length = writeText(g_log);
    std::fputc('\n', g_log);
    std::fflush(g_log);
    return length;
}

struct LogCloser {
    ~LogCloser() {
        std::lock_guard<std::mutex> lock(g_mutex);
        if (g_log) std::fclose(g_log);
        g_log = nullptr;
    }
} g_closer;
}  // namespace

ZINDREL_EXPORT int tracer_init_outputport(void* module, const char* protocol, const char* host) {
    std::lock_guard<std::mutex> lock(g_mutex);
    // Every call leaves its line, so a program that opens the port twice shows it.
    if (!g_log) g_log = std::fopen(LogPath(), "a");
    if (!g_log) return -1;
    std::fprintf(g_log, "== Zindrel: output port %s on %s, module %p ==\n",
                 protocol ? protocol : "?", host ? host : "?", module);
    std::fflush(g_log);
    return 0;
}

ZINDREL_EXPORT int tracer_output_T(int, const char* text) {
    if (!text) return -1;
    return WriteRecord([text](std::FILE* log) { return std::fputs(text, log); });
}

ZINDREL_EXPORT int tracer_output_VTL(int, const char* format, va_list* arguments) {
    if (!format || !arguments) return -1;
    return WriteRecord(
        [format, arguments](std::FILE* log) { return std::vfprintf(log, format, *arguments); });
}

ZINDREL_EXPORT int tracer_output_VT(int channel, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = tracer_output_VTL(channel, format, &arguments);
    va_end(arguments);
    return length;
}

// The entry points must keep the types the program looks them up as.
namespace {
[[maybe_unused]] constexpr XT_TracerInitOutputPort kInitType = &tracer_init_outputport;
[[maybe_unused]] constexpr XT_TracerOutputT kOutputTType = &tracer_output_T;
[[maybe_unused]] constexpr XT_TracerOutputVT kOutputVTType = &tracer_output_VT;
[[maybe_unused]] constexpr XT_TracerOutputVTL kOutputVTLType = &tracer_output_VTL;
}  // namespace
