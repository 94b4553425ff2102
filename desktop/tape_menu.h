#pragma once
// The Tape menu: insert and eject, the deck's PLAY key, rewind, recording to a new file,
// fast loading, and the block list with the block at the tape's position marked. The tape
// and its position are kept in the settings.
class QMainWindow;

// Adds the menu before the Help menu and puts back the tape the settings name.
void TapeMenu_Install(QMainWindow* window);
