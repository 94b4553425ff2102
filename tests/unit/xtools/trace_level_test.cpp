// The trace level counter, in this process; what reaches the trace library is checked
// in trace_library_test.cpp, and XT_Sprintf through the PSG's mixer trace.
#include <gtest/gtest.h>

#include "common/xtools/xtools.h"

TEST(TraceLevel, IsACounterWithoutClampAndABareTrLeavesIt) {
    const int32_t saved = g_TraceLevel.exchange(1);
    // The monitor's TR ON and TR OFF; a bare TR is one up then one down.
    const auto on = [] { return XT_AdjustTraceLevel(1); };
    const auto off = [] { return XT_AdjustTraceLevel(0); };
    EXPECT_EQ(off(), 0);
    EXPECT_EQ(off(), -1);
    EXPECT_EQ(on(), 0) << "one ON after two OFFs is not enough to trace again";
    EXPECT_EQ(on(), 1);
    EXPECT_EQ(on(), 2);
    EXPECT_EQ(off(), 1) << "two ONs need two OFFs";
    on();
    EXPECT_EQ(off(), 1);
    g_TraceLevel.store(-3);
    on();
    EXPECT_EQ(off(), -3);
    g_TraceLevel.store(saved);
}
