// The pacing feedback that the sample ring's fill level drives.
#include <gtest/gtest.h>

#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"

TEST(SpeedCorrection, ClampsAtTheLimitAndThenReportsTheLimit) {
    Emul_AdjustSpeed(PSG_SPEED_RESET);
    for (int i = 0; i < 10; ++i) Emul_AdjustSpeed(+10);
    EXPECT_EQ(g_PsgSound.speedCorrection, 100);
    EXPECT_EQ(g_PsgSound.correctionCount, PSG_CORRECTION_AT_LIMIT);
    EXPECT_EQ(g_PsgSound.correctionSum, 100);
    Emul_AdjustSpeed(+10);
    Emul_AdjustSpeed(0);
    EXPECT_EQ(g_PsgSound.speedCorrection, 95);
    EXPECT_EQ(g_PsgSound.correctionSum, 100) << "the sum stays at the limit until cleared";

    Emul_AdjustSpeed(PSG_SPEED_RESET);
    EXPECT_EQ(g_PsgSound.speedCorrection, 0);
    EXPECT_EQ(g_PsgSound.correctionCount, 0u);
}

TEST(SpeedCorrection, DecaysTowardsZeroAndAverages) {
    Emul_AdjustSpeed(PSG_SPEED_RESET);
    Emul_AdjustSpeed(-7);  // -7
    Emul_AdjustSpeed(0);   // -2
    Emul_AdjustSpeed(0);   // -1
    Emul_AdjustSpeed(0);   // 0
    Emul_AdjustSpeed(0);   // stays 0
    EXPECT_EQ(g_PsgSound.speedCorrection, 0);
    EXPECT_EQ(g_PsgSound.correctionSum, -10);
    EXPECT_EQ(g_PsgSound.correctionCount, 5u);
    Emul_AdjustSpeed(-150);
    EXPECT_EQ(g_PsgSound.speedCorrection, -100);
    EXPECT_EQ(g_PsgSound.correctionSum, -100);
    Emul_AdjustSpeed(PSG_SPEED_RESET);
}
