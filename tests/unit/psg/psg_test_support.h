#pragma once
// A fresh PSG for each test, with a processor for its stops and time, the key queue's
// contents, and the trace records read back from the trace library.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/z80/z80.h"
#include "trace_log.h"

struct QueuedKey {
    uint8_t row;
    uint8_t mask;
    bool pressed;
    bool operator==(const QueuedKey& o) const {
        return row == o.row && mask == o.mask && pressed == o.pressed;
    }
};
inline std::ostream& operator<<(std::ostream& out, const QueuedKey& key) {
    return out << "{row " << int(key.row) << ", mask " << int(key.mask)
               << (key.pressed ? ", down}" : ", up}");
}
using Keys = std::vector<QueuedKey>;
using Records = std::vector<std::string>;
constexpr QueuedKey ShiftDown{2, 0x20, true}, ShiftUp{2, 0x20, false};

// A register write through the PSG bus, as the PPI makes it.
inline void WriteRegister(uint8_t reg, uint8_t value) {
    PSG_Select(reg);
    PSG_Write(value);
}

class PsgTest : public ::testing::Test {
   protected:
    void SetUp() override {
        new (&g_Machine.psg) PSG_State{};  // as machine start-up value-initialises it
        g_Machine.Type = CPC_MODEL_6128;
        g_Machine.processor = &processor_;
        PSG_Init();
        PSG_Reset();
        TraceLog::Take();
    }
    void TearDown() override { g_Machine.processor = nullptr; }

    // PSG_Update in 4-microsecond steps, like a stream of short instructions.
    static void Run(uint32_t microseconds) {
        for (; microseconds >= 4; microseconds -= 4) PSG_Update(4);
        if (microseconds) PSG_Update(static_cast<uint8_t>(microseconds));
    }
    // The events waiting in the key queue, oldest first, without taking them.
    static Keys QueuedKeys() {
        const PSG_State& psg = g_Machine.psg;
        Keys keys;
        for (uint8_t i = psg.keyQueueRead; i != psg.keyQueueWrite;
             i = (i + 1) % PSG_KEY_QUEUE_SLOTS)
            keys.push_back({static_cast<uint8_t>(psg.keyQueue[i][0] & 0x0F), psg.keyQueue[i][1],
                            (psg.keyQueue[i][0] & PSG_KEY_PRESSED_BIT) != 0});
        return keys;
    }
    static bool KeyDown(uint8_t row, uint8_t mask) {
        return (g_Machine.psg.keyboardMatrix[row] & mask) == 0;
    }
    static Records Traces() { return TraceLog::Take(); }

    Z80_State processor_{};
};
