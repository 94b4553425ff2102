// The key queue and the feed that moves it into the keyboard matrix every 20000
// microseconds.
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "psg_test_support.h"

namespace {
using KeyFeed = PsgTest;

bool KeyDown(uint8_t row, uint8_t mask) {
    return (g_Machine.psg.keyboardMatrix[row] & mask) == 0;
}
const std::string QUEUE_FULL = "PSG_EnqueueKey(): Queue full.";
}  // namespace

TEST_F(KeyFeed, QueueHoldsThirtyOneEventsAndDropsTheNext) {
    // 31 different keys, so that one feed can take them all.
    for (int i = 0; i < 31; ++i) PSG_EnqueueKey(i % 10, 1 << (i / 10), 1);
    EXPECT_EQ(PSG_KeyQueueCount(), 31);
    EXPECT_FALSE(TraceRecorded(QUEUE_FULL));

    PSG_EnqueueKey(9, 0x80, 1);
    std::vector<QueuedKey> queued = QueuedKeys();
    ASSERT_EQ(queued.size(), 31u);
    EXPECT_EQ(queued.back(), (QueuedKey{0, 0x08, true})) << "the 32nd event is dropped";
    EXPECT_EQ(TraceRecords(), std::vector<std::string>{QUEUE_FULL});

    Run(20004);
    EXPECT_TRUE(PSG_KeyQueueEmpty());
    EXPECT_TRUE(KeyDown(0, 0x08));
    EXPECT_FALSE(KeyDown(9, 0x80));
    PSG_EnqueueKey(9, 0x80, 1);
    EXPECT_EQ(PSG_KeyQueueCount(), 1) << "a feed makes room again";
}

TEST_F(KeyFeed, PressAndReleaseOfOneKeyLandAFeedApart) {
    PSG_KeyEvent('A', 1);
    PSG_KeyEvent('A', 0);
    Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20)) << "an elapsed time equal to the countdown feeds nothing yet";
    Run(4);
    EXPECT_TRUE(KeyDown(8, 0x20));
    EXPECT_EQ(PSG_KeyQueueCount(), 1);
    Run(19996);
    EXPECT_TRUE(KeyDown(8, 0x20)) << "held for a whole period";
    Run(4);
    EXPECT_FALSE(KeyDown(8, 0x20));
    EXPECT_TRUE(PSG_KeyQueueEmpty());
}

TEST_F(KeyFeed, ReleaseAndNextPressShareAFeed) {
    for (uint8_t key : {'A', 'B'}) {
        PSG_KeyEvent(key, 1);
        PSG_KeyEvent(key, 0);
    }
    Run(20004);
    EXPECT_TRUE(KeyDown(8, 0x20));
    Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20));
    EXPECT_TRUE(KeyDown(6, 0x40));
    Run(20000);
    EXPECT_FALSE(KeyDown(6, 0x40));
    EXPECT_TRUE(PSG_KeyQueueEmpty());
}

TEST_F(KeyFeed, ShiftChangeEndsTheFeed) {
    PSG_KeyEvent('!', 1);
    Run(20004);
    EXPECT_TRUE(KeyDown(2, 0x20));
    EXPECT_FALSE(KeyDown(8, 0x01)) << "the key after SHIFT waits a period";
    Run(20000);
    EXPECT_TRUE(KeyDown(8, 0x01));

    // On the way up SHIFT follows the key in the same feed, and ends that feed.
    PSG_KeyEvent('!', 0);
    PSG_KeyEvent('Q', 1);
    Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x01));
    EXPECT_FALSE(KeyDown(2, 0x20));
    EXPECT_FALSE(KeyDown(8, 0x08));
    Run(20000);
    EXPECT_TRUE(KeyDown(8, 0x08));
}

TEST_F(KeyFeed, FeedsKeepTheirPaceWhileTheQueueIsEmpty) {
    Run(20000 + 4 + 200);  // a feed with nothing to do, 200 microseconds ago
    PSG_KeyEvent(PSG_KEY_ESC, 1);
    for (int i = 0; i < 77; ++i) PSG_Update(255);  // 19635 of the 19796 left
    PSG_Update(161);
    EXPECT_FALSE(KeyDown(8, 0x04)) << "odd elapsed times carry over into the countdown";
    PSG_Update(1);
    EXPECT_TRUE(KeyDown(8, 0x04));
}

TEST_F(KeyFeed, ResetEmptiesQueueMatrixAndTranslator) {
    PSG_KeyEvent('!', 1);
    PSG_KeyEvent('Q', 1);
    Run(20004);
    PSG_Reset();
    EXPECT_TRUE(PSG_KeyQueueEmpty());
    for (uint8_t row : g_Machine.psg.keyboardMatrix) EXPECT_EQ(row, 0xFF);
    // With the override gone, a SHIFT release goes straight through.
    PSG_KeyEvent(PSG_KEY_SHIFT, 0);
    EXPECT_EQ(QueuedKeys(), std::vector<QueuedKey>{ShiftUp});
}
