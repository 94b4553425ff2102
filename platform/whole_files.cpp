// Whole files read at once and written atomically: a new file in the same folder, flushed
// to the disk, then renamed over the old one.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/host_services.h"
#include "platform/atomic_file.h"

namespace {

std::string Reason(const char* path, const char* what) {
    return std::string(path) + ": " + what + ": " + std::strerror(errno);
}

}  // namespace

bool PAL_ReadWholeFile(const char* path, size_t limit, std::string& bytes, std::string& error) {
    std::FILE* file = std::fopen(path, "rb");
    if (!file) {
        error = Reason(path, "cannot open it");
        return false;
    }
    bytes.clear();
    char buffer[65536];
    size_t count = 0;
    bool tooBig = false;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        if (bytes.size() + count > limit) {
            tooBig = true;
            break;
        }
        bytes.append(buffer, count);
    }
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (tooBig) {
        error = std::string(path) + ": too big: more than " + std::to_string(limit) + " bytes";
        return false;
    }
    if (failed) {
        error = Reason(path, "cannot read it");
        return false;
    }
    return true;
}

bool PAL_WriteFileAtomically(const char* path, const uint8_t* data, size_t size,
                             std::string& error) {
    std::string why;
    if (PAL_WriteFileAtomically(std::string(path), data, size, why)) return true;
    error = std::string(path) + ": cannot write it: " + why;
    return false;
}
