// The line-based CRTC, installed by the configuration's fast bit, with the reset registers
// unless a test changes them.
#include "common/video/crtc_fast.h"

#include "trace_log.h"
#include "video_fixture.h"

namespace {

class CrtcFast : public VideoTest {
   protected:
    void SetUp() override {
        VideoTest::SetUp();
        g_Machine.Type = CPC_MODEL_6128 | CPC_TYPE_FAST_CRTC;
        g_Machine.horizontalOffset = -8;
    }
    const CRTC_FastState& Fast() const { return g_Machine.crtc.fast; }
};

}  // namespace

TEST_F(CrtcFast, ResetRegistersGiveTheFrameAndItsDisplayArea) {
    std::fill(ram_.begin() + 3 * CPC_PAGE_SIZE, ram_.end(), 0xFF);
    g_Machine.ga.screenMode = 2;
    ColdStart(1);
    EXPECT_EQ(g_Machine.crtcOps.tick, CRTC_Tick_fast);
    uint64_t previous = RunToVsyncStart();
    EXPECT_EQ(g_Machine.crtc.SL, 240);
    for (int frame = 0; frame < 2; ++frame) {
        interrupts_ = 0;
        uint64_t start = RunToVsyncStart();
        EXPECT_EQ(start - previous, kFrameMicroseconds);
        EXPECT_EQ(interrupts_, 6);
        previous = start;
    }
    // No waiting for 272 lines after a cold start: the first frame ends after 266.
    ASSERT_GE(repaints().size(), 2u);
    EXPECT_EQ(repaints()[0], 266);
    EXPECT_EQ(repaints()[1], kFrameLines);

    ExpectDisplayArea(40, 239, 64, 703);
}

TEST_F(CrtcFast, BordersFollowTheHorizontalRegisters) {
    ColdStart(1);
    EXPECT_EQ(Fast().lBorder, 12);
    EXPECT_EQ(Fast().rBorder, 8);
    TraceLog::Take();
    struct Case {
        uint8_t reg, value;
        int16_t lBorder, rBorder;
    };
    const Case cases[] = {{3, 0x82, 16, 8}, {3, 0x8E, 12, 8}, {2, 37, 21, -1}};
    for (const Case& c : cases) {
        WriteRegister(c.reg, c.value);
        EXPECT_EQ(Fast().lBorder, c.lBorder) << int(c.reg) << "=" << int(c.value);
        EXPECT_EQ(Fast().rBorder, c.rBorder) << int(c.reg) << "=" << int(c.value);
    }
    auto traces = TraceLog::Take();
    EXPECT_TRUE(TraceLog::Has(traces, "* CRTC_Update_fast(): Negative rBorder ???: -1"));
    EXPECT_TRUE(TraceLog::Has(
        traces, "CRTC_Update_fast(): " + std::string(CRTC_RegisterName(2)) + ": 25H "));
}

TEST_F(CrtcFast, RegistersAreStoredUnmasked) {
    ColdStart(1);
    WriteRegister(12, 0xFF);
    g_Machine.crtcOps.out(0, 0x20);  // past R17: the selection stays at R12
    EXPECT_EQ(g_Machine.crtc.R[12], 0xFF);
    EXPECT_EQ(g_Machine.crtcOps.in(3), 0x3F);
    WriteRegister(5, 0xFF);
    EXPECT_EQ(Fast().frameLines, kFrameLines + 255);

    // R1 = 80 moves the line start by 16 (R1 & 63) per character row.
    ColdStart(1);
    uint16_t start = g_Machine.crtc.lineStartMA;
    WriteRegister(1, 80);
    Run(8 * kLineMicroseconds);
    EXPECT_EQ(g_Machine.crtc.lineStartMA, start + 16);
}

TEST_F(CrtcFast, TimePastTheLineEndCarriesOver) {
    ColdStart(1);
    g_Machine.crtcOps.tick(60);
    g_Machine.crtcOps.tick(10);  // 4 microseconds left: the line ends, 6 go to the next
    EXPECT_EQ(Fast().lineTimeLeft, kLineMicroseconds - 6);
    EXPECT_EQ(g_Machine.crtc.SL, 1);
    // A line of one microsecond: every line that a long step covers is completed.
    WriteRegister(0, 0);
    g_Machine.crtcOps.tick(kLineMicroseconds - 6);
    g_Machine.crtcOps.tick(200);
    EXPECT_EQ(g_Machine.crtc.SL, 202);
    EXPECT_EQ(Fast().lineTimeLeft, 1);
}
