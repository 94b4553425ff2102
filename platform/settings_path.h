#pragma once
// Where the settings file is. The desktop program builds the path once at start, from the
// directory current then, so that later changes of the current directory (the open-file
// dialog) do not move it; the headless runner names a file or uses none.
#include <string>

constexpr const char* PAL_SETTINGS_SECTION = "Settings";
constexpr const char* PAL_SETTINGS_FILE_NAME = "Brallivane.ini";

// "Brallivane.ini" in the parent of the current directory ("/Brallivane.ini" when the
// current directory is the root). Empty when the current directory cannot be read.
std::string PAL_DefaultSettingsPath();
// Sets the process's settings path: PAL_DefaultSettingsPath() in a run folder, else the
// user's configuration folder (made when missing); call once at start.
void PAL_InitSettingsPath();
// The settings file every reader and writer of settings uses; empty (the start value)
// means none: reads give the defaults and writes do nothing.
void PAL_SetSettingsPath(const char* path);
std::string PAL_GetSettingsPath();
