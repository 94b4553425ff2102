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

    // Loads the bytes at PC and executes one whole instruction; returns its microseconds.
    uint32_t Execute(const std::vector<uint8_t>& bytes) {
        FlatMachine_Load(cpu.PC, bytes);
        return Step();
    }

    // Executes one whole instruction where PC stands; returns its microseconds.
    uint32_t Step() {
        uint32_t before = cpu.time;
        Z80_StepInstruction(&cpu);
        return cpu.time - before;
    }

    // Runs until the processor stops (stop reason, or HALT with interrupts off);
    // returns the number of instructions executed.
    uint64_t RunUntilStopped(uint64_t limit = 50000000) {
        cpu.running = 1;
        uint64_t count = 0;
        while (cpu.running && count < limit) {
            Z80_StepInstruction(&cpu);
            ++count;
        }
        return count;
    }

    uint8_t Memory(uint16_t address) const { return g_Flat.memory[address]; }
    uint16_t MemoryWord(uint16_t address) const {
        return static_cast<uint16_t>(g_Flat.memory[address] |
                                     (g_Flat.memory[static_cast<uint16_t>(address + 1)] << 8));
    }
    bool Flag(uint8_t flag) const { return (cpu.AF.lo & flag) != 0; }

    Z80_State cpu;
};
