// The monitor's place: beside the main window, else left of it, else below, else over it.
#include "desktop/window_placement.h"

#include <gtest/gtest.h>

namespace {

struct Placement {
    PlaceRect screen, main;
    int x, y;  // where a 600 x 660 monitor goes
};

const Placement kPlacements[] = {
    {{0, 0, 1280, 1024}, {0, 0, 600, 500}, 600, 0},       // right
    {{0, 0, 1280, 1024}, {680, 500, 576, 300}, 80, 364},  // left, kept on the screen
    {{0, 0, 1280, 1024}, {0, 0, 1000, 300}, 0, 300},      // below
    {{0, 0, 1280, 1024}, {0, 0, 1536, 1100}, 680, 364},   // zoom 2: over, bottom right
    {{0, 0, 800, 600}, {0, 0, 300, 200}, 200, 0},         // a screen too low for it
};

TEST(WindowPlacement, MonitorGoesWhereItFits) {
    for (const Placement& p : kPlacements) {
        int x = -1, y = -1;
        Place_Monitor(p.screen, p.main, 600, 660, &x, &y);
        EXPECT_EQ(x, p.x) << "main at " << p.main.x << "," << p.main.y;
        EXPECT_EQ(y, p.y) << "main at " << p.main.x << "," << p.main.y;
    }
}

}  // namespace
