// The XDG base directories of an installed program, and the run folder that overrides them.
#include "platform/xdg_folders.h"

#include <cstdlib>
#include <filesystem>

#include "common/host_services.h"
#include "platform/settings_path.h"

namespace fs = std::filesystem;

namespace {
constexpr const char* kRunFolderRoms = "../ROM/";

std::string XdgFolder(const char* variable, const char* underHome) {
    const char* value = std::getenv(variable);
    // XDG folders given as relative paths are ignored, as freedesktop.org asks.
    if (value && value[0] == '/') return std::string(value) + "/brallivane/";
    const char* home = std::getenv("HOME");
    if (!home || !*home) return {};
    return std::string(home) + underHome + "/brallivane/";
}

bool IsDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}
}  // namespace

bool PAL_InRunFolder() {
    std::error_code error;
    return IsDirectory(kRunFolderRoms) ||
           fs::exists("../" + std::string(PAL_SETTINGS_FILE_NAME), error);
}

std::string PAL_XdgSettingsPath() {
    std::string folder = XdgFolder("XDG_CONFIG_HOME", "/.config");
    return folder.empty() ? folder : folder + PAL_SETTINGS_FILE_NAME;
}

std::string PAL_XdgRomDirectory() {
    std::string folder = XdgFolder("XDG_DATA_HOME", "/.local/share");
    return folder.empty() ? folder : folder + "ROM/";
}

std::string PAL_DefaultRomDirectory() {
    std::string user = PAL_XdgRomDirectory();
    bool useUser = !IsDirectory(kRunFolderRoms) && !user.empty() && IsDirectory(user);
    return useUser ? user : kRunFolderRoms;
}

std::string PAL_ChooseRomDirectory() {
    std::string user = PAL_XdgRomDirectory();
    PAL_SetRomDirectory(PAL_DefaultRomDirectory().c_str());
    std::string runFolder = fs::absolute(kRunFolderRoms).lexically_normal().string();
    return user.empty() ? runFolder : runFolder + " and " + user;
}
