#pragma once
// Drive slots (declared for the machine in common/host_services.h): the pieces the
// desktop, the runner and the tests reach beyond those.
#include <climits>
#include <cstdio>
#include <string>

// Longest path of this host, terminating zero included. Names that would need more are
// not opened, and no drive path or settings value is longer.
constexpr size_t PAL_MAX_PATH = PATH_MAX;

// Opens prefix + fileName for binary reading, with ".dsk" appended unless the text already
// ends in ".dsk" (any case). On success fullPath is the file's absolute path. None when the
// text is too long, names no regular file or cannot be opened.
std::FILE* PAL_OpenDiskFile(const char* prefix, const char* fileName, std::string& fullPath);
