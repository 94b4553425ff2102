// Files the monitor reads by name (scripts and program files): as named, then in the
// ../Files/ and ../Test/ folders beside the current one.
#include <filesystem>
#include <string>

#include "common/monitor/monitor_internal.h"

namespace {
constexpr const char* kSearchFolders[] = {"", "../Files/", "../Test/"};
}

std::FILE* Dbg_OpenSearched(const char* name, const char* mode) {
    for (const char* folder : kSearchFolders) {
        std::string path = std::string(folder) + name;
        // A folder opens like a file on some hosts but holds nothing to read.
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) continue;
        if (std::FILE* file = std::fopen(path.c_str(), mode)) return file;
    }
    return nullptr;
}

uint8_t Dbg_StartScript(const char* name, uint8_t report) {
    if (g_Monitor.script) {
        Dbg_Message("Script already in progress");
        return DBG_NONE;
    }
    std::FILE* file = Dbg_OpenSearched(name, "r");
    if (!file) {
        if (report) Dbg_Message("Script not found");
        return DBG_SYNTAX_ERROR;
    }
    g_Monitor.script = file;
    return DBG_NONE;
}
