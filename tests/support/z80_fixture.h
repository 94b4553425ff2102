#pragma once
// A processor on the flat machine.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "flat_machine.h"

class Z80Test : public ::testing::Test {
   protected:
    void SetUp() override {
        FlatMachine_ResetProcessor(&cpu);
        cpu.SP = 0x8000;
    }

    uint8_t Memory(uint16_t address) const { return g_Flat.memory[address]; }

    Z80_State cpu;
};

namespace z80_flags {
constexpr uint8_t S = Z80_FLAG_S, Z = Z80_FLAG_Z, H = Z80_FLAG_H, PV = Z80_FLAG_PV, N = Z80_FLAG_N,
                  C = Z80_FLAG_C;
constexpr uint8_t kBits53 = 0x28;  // never computed by this processor
}  // namespace z80_flags
