// The key queue between a writer thread (the user interface) and the emulation thread.
#include <atomic>
#include <thread>

#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "psg_test_support.h"

namespace {
using KeyQueueThreads = PsgTest;

constexpr int KEYS = 1500;

// A different key from the one before, on every row and bit.
QueuedKey KeyNumber(int i) {
    return {static_cast<uint8_t>(i % 10), static_cast<uint8_t>(1 << (i % 7)), true};
}
}  // namespace

TEST_F(KeyQueueThreads, EveryKeyArrivesOnceAndInOrder) {
    std::atomic<bool> writerDone{false};
    std::thread writer([&writerDone] {
        for (int i = 0; i < KEYS; ++i) {
            QueuedKey key = KeyNumber(i);
            for (uint8_t pressed : {1, 0}) {
                // Keep below the limit, as a typing loop does, so nothing is dropped.
                while (PSG_KeyQueueCount() >= PSG_KEY_QUEUE_SLOTS - 2) std::this_thread::yield();
                PSG_EnqueueKey(key.row, key.mask, pressed);
            }
        }
        writerDone.store(true, std::memory_order_release);
    });

    // The emulation side: runs feeds and notes which key each one left held.
    std::vector<QueuedKey> seen;
    int mostHeldAtOnce = 0;
    while (!writerDone.load(std::memory_order_acquire) || !PSG_KeyQueueEmpty()) {
        for (int step = 0; step < 200; ++step) PSG_Update(100);  // exactly one feed
        int held = 0;
        for (uint8_t row = 0; row < PSG_KEYBOARD_ROWS; ++row) {
            for (int bit = 0; bit < 8; ++bit) {
                uint8_t mask = static_cast<uint8_t>(1 << bit);
                if (g_Machine.psg.keyboardMatrix[row] & mask) continue;
                ++held;
                QueuedKey key{row, mask, true};
                if (seen.empty() || !(seen.back() == key)) seen.push_back(key);
            }
        }
        mostHeldAtOnce = std::max(mostHeldAtOnce, held);
    }
    writer.join();

    EXPECT_LE(mostHeldAtOnce, 1) << "a key goes up in the feed that presses the next one";
    ASSERT_EQ(seen.size(), static_cast<size_t>(KEYS));
    for (int i = 0; i < KEYS; ++i) ASSERT_EQ(seen[i], KeyNumber(i)) << "key " << i;
    for (uint8_t row : g_Machine.psg.keyboardMatrix) EXPECT_EQ(row, 0xFF);
    EXPECT_TRUE(TraceRecords().empty()) << "nothing was dropped";
}
