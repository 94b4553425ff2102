// The process's settings path.
#include "platform/settings_path.h"

#include <unistd.h>

#include <climits>
#include <filesystem>
#include <mutex>

#include "platform/xdg_folders.h"

namespace {
std::mutex g_pathMutex;
std::string g_settingsPath;
}  // namespace

std::string PAL_DefaultSettingsPath() {
    char directory[PATH_MAX];
    if (!getcwd(directory, sizeof directory)) return {};
    std::string path = directory;
    // Cut after the last separator: the parent, or the root itself.
    path.erase(path.find_last_of('/') + 1);
    return path + PAL_SETTINGS_FILE_NAME;
}

void PAL_InitSettingsPath() {
    std::string path = PAL_InRunFolder() ? PAL_DefaultSettingsPath() : PAL_XdgSettingsPath();
    if (path.empty()) path = PAL_DefaultSettingsPath();
    std::error_code error;  // a folder that cannot be made leaves the writes to fail quietly
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    PAL_SetSettingsPath(path.c_str());
}

void PAL_SetSettingsPath(const char* path) {
    std::lock_guard<std::mutex> lock(g_pathMutex);
    g_settingsPath = path ? path : "";
}

std::string PAL_GetSettingsPath() {
    std::lock_guard<std::mutex> lock(g_pathMutex);
    return g_settingsPath;
}
