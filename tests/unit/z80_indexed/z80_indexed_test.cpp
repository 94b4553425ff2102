// DD and FD instructions run through the processor's step on a flat machine.
#include <gtest/gtest.h>

#include <vector>

#include "flat_machine.h"

namespace {

class IndexedTest : public ::testing::Test {
   protected:
    void SetUp() override {
        FlatMachine_ResetProcessor(&cpu);
        cpu.SP = 0xF000;
    }
    // Loads a program at 0 and runs one whole instruction; returns its microseconds.
    uint32_t Run(const std::vector<uint8_t>& program) {
        FlatMachine_Load(cpu.PC, program);
        return Step();
    }
    uint32_t Step() {
        uint32_t before = cpu.time;
        Z80_StepInstruction(&cpu);
        return cpu.time - before;
    }
    uint8_t& Memory(uint16_t address) { return g_Flat.memory[address]; }
    uint8_t Flags() const { return cpu.AF.lo; }

    Z80_State cpu;
};

TEST_F(IndexedTest, LoadIndexPairs) {
    EXPECT_EQ(Run({0xDD, 0x21, 0x34, 0x12}), 4u);
    EXPECT_EQ(cpu.IX.w, 0x1234);
    EXPECT_EQ(cpu.PC, 4);
    EXPECT_EQ(Run({0xFD, 0x21, 0x78, 0x56}), 4u);
    EXPECT_EQ(cpu.IY.w, 0x5678);
    EXPECT_EQ(cpu.IX.w, 0x1234);
    EXPECT_EQ(cpu.HL.w, 0xFFFF);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);

    EXPECT_EQ(Run({0xDD, 0x22, 0x00, 0x50}), 6u);
    EXPECT_EQ(Memory(0x5000), 0x34);
    EXPECT_EQ(Memory(0x5001), 0x12);
    EXPECT_EQ(Run({0xFD, 0x2A, 0x00, 0x50}), 6u);
    EXPECT_EQ(cpu.IY.w, 0x1234);
}

TEST_F(IndexedTest, SixteenBitArithmetic) {
    cpu.IX.w = 0x8800;
    cpu.AF.lo = 0;
    EXPECT_EQ(Run({0xDD, 0x29}), 4u);  // ADD IX,IX
    EXPECT_EQ(cpu.IX.w, 0x1000);
    EXPECT_EQ(Flags() & (Z80_FLAG_C | Z80_FLAG_H), Z80_FLAG_C | Z80_FLAG_H);

    cpu.IY.w = 0x0001;
    cpu.BC.w = 0x00FF;
    EXPECT_EQ(Run({0xFD, 0x09}), 4u);  // ADD IY,BC
    EXPECT_EQ(cpu.IY.w, 0x0100);
    EXPECT_EQ(cpu.IX.w, 0x1000);
    EXPECT_EQ(cpu.HL.w, 0xFFFF);

    EXPECT_EQ(Run({0xDD, 0x39}), 4u);  // ADD IX,SP
    EXPECT_EQ(cpu.IX.w, 0x0000);  // 0x1000 + 0xF000 carries out
    EXPECT_TRUE(Flags() & Z80_FLAG_C);

    EXPECT_EQ(Run({0xFD, 0x2B}), 3u);  // DEC IY
    EXPECT_EQ(cpu.IY.w, 0x00FF);
    EXPECT_EQ(Run({0xDD, 0x23}), 3u);  // INC IX
    EXPECT_EQ(cpu.IX.w, 0x0001);
}

TEST_F(IndexedTest, IndexedLoadsUseRealHAndL) {
    cpu.IX.w = 0x2000;
    Memory(0x2005) = 0xAB;
    EXPECT_EQ(Run({0xDD, 0x66, 0x05}), 5u);  // LD H,(IX+5)
    EXPECT_EQ(cpu.HL.hi, 0xAB);
    EXPECT_EQ(cpu.IX.w, 0x2000);

    Memory(0x1FFB) = 0xCD;
    EXPECT_EQ(Run({0xDD, 0x6E, 0xFB}), 5u);  // LD L,(IX-5)
    EXPECT_EQ(cpu.HL.lo, 0xCD);

    EXPECT_EQ(Run({0xDD, 0x74, 0x7F}), 5u);  // LD (IX+127),H
    EXPECT_EQ(Memory(0x207F), 0xAB);

    cpu.IY.w = 0x3080;
    cpu.AF.hi = 0x42;
    EXPECT_EQ(Run({0xFD, 0x77, 0x80}), 5u);  // LD (IY-128),A
    EXPECT_EQ(Memory(0x3000), 0x42);
    EXPECT_EQ(Run({0xFD, 0x4E, 0x80}), 5u);  // LD C,(IY-128)
    EXPECT_EQ(cpu.BC.lo, 0x42);
}

TEST_F(IndexedTest, HalfRegisterLoads) {
    cpu.IX.w = 0x1234;
    cpu.AF.hi = 0x99;
    EXPECT_EQ(Run({0xDD, 0x65}), 2u);  // LD IXH,IXL
    EXPECT_EQ(cpu.IX.w, 0x3434);
    EXPECT_EQ(Run({0xDD, 0x6F}), 2u);  // LD IXL,A
    EXPECT_EQ(cpu.IX.w, 0x3499);
    EXPECT_EQ(Run({0xDD, 0x7C}), 2u);  // LD A,IXH
    EXPECT_EQ(cpu.AF.hi, 0x34);
    EXPECT_EQ(cpu.HL.w, 0xFFFF);

    cpu.IY.w = 0xBEEF;
    EXPECT_EQ(Run({0xFD, 0x44}), 2u);  // LD B,IYH
    EXPECT_EQ(cpu.BC.hi, 0xBE);
    EXPECT_EQ(Run({0xFD, 0x6C}), 2u);  // LD IYL,IYH
    EXPECT_EQ(cpu.IY.w, 0xBEBE);
    EXPECT_EQ(Run({0xFD, 0x2E, 0x5A}), 3u);  // LD IYL,n
    EXPECT_EQ(cpu.IY.w, 0xBE5A);
    EXPECT_EQ(Run({0xFD, 0x26, 0x01}), 3u);  // LD IYH,n
    EXPECT_EQ(cpu.IY.w, 0x015A);
}

TEST_F(IndexedTest, EightBitArithmetic) {
    cpu.IX.w = 0x7F01;
    cpu.AF.lo = 0;
    EXPECT_EQ(Run({0xDD, 0x24}), 2u);  // INC IXH: 7F -> 80 overflows
    EXPECT_EQ(cpu.IX.hi, 0x80);
    EXPECT_EQ(Flags() & (Z80_FLAG_S | Z80_FLAG_PV | Z80_FLAG_H),
              Z80_FLAG_S | Z80_FLAG_PV | Z80_FLAG_H);
    EXPECT_EQ(Run({0xDD, 0x2D}), 2u);  // DEC IXL: 01 -> 00
    EXPECT_EQ(cpu.IX.lo, 0x00);
    EXPECT_TRUE(Flags() & Z80_FLAG_Z);

    cpu.AF.hi = 0x10;
    EXPECT_EQ(Run({0xDD, 0x84}), 2u);  // ADD A,IXH
    EXPECT_EQ(cpu.AF.hi, 0x90);
    cpu.IY.w = 0x0030;
    EXPECT_EQ(Run({0xFD, 0x95}), 2u);  // SUB IYL
    EXPECT_EQ(cpu.AF.hi, 0x60);
    EXPECT_EQ(Run({0xFD, 0xBD}), 2u);  // CP IYL: A unchanged
    EXPECT_EQ(cpu.AF.hi, 0x60);
    EXPECT_FALSE(Flags() & Z80_FLAG_Z);
    EXPECT_EQ(Run({0xFD, 0xB5}), 2u);  // OR IYL
    EXPECT_EQ(cpu.AF.hi, 0x70);

    cpu.IX.w = 0x2001;
    Memory(0x2000) = 0x7F;
    EXPECT_EQ(Run({0xDD, 0x34, 0xFF}), 6u);  // INC (IX-1)
    EXPECT_EQ(Memory(0x2000), 0x80);
    EXPECT_TRUE(Flags() & Z80_FLAG_PV);
    EXPECT_EQ(Run({0xDD, 0x35, 0xFF}), 6u);  // DEC (IX-1)
    EXPECT_EQ(Memory(0x2000), 0x7F);

    Memory(0x2004) = 0x70;
    EXPECT_EQ(Run({0xDD, 0x96, 0x03}), 5u);  // SUB (IX+3)
    EXPECT_EQ(cpu.AF.hi, 0x00);
    EXPECT_TRUE(Flags() & Z80_FLAG_Z);
    EXPECT_EQ(Run({0xDD, 0xB6, 0x03}), 5u);  // OR (IX+3)
    EXPECT_EQ(cpu.AF.hi, 0x70);
    EXPECT_EQ(Run({0xDD, 0xBE, 0x03}), 5u);  // CP (IX+3)
    EXPECT_TRUE(Flags() & Z80_FLAG_Z);
    EXPECT_EQ(cpu.AF.hi, 0x70);
}

TEST_F(IndexedTest, StoreImmediateReadsDisplacementFirst) {
    cpu.IX.w = 0x4000;
    EXPECT_EQ(Run({0xDD, 0x36, 0x05, 0x99}), 6u);
    EXPECT_EQ(Memory(0x4005), 0x99);
    EXPECT_EQ(Memory(0x4099), 0x00);
    EXPECT_EQ(cpu.PC, 4);
    cpu.IY.w = 0x4080;
    EXPECT_EQ(Run({0xFD, 0x36, 0x80, 0x11}), 6u);
    EXPECT_EQ(Memory(0x4000), 0x11);
}

TEST_F(IndexedTest, IndexedBitGroup) {
    cpu.IX.w = 0x3002;
    cpu.AF.lo = 0;
    Memory(0x3000) = 0x81;
    EXPECT_EQ(Run({0xDD, 0xCB, 0xFE, 0x06}), 7u);  // RLC (IX-2)
    EXPECT_EQ(Memory(0x3000), 0x03);
    EXPECT_TRUE(Flags() & Z80_FLAG_C);
    EXPECT_EQ(cpu.PC, 4);

    cpu.AF.lo = Z80_FLAG_S | Z80_FLAG_PV | Z80_FLAG_C | Z80_FLAG_N;
    EXPECT_EQ(Run({0xDD, 0xCB, 0xFE, 0x56}), 6u);  // BIT 2,(IX-2): clear
    EXPECT_EQ(Flags(), Z80_FLAG_S | Z80_FLAG_PV | Z80_FLAG_C | Z80_FLAG_H | Z80_FLAG_Z);
    EXPECT_EQ(Run({0xDD, 0xCB, 0xFE, 0x4E}), 6u);  // BIT 1,(IX-2): set
    EXPECT_FALSE(Flags() & Z80_FLAG_Z);

    cpu.IY.w = 0x3000;
    EXPECT_EQ(Run({0xFD, 0xCB, 0x00, 0xFE}), 7u);  // SET 7,(IY+0)
    EXPECT_EQ(Memory(0x3000), 0x83);
    EXPECT_EQ(Run({0xFD, 0xCB, 0x00, 0x86}), 7u);  // RES 0,(IY+0)
    EXPECT_EQ(Memory(0x3000), 0x82);
    EXPECT_EQ(Run({0xFD, 0xCB, 0x00, 0x3E}), 7u);  // SRL (IY+0)
    EXPECT_EQ(Memory(0x3000), 0x41);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);
}

TEST_F(IndexedTest, UnknownBitFormStopsAtThePrefix) {
    cpu.PC = 0x0100;
    cpu.running = 1;
    cpu.IX.w = 0x3000;
    Memory(0x3005) = 0x55;
    uint32_t time = Run({0xDD, 0xCB, 0x05, 0x00});  // RLC B,(IX+5): not implemented
    EXPECT_EQ(time, 0u);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_UNKNOWN_INSTRUCTION);
    EXPECT_EQ(cpu.PC, 0x0100);
    EXPECT_EQ(cpu.running, 0);
    EXPECT_EQ(Memory(0x3005), 0x55);
    EXPECT_EQ(cpu.BC.w, 0xFFFF);
}

TEST_F(IndexedTest, UnknownFormRunsUnprefixedAndStops) {
    cpu.running = 1;
    cpu.IX.w = 0x00F0;
    cpu.HL.w = 0x0005;
    cpu.AF.hi = 0x10;
    cpu.AF.lo = Z80_FLAG_C;
    EXPECT_EQ(Run({0xDD, 0x8D}), 2u);  // ADC A,IXL is not implemented: runs as ADC A,L
    EXPECT_EQ(cpu.AF.hi, 0x16);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_INVALID_PREFIX);
    EXPECT_EQ(cpu.PC, 2);
    EXPECT_EQ(cpu.running, 0);

    EXPECT_EQ(Run({0xFD, 0x21, 0x34, 0x12}), 4u);  // the next one runs normally
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);

    EXPECT_EQ(Run({0xDD, 0x01, 0x22, 0x11}), 4u);  // LD BC,nn: 1 + 3
    EXPECT_EQ(cpu.BC.w, 0x1122);
    EXPECT_EQ(cpu.IX.w, 0x00F0);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_INVALID_PREFIX);
}

TEST_F(IndexedTest, StackInstructionsLeaveHLAlone) {
    cpu.IX.w = 0x1234;
    cpu.HL.w = 0x5678;
    EXPECT_EQ(Run({0xDD, 0xE5}), 5u);  // PUSH IX
    EXPECT_EQ(Memory(0xEFFF), 0x12);
    EXPECT_EQ(Memory(0xEFFE), 0x34);
    EXPECT_EQ(Run({0xE5}), 4u);  // PUSH HL pushes HL again
    EXPECT_EQ(Memory(0xEFFD), 0x56);
    EXPECT_EQ(Memory(0xEFFC), 0x78);
    EXPECT_EQ(cpu.SP, 0xEFFC);

    EXPECT_EQ(Run({0xFD, 0xE1}), 4u);  // POP IY
    EXPECT_EQ(cpu.IY.w, 0x5678);
    EXPECT_EQ(Run({0xE1}), 3u);  // POP HL
    EXPECT_EQ(cpu.HL.w, 0x1234);
    EXPECT_EQ(cpu.SP, 0xF000);

    cpu.SP = 0x8000;
    Memory(0x8000) = 0xCD;
    Memory(0x8001) = 0xAB;
    EXPECT_EQ(Run({0xDD, 0xE3}), 7u);  // EX (SP),IX
    EXPECT_EQ(cpu.IX.w, 0xABCD);
    EXPECT_EQ(Memory(0x8000), 0x34);
    EXPECT_EQ(Memory(0x8001), 0x12);
    EXPECT_EQ(cpu.HL.w, 0x1234);

    EXPECT_EQ(Run({0xDD, 0xF9}), 3u);  // LD SP,IX
    EXPECT_EQ(cpu.SP, 0xABCD);
    EXPECT_EQ(Run({0xDD, 0xE9}), 2u);  // JP (IX)
    EXPECT_EQ(cpu.PC, 0xABCD);
}

// Instructions that clear the interrupt-timing flag make an interrupt accepted right
// after them one microsecond cheaper.
TEST_F(IndexedTest, InterruptAfterInstructionsThatClearTheTimingFlag) {
    struct Case {
        std::vector<uint8_t> program;
        uint32_t instruction;
        uint32_t interrupt;
    };
    const Case cases[] = {
        {{0xDD, 0x21, 0x00, 0x00}, 4, 5},  // LD IX,nn keeps it
        {{0xDD, 0x23}, 3, 4},              // INC IX
        {{0xFD, 0x2B}, 3, 4},              // DEC IY
        {{0xDD, 0xF9}, 3, 4},              // LD SP,IX
        {{0xDD, 0xE3}, 7, 4},              // EX (SP),IX
    };
    for (const Case& test : cases) {
        FlatMachine_ResetProcessor(&cpu);
        cpu.SP = 0xF000;
        cpu.IM = 1;
        cpu.IFF1 = cpu.IFF2 = 1;
        g_Flat.interruptPending = true;
        EXPECT_EQ(Run(test.program), test.instruction + test.interrupt);
        EXPECT_EQ(cpu.PC, 0x0038);
    }
}

// Times of DD xx from the grid; 0 marks the forms that run unprefixed and stop.
const uint8_t kIndexedTimes[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0,  // 0x
    0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0,  // 1x
    0, 4, 6, 3, 2, 2, 3, 0, 0, 4, 6, 3, 2, 2, 3, 0,  // 2x
    0, 0, 0, 0, 6, 6, 6, 0, 0, 4, 0, 0, 0, 0, 0, 0,  // 3x
    0, 0, 0, 0, 2, 2, 5, 0, 0, 0, 0, 0, 2, 2, 5, 0,  // 4x
    0, 0, 0, 0, 2, 2, 5, 0, 0, 0, 0, 0, 2, 2, 5, 0,  // 5x
    2, 2, 2, 2, 2, 2, 5, 2, 2, 2, 2, 2, 2, 2, 5, 2,  // 6x
    5, 5, 5, 5, 5, 5, 0, 5, 0, 0, 0, 0, 2, 2, 5, 0,  // 7x
    0, 0, 0, 0, 2, 2, 5, 0, 0, 0, 0, 0, 2, 0, 5, 0,  // 8x
    0, 0, 0, 0, 2, 2, 5, 0, 0, 0, 0, 0, 0, 0, 5, 0,  // 9x
    0, 0, 0, 0, 2, 0, 5, 0, 0, 0, 0, 0, 2, 2, 5, 0,  // Ax
    0, 0, 0, 0, 2, 2, 5, 0, 0, 0, 0, 0, 2, 2, 5, 0,  // Bx
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // Cx (CB is the bit group)
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // Dx
    0, 4, 0, 7, 0, 5, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0,  // Ex
    0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0,  // Fx
};

TEST_F(IndexedTest, EveryOpcodeTakesItsTime) {
    for (uint8_t prefix : {0xDD, 0xFD}) {
        for (int opcode = 0; opcode < 256; ++opcode) {
            if (opcode == 0xCB || opcode == 0xDD || opcode == 0xED || opcode == 0xFD) continue;
            uint8_t code = static_cast<uint8_t>(opcode);
            uint32_t plain = 0;
            if (kIndexedTimes[opcode] == 0) {
                SetUp();
                plain = Run({code, 0x00, 0x00});
            }
            SetUp();
            uint32_t time = Run({prefix, code, 0x00, 0x00});
            if (kIndexedTimes[opcode] != 0) {
                EXPECT_EQ(time, kIndexedTimes[opcode]) << std::hex << int(prefix) << " " << opcode;
                EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE) << std::hex << opcode;
            } else {
                EXPECT_EQ(time, plain + 1) << std::hex << int(prefix) << " " << opcode;
                EXPECT_EQ(cpu.stopReason, Z80_STOP_INVALID_PREFIX) << std::hex << opcode;
            }
        }
    }
}

}  // namespace
