#pragma once
// Files written whole and atomically: a new file in the same folder, flushed to the disk,
// then renamed over the old one, so a crash leaves the old file or the new one, never a
// mixture. A symbolic link is followed and its target replaced; the link stays a link.
#include <cstddef>
#include <string>

// The file a write to path lands in: path with its symbolic links followed, as far as they
// lead (the last may name a file that does not exist yet).
std::string PAL_WriteTarget(const std::string& path);

// Writes size bytes as the whole content of path (through its links). With replace false an
// existing file is left alone and the write fails. On failure error says why and the file
// is as it was.
bool PAL_WriteFileAtomically(const std::string& path, const void* data, size_t size,
                             std::string& error, bool replace = true);
