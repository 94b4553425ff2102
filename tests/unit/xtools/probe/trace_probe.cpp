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
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "common/host_services.h"
#include "common/xtools/xtools.h"

namespace {
void TraceRecords(int count) {
    for (int i = 1; i <= count; ++i)
        XT_Trace("trace_probe(): record %d of %d, &BEEF = %04XH", i, count, 0xBEEF);
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string command = argv[i];
        const int left = argc - 1 - i;
        if (command == "on" || command == "off") {
            XT_AdjustTraceLevel(command == "on");
        } else if (command == "trace" && left >= 1) {
            TraceRecords(std::atoi(argv[++i]));
        } else if (command == "threads" && left >= 2) {
            const int count = std::atoi(argv[i + 2]);
            std::atomic<int> waiting{std::atoi(argv[i + 1])};
            std::vector<std::thread> threads(static_cast<size_t>(waiting.load()));
            for (std::thread& thread : threads) {
                thread = std::thread([&] {
                    // Line every thread up so that several make their first call together.
                    waiting.fetch_sub(1);
                    while (waiting.load() > 0) std::this_thread::yield();
                    TraceRecords(count);
                });
            }
            for (std::thread& thread : threads) thread.join();
            i += 2;
        } else if (command == "assert") {
            std::printf("assert at %s:%d\n", __FILE__, __LINE__ + 1);
            XT_NOT_IMPLEMENTED();
            std::printf("continued after assert\n");
        } else if (command == "provide" && left >= 2) {
            std::error_code error;
            std::filesystem::create_symlink(argv[i + 1], argv[i + 2], error);
            if (error) return 1;
            i += 2;
        } else if (command == "findable") {
            std::printf("findable %s\n", PAL_OpenTraceLibrary("Zindrel") ? "yes" : "no");
        } else {
            std::fprintf(stderr, "trace_probe: unknown or incomplete command %s\n", argv[i]);
            return 1;
        }
    }
    std::printf("level %d\n", static_cast<int>(g_TraceLevel.load()));
    return 0;
}
