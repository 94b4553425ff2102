#pragma once
// Where an installed desktop program keeps its files: the settings under
// $XDG_CONFIG_HOME/brallivane/ and the ROM images under $XDG_DATA_HOME/brallivane/ROM/
// (~/.config and ~/.local/share when unset). A run folder (ROM/ or Brallivane.ini beside
// the folder the program starts in) keeps its own layout.
#include <string>

// True when the parent of the current directory holds ROM/ or Brallivane.ini.
bool PAL_InRunFolder();
// $XDG_CONFIG_HOME/brallivane/Brallivane.ini, or "" when neither it nor HOME is set.
std::string PAL_XdgSettingsPath();
// $XDG_DATA_HOME/brallivane/ROM/, or "" when neither it nor HOME is set.
std::string PAL_XdgRomDirectory();
// The ROM folder of a program given none: ../ROM/ when it exists, else the user's data
// folder when it exists, else ../ROM/ again.
std::string PAL_DefaultRomDirectory();
// Sets the desktop program's ROM folder to the default one. Returns the folders it
// looked in, for the message of a machine that cannot start.
std::string PAL_ChooseRomDirectory();
