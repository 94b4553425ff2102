// Runs trace calls as its arguments say, so the trace tests can watch, from outside,
// what a fresh process does with the trace library. Commands, in order:
//   on | off              raise or lower the trace level
//   trace N               trace N records "trace_probe(): record I of N, &BEEF = BEEFH"
//   threads T N           T threads start together and trace N records each
//   assert                a failing assertion (XT_NOT_IMPLEMENTED); prints where it is
//   provide FROM TO       makes the library FROM appear as TO (a symbolic link)
//   findable              prints whether the trace library could be loaded now
// Prints "level L" at the end.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "common/host_services.h"
#include "common/xtools/xtools.h"

namespace {
void TraceRecords(int count) {
    for (int i = 1; i <= count; ++i)
        XT_Trace("trace_probe(): record %d of %d, &BEEF = %04XH", i, count, 0xBEEF);
}

void TraceFromThreads(int threadCount, int count) {
    std::atomic<int> waiting{threadCount};
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&] {
            // Line every thread up so that several make their first call together.
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            TraceRecords(count);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

int Usage() {
    std::fprintf(stderr, "trace_probe: unknown or incomplete command\n");
    return 1;
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* command = argv[i];
        if (std::strcmp(command, "on") == 0) {
            XT_AdjustTraceLevel(1);
        } else if (std::strcmp(command, "off") == 0) {
            XT_AdjustTraceLevel(0);
        } else if (std::strcmp(command, "trace") == 0 && i + 1 < argc) {
            TraceRecords(std::atoi(argv[++i]));
        } else if (std::strcmp(command, "threads") == 0 && i + 2 < argc) {
            int threadCount = std::atoi(argv[++i]);
            TraceFromThreads(threadCount, std::atoi(argv[++i]));
        } else if (std::strcmp(command, "assert") == 0) {
            std::printf("assert at %s:%d\n", __FILE__, __LINE__ + 1);
            XT_NOT_IMPLEMENTED();
            std::printf("continued after assert\n");
        } else if (std::strcmp(command, "provide") == 0 && i + 2 < argc) {
            std::error_code error;
            std::filesystem::create_symlink(argv[i + 1], argv[i + 2], error);
            i += 2;
            if (error) return Usage();
        } else if (std::strcmp(command, "findable") == 0) {
            std::printf("findable %s\n", PAL_OpenTraceLibrary("Zindrel") ? "yes" : "no");
        } else {
            return Usage();
        }
    }
    std::printf("level %d\n", static_cast<int>(g_TraceLevel.load()));
    return 0;
}
