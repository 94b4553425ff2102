// A trace library with only the output-port entry point. If the program ever called it,
// the log named by ZINDREL_LOG would appear, which the tests look for.
#include <cstdio>
#include <cstdlib>

extern "C" int tracer_init_outputport(void*, const char*, const char*) {
    const char* path = std::getenv("ZINDREL_LOG");
    if (!path) return -1;
    std::FILE* log = std::fopen(path, "a");
    if (!log) return -1;
    std::fputs("incomplete library opened\n", log);
    std::fclose(log);
    return 0;
}
