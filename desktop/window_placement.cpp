// The monitor's place beside the main window.
#include "desktop/window_placement.h"

#include <algorithm>

namespace {

int Clamp(int at, int size, int start, int room) {
    return std::max(start, std::min(at, start + room - size));
}

}  // namespace

void Place_Monitor(const PlaceRect& screen, const PlaceRect& main, int width, int height, int* x,
                   int* y) {
    int screenRight = screen.x + screen.width;
    int screenBottom = screen.y + screen.height;
    bool fitsHigh = height <= screen.height;
    if (main.x + main.width + width <= screenRight && fitsHigh) {
        *x = main.x + main.width;
        *y = Clamp(main.y, height, screen.y, screen.height);
    } else if (main.x - width >= screen.x && fitsHigh) {
        *x = main.x - width;
        *y = Clamp(main.y, height, screen.y, screen.height);
    } else if (main.y + main.height + height <= screenBottom && width <= screen.width) {
        *x = Clamp(main.x, width, screen.x, screen.width);
        *y = main.y + main.height;
    } else {
        // Over the main window, at the screen's bottom right, where the picture's status
        // line and the right edge stay the least covered.
        *x = std::max(screen.x, screenRight - width);
        *y = std::max(screen.y, screenBottom - height);
    }
}
