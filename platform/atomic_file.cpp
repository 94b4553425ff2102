// Writing a file through a temporary file beside its target and a rename.
#include "platform/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {
constexpr int kMaxLinks = 40;  // as the kernel's own limit on a chain of links

std::string Folder(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string Reason(int error) {
    return std::strerror(error);
}

bool WriteAll(int fd, const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t written = write(fd, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}
}  // namespace

std::string PAL_WriteTarget(const std::string& path) {
    std::string target = path;
    for (int hops = 0; hops < kMaxLinks; ++hops) {
        struct stat status;
        if (lstat(target.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) break;
        char link[4096];
        ssize_t length = readlink(target.c_str(), link, sizeof link - 1);
        if (length <= 0) break;
        std::string next(link, static_cast<size_t>(length));
        target = next[0] == '/' ? next : Folder(target) + "/" + next;
    }
    return target;
}

bool PAL_WriteFileAtomically(const std::string& path, const void* data, size_t size,
                             std::string& error, bool replace) {
    std::string target = PAL_WriteTarget(path);
    struct stat original;
    bool exists = stat(target.c_str(), &original) == 0;
    if (exists && !replace) {
        error = "the file exists already";
        return false;
    }
    std::string temporary = Folder(target) + "/.brallivane-XXXXXX";
    int fd = mkstemp(temporary.data());
    if (fd < 0) {
        error = "cannot write in its folder (" + Reason(errno) + ")";
        return false;
    }
    // The new file gets the old one's permissions, or those a new file gets here.
    mode_t mode = 0;
    if (exists) {
        mode = original.st_mode & 07777;
    } else {
        mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    bool written = fchmod(fd, mode) == 0 && WriteAll(fd, data, size) && fsync(fd) == 0;
    int writeError = errno;
    if (close(fd) != 0 && written) {
        written = false;
        writeError = errno;
    }
    if (written) {
        // link() refuses to replace a file that appeared meanwhile; rename replaces.
        int placed = replace ? std::rename(temporary.c_str(), target.c_str())
                             : link(temporary.c_str(), target.c_str());
        if (placed == 0) {
            if (!replace) unlink(temporary.c_str());
            return true;
        }
        writeError = errno;
    }
    unlink(temporary.c_str());
    error = writeError == EEXIST ? "the file exists already" : Reason(writeError);
    return false;
}
