#pragma once
// A fresh PSG for each test, the key queue's contents, and the trace records written
// since the test began.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/z80/z80.h"

struct QueuedKey {
    uint8_t row;
    uint8_t mask;
    bool pressed;
    bool operator==(const QueuedKey& other) const {
        return row == other.row && mask == other.mask && pressed == other.pressed;
    }
};
std::ostream& operator<<(std::ostream& out, const QueuedKey& key);

constexpr QueuedKey ShiftDown{2, 0x20, true};
constexpr QueuedKey ShiftUp{2, 0x20, false};

// The events waiting in the key queue, oldest first, without taking them.
std::vector<QueuedKey> QueuedKeys();

// Trace records written since the last Clear, one string each.
std::vector<std::string> TraceRecords();
void ClearTraceRecords();
bool TraceRecorded(const std::string& record);

// Clears the PSG as machine start-up does, runs PSG_Init and PSG_Reset, and gives the
// machine a processor whose stop reasons and time the PSG can use.
class PsgTest : public ::testing::Test {
   protected:
    void SetUp() override;
    void TearDown() override;
    // Runs PSG_Update in 4-microsecond steps, like a stream of short instructions.
    void Run(uint32_t microseconds);
    Z80_State processor_{};
};
