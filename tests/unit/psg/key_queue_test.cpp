// The key queue and the feed that moves it into the keyboard matrix every 20000
// microseconds, alone and between a writer thread and the emulation thread.
#include <atomic>
#include <thread>

#include "psg_test_support.h"

// The firmware reads every row once a frame; a key's next event waits for two such reads.
class KeyFeed : public PsgTest {
   protected:
    static void Scan() {
        PSG_Select(14);
        for (uint8_t row = 0; row < PSG_KEYBOARD_ROWS; ++row) PSG_Read(row);
    }
    static void Run(uint32_t microseconds) {
        for (; microseconds >= 4000; microseconds -= 4000) PsgTest::Run(4000), Scan();
        PsgTest::Run(microseconds);
        Scan();
    }
};

TEST_F(KeyFeed, QueueHoldsThirtyOneEventsAndDropsTheNext) {
    for (int i = 0; i < 31; ++i) PSG_EnqueueKey(i % 10, 1 << (i / 10), 1);  // all different
    EXPECT_EQ(PSG_KeyQueueCount(), 31);
    EXPECT_TRUE(Traces().empty());
    PSG_EnqueueKey(9, 0x80, 1);
    Keys queued = QueuedKeys();
    ASSERT_EQ(queued.size(), 31u);
    EXPECT_EQ(queued.back(), (QueuedKey{0, 0x08, true})) << "the 32nd event is dropped";
    EXPECT_EQ(Traces(), Records{"PSG_EnqueueKey(): Queue full."});

    Run(20004);  // one feed takes them all
    EXPECT_TRUE(PSG_KeyQueueEmpty());
    EXPECT_TRUE(KeyDown(0, 0x08));
    EXPECT_FALSE(KeyDown(9, 0x80));
    PSG_EnqueueKey(9, 0x80, 1);
    EXPECT_EQ(PSG_KeyQueueCount(), 1) << "a feed makes room again";
}

TEST_F(KeyFeed, FeedsComeEvery20000MicrosecondsAndAKeyGoesUpAsTheNextGoesDown) {
    for (uint8_t key : {'A', 'A', 'B'}) {
        PSG_KeyEvent(key, 1);
        PSG_KeyEvent(key, 0);
    }
    Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20)) << "an elapsed time equal to the countdown feeds nothing yet";
    Run(4);
    EXPECT_TRUE(KeyDown(8, 0x20));
    Run(19996);
    EXPECT_TRUE(KeyDown(8, 0x20)) << "held for a whole period";
    Run(4);
    EXPECT_FALSE(KeyDown(8, 0x20)) << "and up for a whole period before the second A";
    Run(20000);
    EXPECT_TRUE(KeyDown(8, 0x20));
    Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20));
    EXPECT_TRUE(KeyDown(6, 0x40)) << "another key goes down in the same feed";
    Run(20000);
    EXPECT_FALSE(KeyDown(6, 0x40));
    EXPECT_TRUE(PSG_KeyQueueEmpty());

    // A feed with nothing to do keeps the pace; odd elapsed times carry over.
    Run(20000 + 200);  // an empty feed, 200 microseconds ago
    PSG_KeyEvent(PSG_KEY_ESC, 1);
    for (int i = 0; i < 77; ++i) PSG_Update(255);  // 19635 of the 19796 left
    PSG_ProcessKeyQueue(161);  // the feed's own check also waits out an exact countdown
    EXPECT_FALSE(KeyDown(8, 0x04));
    PSG_Update(1);
    EXPECT_TRUE(KeyDown(8, 0x04));
}

TEST_F(KeyFeed, AKeyChangeWaitsUntilTheProgramHasReadItsRow) {
    for (int i = 0; i < 2; ++i) PSG_KeyEvent('A', 1), PSG_KeyEvent('A', 0);
    PsgTest::Run(40004);
    Scan();
    PsgTest::Run(20000);
    EXPECT_TRUE(KeyDown(8, 0x20)) << "read once: still down two feeds later";
    Scan();
    PsgTest::Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20)) << "read twice, then released";
    PsgTest::Run(20000);
    EXPECT_FALSE(KeyDown(8, 0x20)) << "the second press waits for the release to be read";
    Scan(), Scan();
    PsgTest::Run(20000);
    EXPECT_TRUE(KeyDown(8, 0x20)) << "two presses seen as two";
    PsgTest::Run(20000 * 10);
    EXPECT_TRUE(KeyDown(8, 0x20)) << "a row nobody reads holds the queue ten feeds";
    PsgTest::Run(20000);
    EXPECT_TRUE(PSG_KeyQueueEmpty()) << "and no longer";
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

    PSG_KeyEvent('!', 1);
    PSG_KeyEvent('Q', 1);
    Run(20004);
    uint8_t written = g_Machine.psg.keyQueueWrite;
    PSG_Reset();  // empties queue, matrix and the translator's SHIFT override
    EXPECT_TRUE(PSG_KeyQueueEmpty());
    EXPECT_EQ(g_Machine.psg.keyQueueWrite, written) << "the writer's index is the writer's";
    for (uint8_t row : g_Machine.psg.keyboardMatrix) EXPECT_EQ(row, 0xFF);
    PSG_KeyEvent(PSG_KEY_SHIFT, 0);
    EXPECT_EQ(QueuedKeys(), Keys{ShiftUp});
}

TEST_F(KeyFeed, EveryKeyFromAnotherThreadArrivesOnceAndInOrder) {
    constexpr int kKeys = 1500;
    auto keyNumber = [](int i) {  // a different key from the one before
        return QueuedKey{static_cast<uint8_t>(i % 10), static_cast<uint8_t>(1 << (i % 7)), true};
    };
    std::atomic<bool> writerDone{false};
    std::thread writer([&] {
        for (int i = 0; i < kKeys; ++i) {
            for (uint8_t pressed : {1, 0}) {
                // Keep below the limit, as a typing loop does, so nothing is dropped.
                while (PSG_KeyQueueCount() >= PSG_KEY_QUEUE_SLOTS - 2) std::this_thread::yield();
                PSG_EnqueueKey(keyNumber(i).row, keyNumber(i).mask, pressed);
            }
        }
        writerDone.store(true, std::memory_order_release);
    });

    // The emulation side runs one feed at a time and notes which key it left held.
    Keys seen;
    int mostHeldAtOnce = 0;
    while (!writerDone.load(std::memory_order_acquire) || !PSG_KeyQueueEmpty()) {
        for (int step = 0; step < 200; ++step) PSG_Update(100);
        int held = 0;
        for (uint8_t row = 0; row < PSG_KEYBOARD_ROWS; ++row) {
            for (int bit = 0; bit < 8; ++bit) {
                QueuedKey key{row, static_cast<uint8_t>(1 << bit), true};
                if (!KeyDown(row, key.mask)) continue;
                ++held;
                if (seen.empty() || !(seen.back() == key)) seen.push_back(key);
            }
        }
        mostHeldAtOnce = std::max(mostHeldAtOnce, held);
    }
    writer.join();

    EXPECT_LE(mostHeldAtOnce, 1);
    ASSERT_EQ(seen.size(), size_t{kKeys});
    for (int i = 0; i < kKeys; ++i) ASSERT_EQ(seen[i], keyNumber(i)) << "key " << i;
    EXPECT_TRUE(Traces().empty()) << "nothing was dropped";
}
