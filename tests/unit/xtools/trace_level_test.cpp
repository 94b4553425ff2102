// What the monitor's TR command shows: the new level, which may go below 0. Loading and
// tracing by level are checked in trace_library_test.cpp.
#include <gtest/gtest.h>

#include "common/xtools/xtools.h"

TEST(TraceLevel, AdjustReturnsTheNewLevelWithoutClamp) {
    const int32_t saved = g_TraceLevel.exchange(1);
    EXPECT_EQ(XT_AdjustTraceLevel(0), 0);
    EXPECT_EQ(XT_AdjustTraceLevel(0), -1);
    EXPECT_EQ(XT_AdjustTraceLevel(7), 0) << "any nonzero flag is a switch-on";
    EXPECT_EQ(XT_AdjustTraceLevel(1), 1);
    g_TraceLevel.store(saved);
}
