// The trace call forwards each record, unformatted, to the trace-output library, which
// is loaded on the first record and never unloaded. Without the library, tracing is a
// no-op for the rest of the run.
#include "common/xtools/xtools.h"

#include <cstdarg>
#include <cstdio>

#include "common/host_services.h"
#include "common/xtools/trace_library_api.h"

std::atomic<int32_t> g_TraceLevel{1};

namespace {
constexpr const char* kTraceLibraryName = "Zindrel";

// Set once, just before the one and only load attempt, so that a failed load is never
// retried and a second first-time caller does not load the library again.
std::atomic<uint8_t> g_loadAttempted{0};

// The library's handle and entry points, written only by the thread that loads it.
void* g_library = nullptr;
XT_TracerInitOutputPort g_initOutputPort = nullptr;
XT_TracerOutputT g_outputT = nullptr;
XT_TracerOutputVT g_outputVT = nullptr;

// Published last: once another thread sees it, everything above is in place.
std::atomic<XT_TracerOutputVTL> g_outputVTL{nullptr};

// Loads the library, looks up its four entry points and opens its output. Returns the
// record entry point, or none when the library is missing or lacks an entry point we call.
XT_TracerOutputVTL LoadTraceLibrary() {
    void* library = PAL_OpenTraceLibrary(kTraceLibraryName);
    if (!library) return nullptr;
    g_library = library;
    g_initOutputPort = reinterpret_cast<XT_TracerInitOutputPort>(
        PAL_FindTraceEntry(library, XT_TRACER_INIT_OUTPUTPORT));
    g_outputT = reinterpret_cast<XT_TracerOutputT>(PAL_FindTraceEntry(library, XT_TRACER_OUTPUT_T));
    g_outputVT =
        reinterpret_cast<XT_TracerOutputVT>(PAL_FindTraceEntry(library, XT_TRACER_OUTPUT_VT));
    auto outputVTL =
        reinterpret_cast<XT_TracerOutputVTL>(PAL_FindTraceEntry(library, XT_TRACER_OUTPUT_VTL));
    if (!g_initOutputPort || !outputVTL) return nullptr;

    char hostName[256];
    PAL_GetLocalHostName(hostName, sizeof hostName);
    g_initOutputPort(PAL_ProgramModuleHandle(), "tcp", hostName);
    return outputVTL;
}
}  // namespace

void XT_Trace(const char* format, ...) {
    if (g_TraceLevel.load(std::memory_order_relaxed) < 1 || !format) return;

    XT_TracerOutputVTL output = g_outputVTL.load(std::memory_order_acquire);
    if (!output) {
        // Whoever sets the flag first loads; everyone else drops the record, both while
        // that load runs and for good after it failed.
        if (g_loadAttempted.exchange(1, std::memory_order_acq_rel) != 0) return;
        output = LoadTraceLibrary();
        if (!output) return;
        g_outputVTL.store(output, std::memory_order_release);
    }

    va_list arguments;
    va_start(arguments, format);
    output(0, format, &arguments);
    va_end(arguments);
}

int32_t XT_AdjustTraceLevel(uint8_t up) {
    int32_t step = up ? 1 : -1;
    return g_TraceLevel.fetch_add(step, std::memory_order_relaxed) + step;
}

int XT_Sprintf(char* buffer, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = std::vsprintf(buffer, format, arguments);
    va_end(arguments);
    return length;
}

void XT_AssertFailed(const char* file, int line, const char* condition, const char* message) {
    XT_Trace("ASSERT FAILED: (%s:%d) \"%s\" not verified (%s)", file, line, condition, message);
    // Without a debugger a trap would end the process; the record above is all we give.
    if (PAL_DebuggerAttached()) PAL_DebugBreak();
}
