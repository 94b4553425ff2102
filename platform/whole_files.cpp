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

namespace {

std::string Reason(const char* path, const char* what) {
    return std::string(path) + ": " + what + ": " + std::strerror(errno);
}

bool WriteAll(int fd, const uint8_t* data, size_t size) {
    while (size > 0) {
        ssize_t done = write(fd, data, size);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        data += done;
        size -= static_cast<size_t>(done);
    }
    return true;
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
    std::string temporary = std::string(path) + ".XXXXXX";
    int fd = mkstemp(&temporary[0]);
    if (fd < 0) {
        error = Reason(path, "cannot create a new file beside it");
        return false;
    }
    struct stat original;
    fchmod(fd, stat(path, &original) == 0 ? (original.st_mode & 07777) : 0644);
    bool written = WriteAll(fd, data, size) && fsync(fd) == 0;
    const char* what = "cannot write it";
    if (close(fd) != 0) written = false;
    if (written && std::rename(temporary.c_str(), path) != 0) {
        written = false;
        what = "cannot replace it";
    }
    if (!written) {
        error = Reason(path, what);
        unlink(temporary.c_str());
    }
    return written;
}
