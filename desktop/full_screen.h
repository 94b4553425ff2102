#pragma once
// Full screen (F12, in the System menu): the picture alone with black bars, no menu bar
// and no status line. Only F12 leaves it, so that Esc stays a CPC key. The FullScreen
// setting remembers it; Smooth=0 scales with nearest pixels only.
class QMainWindow;
class ScreenWidget;

void FullScreen_Install(QMainWindow* window, ScreenWidget* screen);
