// Opening a disk image file by name: only regular files, never blocking on a named pipe or
// a device, with the real path of what was opened, and a plain account of what is wrong
// with a name that was found but cannot be used.
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/xtools/xtools.h"
#include "platform/drive_slots.h"

namespace {
constexpr const char* kExtension = ".dsk";

bool EndsWithDiskExtension(const std::string& text) {
    size_t dot = text.rfind('.');
    return dot != std::string::npos && strcasecmp(text.c_str() + dot, kExtension) == 0;
}

// What a name found on the disk is, when it is not a file we can read.
std::string WhatIsWrong(const std::string& text, const struct stat& status) {
    if (S_ISDIR(status.st_mode)) return text + " is a folder, not a disk image";
    if (S_ISFIFO(status.st_mode)) return text + " is a named pipe, not a disk image";
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode))
        return text + " is a device, not a disk image";
    return text + " is not a regular file";
}
}  // namespace

std::FILE* PAL_OpenDiskFile(const char* prefix, const char* fileName, std::string& fullPath,
                            std::string* problem) {
    std::string text = std::string(prefix ? prefix : "") + (fileName ? fileName : "");
    if (!EndsWithDiskExtension(text)) text += kExtension;
    std::string ignored;
    std::string& wrong = problem ? *problem : ignored;
    wrong.clear();
    if (text.size() >= PAL_MAX_PATH) {
        XT_Trace("* PAL_OpenDiskFile(): Name of %d characters is too long",
                 static_cast<int>(text.size()));
        return nullptr;
    }
    // The type first: opening a named pipe would wait for a writer.
    struct stat status;
    if (stat(text.c_str(), &status) != 0) {
        int error = errno;
        struct stat link;
        if (lstat(text.c_str(), &link) == 0 && S_ISLNK(link.st_mode))
            wrong = text + " is a symbolic link to a file that does not exist";
        else if (error != ENOENT && error != ENOTDIR)
            wrong = text + " cannot be read (" + std::strerror(error) + ")";
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        wrong = WhatIsWrong(text, status);
        return nullptr;
    }
    // Without blocking, in case the name was replaced by a pipe since.
    int fd = open(text.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        wrong = text + " cannot be read (" + std::strerror(errno) + ")";
        return nullptr;
    }
    char resolved[PATH_MAX];
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        wrong = WhatIsWrong(text, status);
        close(fd);
        return nullptr;
    }
    if (!realpath(text.c_str(), resolved) || std::strlen(resolved) >= PAL_MAX_PATH) {
        close(fd);
        return nullptr;
    }
    std::FILE* file = fdopen(fd, "rb");
    if (!file) {
        close(fd);
        return nullptr;
    }
    fullPath = resolved;
    return file;
}
