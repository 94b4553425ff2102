#pragma once
// Where the monitor window goes on the screen, beside the main window if it fits.

struct PlaceRect {
    int x, y, width, height;
};

// The top-left corner for the monitor (its frame of the given size): right of the main
// window, else left of it, else below it, else over it; always kept on the screen where
// the screen is large enough.
void Place_Monitor(const PlaceRect& screen, const PlaceRect& mainWindow, int width, int height,
                   int* x, int* y);
