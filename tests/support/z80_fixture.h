#pragma once
// A processor on the flat machine, with helpers to run short instruction sequences.
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

    // Loads the bytes at PC and executes one whole instruction; returns how much the
    // processor's counter grew (the part handed on ahead of a port access excluded).
    uint32_t Execute(const std::vector<uint8_t>& bytes) {
        FlatMachine_Load(cpu.PC, bytes);
        return Step();
    }

    uint32_t Step() {
        uint32_t before = cpu.time;
        Z80_StepInstruction(&cpu);
        return cpu.time - before;
    }

    uint8_t Memory(uint16_t address) const { return g_Flat.memory[address]; }
    uint16_t MemoryWord(uint16_t address) const {
        return static_cast<uint16_t>(g_Flat.memory[address] |
                                     (g_Flat.memory[static_cast<uint16_t>(address + 1)] << 8));
    }

    Z80_State cpu;
};

namespace z80_flags {
constexpr uint8_t S = Z80_FLAG_S, Z = Z80_FLAG_Z, H = Z80_FLAG_H, PV = Z80_FLAG_PV, N = Z80_FLAG_N,
                  C = Z80_FLAG_C;
constexpr uint8_t kBits53 = 0x28;  // never computed by this processor
}  // namespace z80_flags
