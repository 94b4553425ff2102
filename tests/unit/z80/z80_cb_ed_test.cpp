// CB and ED groups: rotates, bit operations, 16-bit arithmetic, I and R, port I/O with
// its early device update, and the block instructions.
#include "z80_fixture.h"

using Z80Prefixed = Z80Test;

namespace {
constexpr uint8_t S = Z80_FLAG_S, Z = Z80_FLAG_Z, H = Z80_FLAG_H, PV = Z80_FLAG_PV, N = Z80_FLAG_N,
                  C = Z80_FLAG_C;
}  // namespace

TEST_F(Z80Prefixed, RotatesAndShiftsOnRegistersAndMemory) {
    cpu.AF.lo = H | N;
    cpu.BC.hi = 0x80;
    EXPECT_EQ(Execute({0xCB, 0x00}), 2u);  // RLC B
    EXPECT_EQ(cpu.BC.hi, 0x01);
    EXPECT_EQ(cpu.AF.lo, C);
    cpu.AF.hi = 0x81;
    Execute({0xCB, 0x2F});  // SRA A
    EXPECT_EQ(cpu.AF.w, 0xC000 | S | PV | C);
    cpu.BC.lo = 0x80;
    Execute({0xCB, 0x31});  // SLL C: 1 enters bit 0
    EXPECT_EQ(cpu.BC.lo, 0x01);
    EXPECT_EQ(cpu.AF.lo, C);
    cpu.DE.hi = 0x01;
    Execute({0xCB, 0x3A});  // SRL D
    EXPECT_EQ(cpu.DE.hi, 0x00);
    EXPECT_EQ(cpu.AF.lo, Z | PV | C);
    cpu.DE.lo = 0x00;
    Execute({0xCB, 0x13});  // RL E: the old carry enters
    EXPECT_EQ(cpu.DE.lo, 0x01);
    EXPECT_EQ(cpu.AF.lo, 0);
    cpu.AF.lo = C;
    cpu.HL.w = 0x4001;
    Execute({0xCB, 0x1C});  // RR H: the old carry enters bit 7
    EXPECT_EQ(cpu.HL.hi, 0xA0);
    EXPECT_EQ(cpu.AF.lo, S | PV);
    cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0x01});
    EXPECT_EQ(Execute({0xCB, 0x0E}), 4u);  // RRC (HL)
    EXPECT_EQ(Memory(0x4000), 0x80);
    EXPECT_EQ(cpu.AF.lo, S | C);
    Execute({0xCB, 0x26});  // SLA (HL)
    EXPECT_EQ(Memory(0x4000), 0x00);
    EXPECT_EQ(cpu.AF.lo, Z | PV | C);
}

TEST_F(Z80Prefixed, BitResetAndSet) {
    cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0x80});
    cpu.AF.lo = C | N;
    EXPECT_EQ(Execute({0xCB, 0x7E}), 3u);  // BIT 7,(HL)
    EXPECT_EQ(cpu.AF.lo, H | C);
    cpu.AF.w = 0xFE00 | S | PV;
    EXPECT_EQ(Execute({0xCB, 0x47}), 2u);  // BIT 0,A
    EXPECT_EQ(cpu.AF.lo, S | Z | H | PV);
    EXPECT_EQ(Execute({0xCB, 0xBE}), 4u);  // RES 7,(HL)
    EXPECT_EQ(Memory(0x4000), 0x00);
    EXPECT_EQ(Execute({0xCB, 0xDE}), 4u);  // SET 3,(HL)
    EXPECT_EQ(Memory(0x4000), 0x08);
    cpu.BC.hi = 0;
    EXPECT_EQ(Execute({0xCB, 0xF8}), 2u);  // SET 7,B
    EXPECT_EQ(cpu.BC.hi, 0x80);
    EXPECT_EQ(cpu.AF.lo, S | Z | H | PV);  // no flags from RES and SET
}

TEST_F(Z80Prefixed, SixteenBitArithmeticWithCarry) {
    cpu.AF.lo = 0;
    cpu.HL.w = 0x0000;
    cpu.DE.w = 0x0001;
    EXPECT_EQ(Execute({0xED, 0x52}), 4u);  // SBC HL,DE
    EXPECT_EQ(cpu.HL.w, 0xFFFF);
    EXPECT_EQ(cpu.AF.lo, S | H | N | C);
    cpu.AF.lo = 0;
    cpu.HL.w = 0x8000;
    cpu.BC.w = 0x0001;
    Execute({0xED, 0x42});  // SBC HL,BC: signed overflow
    EXPECT_EQ(cpu.HL.w, 0x7FFF);
    EXPECT_EQ(cpu.AF.lo, H | PV | N);
    Execute({0xED, 0x62});  // SBC HL,HL
    EXPECT_EQ(cpu.HL.w, 0x0000);
    EXPECT_EQ(cpu.AF.lo, Z | N);

    cpu.AF.lo = C;
    cpu.HL.w = 0x7FFF;
    cpu.BC.w = 0x0000;
    EXPECT_EQ(Execute({0xED, 0x4A}), 4u);  // ADC HL,BC
    EXPECT_EQ(cpu.HL.w, 0x8000);
    EXPECT_EQ(cpu.AF.lo, S | H | PV);
    cpu.AF.lo = 0;
    cpu.HL.w = 0xFFFF;
    cpu.SP = 0x0001;
    Execute({0xED, 0x7A});  // ADC HL,SP
    EXPECT_EQ(cpu.HL.w, 0x0000);
    EXPECT_EQ(cpu.AF.lo, Z | H | C);
}

TEST_F(Z80Prefixed, Negate) {
    cpu.AF.w = 0x8000;
    EXPECT_EQ(Execute({0xED, 0x44}), 2u);
    EXPECT_EQ(cpu.AF.w, 0x8000 | S | PV | N | C);
    cpu.AF.w = 0x0000;
    Execute({0xED, 0x64});
    EXPECT_EQ(cpu.AF.w, 0x0000 | Z | N);
    cpu.AF.w = 0x0100;
    Execute({0xED, 0x7C});
    EXPECT_EQ(cpu.AF.w, 0xFF00 | S | H | N | C);
}

TEST_F(Z80Prefixed, PairsThroughMemory) {
    cpu.DE.w = 0xBEEF;
    EXPECT_EQ(Execute({0xED, 0x53, 0x00, 0x50}), 6u);  // LD (0x5000),DE
    EXPECT_EQ(MemoryWord(0x5000), 0xBEEF);
    EXPECT_EQ(Execute({0xED, 0x7B, 0x00, 0x50}), 6u);  // LD SP,(0x5000)
    EXPECT_EQ(cpu.SP, 0xBEEF);
}

TEST_F(Z80Prefixed, InterruptAndRefreshRegisters) {
    cpu.AF.w = 0x8500;
    cpu.IFF2 = 1;
    cpu.R = 0;
    EXPECT_EQ(Execute({0xED, 0x4F}), 3u);  // LD R,A: all 8 bits
    EXPECT_EQ(cpu.R, 0x85);
    EXPECT_EQ(cpu.intExtra, 0);
    Execute({0x00});
    Execute({0x00});
    cpu.AF.lo = C | H | N;
    EXPECT_EQ(Execute({0xED, 0x5F}), 3u);  // LD A,R: counted on, bit 7 kept
    EXPECT_EQ(cpu.AF.hi, 0x89);
    EXPECT_EQ(cpu.AF.lo, S | PV | C);

    cpu.IFF2 = 0;
    EXPECT_EQ(Execute({0xED, 0x47}), 3u);  // LD I,A
    EXPECT_EQ(cpu.I, 0x89);
    cpu.I = 0;
    Execute({0xED, 0x57});  // LD A,I
    EXPECT_EQ(cpu.AF.w, 0x0000 | Z | C);
    EXPECT_EQ(cpu.intExtra, 0);

    EXPECT_EQ(Execute({0xED, 0x5E}), 2u);
    EXPECT_EQ(cpu.IM, 2);
    EXPECT_EQ(Execute({0xED, 0x56}), 2u);
    EXPECT_EQ(cpu.IM, 1);

    cpu.IFF1 = 0;
    FlatMachine_Load(cpu.SP, {0x34, 0x12});
    EXPECT_EQ(Execute({0xED, 0x4D}), 4u);  // RETI
    EXPECT_EQ(cpu.PC, 0x1234);
    EXPECT_EQ(g_Flat.retis, 1);
    EXPECT_EQ(cpu.IFF1, 0);
}

TEST_F(Z80Prefixed, DecimalDigitRotates) {
    cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0x20});
    cpu.AF.w = 0x8400 | C | H | N;
    EXPECT_EQ(Execute({0xED, 0x6F}), 5u);  // RLD
    EXPECT_EQ(Memory(0x4000), 0x04);
    EXPECT_EQ(cpu.AF.w, 0x8200 | S | PV | C);
    FlatMachine_Load(0x4000, {0x20});
    cpu.AF.w = 0x8400;
    EXPECT_EQ(Execute({0xED, 0x67}), 5u);  // RRD
    EXPECT_EQ(Memory(0x4000), 0x42);
    EXPECT_EQ(cpu.AF.w, 0x8000 | S);
}

TEST_F(Z80Prefixed, PortAccessThroughCHandsTimeAheadToTheDevices) {
    cpu.BC.w = 0x1234;
    cpu.AF.w = 0x5500 | C | H | N;
    g_Flat.portValue = 0x00;
    EXPECT_EQ(Execute({0xED, 0x50}), 1u);  // IN D,(C): 4, of which 3 ahead
    EXPECT_EQ(g_Flat.updatedMicroseconds, 4u);
    EXPECT_EQ(cpu.DE.hi, 0x00);
    EXPECT_EQ(cpu.AF.lo, Z | PV | C);
    ASSERT_EQ(g_Flat.reads.size(), 1u);
    EXPECT_EQ(g_Flat.reads[0], 0x1234);

    EXPECT_EQ(Execute({0xED, 0x79}), 1u);  // OUT (C),A
    ASSERT_EQ(g_Flat.writes.size(), 1u);
    EXPECT_EQ(g_Flat.writes[0].port, 0x1234);
    EXPECT_EQ(g_Flat.writes[0].value, 0x55);
    EXPECT_EQ(g_Flat.writes[0].updatedAt, 7u);

    EXPECT_EQ(Execute({0xED, 0x71}), 4u);  // OUT (C),0: nothing ahead
    ASSERT_EQ(g_Flat.writes.size(), 2u);
    EXPECT_EQ(g_Flat.writes[1].value, 0x00);
    EXPECT_EQ(g_Flat.writes[1].updatedAt, 8u);
    EXPECT_EQ(g_Flat.updatedMicroseconds, 12u);
}

TEST_F(Z80Prefixed, BlockPortInstructionsCountBDown) {
    cpu.BC.w = 0x0122;
    cpu.HL.w = 0x4000;
    cpu.AF.lo = C;
    FlatMachine_Load(0x4000, {0xAB, 0xCD});
    EXPECT_EQ(Execute({0xED, 0xA3}), 2u);  // OUTI: 5, of which 3 ahead
    ASSERT_EQ(g_Flat.writes.size(), 1u);
    EXPECT_EQ(g_Flat.writes[0].port, 0x0022);  // B already decremented
    EXPECT_EQ(g_Flat.writes[0].value, 0xAB);
    EXPECT_EQ(g_Flat.writes[0].updatedAt, 3u);
    EXPECT_EQ(cpu.HL.w, 0x4001);
    EXPECT_EQ(cpu.AF.lo, Z | N | C);

    cpu.BC.hi = 3;
    Execute({0xED, 0xAB});  // OUTD
    EXPECT_EQ(g_Flat.writes[1].port, 0x0222);
    EXPECT_EQ(g_Flat.writes[1].value, 0xCD);
    EXPECT_EQ(cpu.HL.w, 0x4000);
    EXPECT_EQ(cpu.AF.lo, N | C);

    g_Flat.portValue = 0x77;
    cpu.BC.w = 0x0210;
    EXPECT_EQ(Execute({0xED, 0xA2}), 5u);  // INI
    EXPECT_EQ(g_Flat.reads.back(), 0x0210);
    EXPECT_EQ(Memory(0x4000), 0x77);
    EXPECT_EQ(cpu.BC.hi, 1);
    EXPECT_EQ(cpu.HL.w, 0x4001);
    Execute({0xED, 0xAA});  // IND
    EXPECT_EQ(cpu.BC.hi, 0);
    EXPECT_EQ(cpu.HL.w, 0x4000);
    EXPECT_EQ(cpu.AF.lo, Z | N | C);
}

TEST_F(Z80Prefixed, BlockMoves) {
    FlatMachine_Load(0x4000, {1, 2, 3, 4});
    cpu.HL.w = 0x4000;
    cpu.DE.w = 0x5000;
    cpu.BC.w = 1;
    cpu.AF.lo = S | Z | C | H | N;
    cpu.PC = 0x0100;
    EXPECT_EQ(Execute({0xED, 0xB0}), 5u);  // LDIR with BC = 1: one byte
    EXPECT_EQ(Memory(0x5000), 1);
    EXPECT_EQ(cpu.PC, 0x0102);
    EXPECT_EQ(cpu.BC.w, 0);
    EXPECT_EQ(cpu.AF.lo, S | Z | C);
    EXPECT_EQ(cpu.intExtra, 0);

    cpu.BC.w = 3;
    cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 6u);  // repeats: PC back on the instruction
    EXPECT_EQ(cpu.PC, 0x0100);
    EXPECT_TRUE(Flag(PV));
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(Step(), 5u);
    EXPECT_EQ(cpu.PC, 0x0102);
    EXPECT_EQ(Memory(0x5003), 4);
    EXPECT_EQ(cpu.HL.w, 0x4004);
    EXPECT_FALSE(Flag(PV));

    cpu.HL.w = 0x4003;
    cpu.DE.w = 0x6003;
    cpu.BC.w = 2;
    EXPECT_EQ(Execute({0xED, 0xA8}), 5u);  // LDD
    EXPECT_EQ(Memory(0x6003), 4);
    EXPECT_EQ(cpu.DE.w, 0x6002);
    EXPECT_TRUE(Flag(PV));
    cpu.PC = 0x0200;
    Execute({0xED, 0xB8});  // LDDR finishes the last byte
    EXPECT_EQ(Memory(0x6002), 3);
    EXPECT_EQ(cpu.BC.w, 0);
    EXPECT_EQ(cpu.PC, 0x0202);
}

TEST_F(Z80Prefixed, BlockMoveWithZeroCountCopies65536Bytes) {
    cpu.HL.w = cpu.DE.w = 0x9000;
    cpu.BC.w = 0;
    cpu.PC = 0x0100;
    FlatMachine_Load(0x0100, {0xED, 0xB0});
    uint32_t passes = 0;
    while (cpu.PC == 0x0100 && passes < 70000) {
        Step();
        ++passes;
    }
    EXPECT_EQ(passes, 65536u);
    EXPECT_EQ(cpu.time, 65535u * 6 + 5);
    EXPECT_EQ(cpu.HL.w, 0x9000);
    EXPECT_EQ(cpu.BC.w, 0);
}

TEST_F(Z80Prefixed, BlockComparesStopOnMatchOrCount) {
    FlatMachine_Load(0x4000, {0x11, 0x22, 0x33, 0x44});
    cpu.AF.w = 0x3300 | C;
    cpu.HL.w = 0x4000;
    cpu.BC.w = 4;
    cpu.PC = 0x0100;
    FlatMachine_Load(0x0100, {0xED, 0xB1});  // CPIR
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(cpu.intExtra, 0);
    EXPECT_EQ(cpu.AF.lo, PV | N | C);
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(Step(), 4u);  // match
    EXPECT_EQ(cpu.AF.lo, Z | PV | N | C);
    EXPECT_EQ(cpu.intExtra, 1);
    EXPECT_EQ(cpu.HL.w, 0x4003);
    EXPECT_EQ(cpu.BC.w, 1);
    EXPECT_EQ(cpu.PC, 0x0102);

    cpu.AF.w = 0x9900;
    cpu.HL.w = 0x4000;
    cpu.BC.w = 2;
    cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(cpu.AF.lo, S | PV | N);
    EXPECT_EQ(Step(), 4u);  // count exhausted
    EXPECT_EQ(cpu.AF.lo, N);
    EXPECT_EQ(cpu.PC, 0x0102);

    cpu.AF.w = 0x1000;
    cpu.HL.w = 0x4000;
    cpu.BC.w = 1;
    FlatMachine_Load(0x4000, {0x01});
    EXPECT_EQ(Execute({0xED, 0xA9}), 4u);  // CPD: borrow from bit 4
    EXPECT_EQ(cpu.AF.lo, H | N);
    EXPECT_EQ(cpu.HL.w, 0x3FFF);
}
