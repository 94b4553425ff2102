// The trace level counter, the formatting helper and the assertion, in this process.
// This program lives outside bin/, so the trace library is absent here and every trace
// below is dropped; what reaches the library is checked in trace_library_test.cpp.
#include <gtest/gtest.h>

#include <cstring>

#include "common/xtools/xtools.h"

namespace {
// Each test starts from and returns to the initial level.
class TraceLevel : public ::testing::Test {
   protected:
    void SetUp() override { saved_ = g_TraceLevel.exchange(1); }
    void TearDown() override { g_TraceLevel.store(saved_); }
    int32_t saved_ = 1;
};

// What the monitor's TR command does: ON, OFF, or a bare TR (up then down).
int32_t TrOn() {
    return XT_AdjustTraceLevel(1);
}
int32_t TrOff() {
    return XT_AdjustTraceLevel(0);
}
int32_t TrBare() {
    XT_AdjustTraceLevel(1);
    return XT_AdjustTraceLevel(0);
}
}  // namespace

TEST_F(TraceLevel, IsACounterWithoutClamp) {
    EXPECT_EQ(TrOff(), 0);
    EXPECT_EQ(TrOff(), -1);
    EXPECT_EQ(TrOn(), 0) << "one ON after two OFFs is not enough to trace again";
    EXPECT_EQ(TrOn(), 1);
    EXPECT_EQ(TrOn(), 2);
    EXPECT_EQ(TrOff(), 1) << "two ONs need two OFFs";
    EXPECT_EQ(TrOff(), 0);
    EXPECT_EQ(g_TraceLevel.load(), 0);
}

TEST_F(TraceLevel, BareTrLeavesTheLevelAndYieldsIt) {
    EXPECT_EQ(TrBare(), 1);
    g_TraceLevel.store(-3);
    EXPECT_EQ(TrBare(), -3);
    EXPECT_EQ(g_TraceLevel.load(), -3);
}

TEST(TraceFormat, SprintfFormatsLikePrintf) {
    char buffer[64];
    std::memset(buffer, 'x', sizeof buffer);
    int length = XT_Sprintf(buffer, "%02XH %04XH %-4s|%d", 0x0A, 0xBEEF, "ab", -7);
    EXPECT_STREQ(buffer, "0AH BEEFH ab  |-7");
    EXPECT_EQ(length, static_cast<int>(std::strlen(buffer)));
    EXPECT_EQ(XT_Sprintf(buffer, "%s", ""), 0);
    EXPECT_EQ(buffer[0], '\0');
}

TEST(TraceAssert, FailedAssertionWithoutDebuggerReturns) {
    int reached = 0;
    XT_ASSERT(reached == 1, "trace_level_test");
    reached++;
    XT_ASSERT(reached == 1, "not reported: the condition holds");
    XT_NOT_IMPLEMENTED();
    reached++;
    EXPECT_EQ(reached, 2);
}
