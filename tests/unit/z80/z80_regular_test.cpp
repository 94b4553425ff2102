// Unprefixed instruction families: results, flags and microseconds.
#include "z80_fixture.h"

using Z80Regular = Z80Test;

namespace {
constexpr uint8_t S = Z80_FLAG_S, Z = Z80_FLAG_Z, H = Z80_FLAG_H, PV = Z80_FLAG_PV, N = Z80_FLAG_N,
                  C = Z80_FLAG_C;
constexpr uint8_t kBits53 = 0x28;
}  // namespace

TEST_F(Z80Regular, LoadsThroughRegistersMemoryAndPairs) {
    cpu.BC.w = 0x0102;
    cpu.HL.w = 0x4000;
    cpu.AF.hi = 0x07;
    EXPECT_EQ(Execute({0x41}), 1u);  // LD B,C
    EXPECT_EQ(cpu.BC.hi, 0x02);
    EXPECT_EQ(Execute({0x77}), 2u);  // LD (HL),A
    EXPECT_EQ(Memory(0x4000), 0x07);
    EXPECT_EQ(Execute({0x5E}), 2u);  // LD E,(HL)
    EXPECT_EQ(cpu.DE.lo, 0x07);
    EXPECT_EQ(Execute({0x36, 0x55}), 3u);  // LD (HL),n
    EXPECT_EQ(Memory(0x4000), 0x55);
    EXPECT_EQ(Execute({0x3E, 0x99}), 2u);  // LD A,n
    EXPECT_EQ(cpu.AF.hi, 0x99);
    EXPECT_EQ(Execute({0x31, 0x34, 0x12}), 3u);  // LD SP,nn
    EXPECT_EQ(cpu.SP, 0x1234);
    EXPECT_EQ(Execute({0x22, 0x00, 0x50}), 5u);  // LD (0x5000),HL
    EXPECT_EQ(MemoryWord(0x5000), 0x4000);
    FlatMachine_Load(0x5002, {0xCD, 0xAB});
    EXPECT_EQ(Execute({0x2A, 0x02, 0x50}), 5u);  // LD HL,(0x5002)
    EXPECT_EQ(cpu.HL.w, 0xABCD);
    EXPECT_EQ(Execute({0x32, 0x10, 0x50}), 4u);  // LD (0x5010),A
    EXPECT_EQ(Memory(0x5010), 0x99);
    cpu.DE.w = 0x5002;
    EXPECT_EQ(Execute({0x1A}), 2u);  // LD A,(DE)
    EXPECT_EQ(cpu.AF.hi, 0xCD);
    cpu.BC.w = 0x6000;
    EXPECT_EQ(Execute({0x02}), 2u);  // LD (BC),A
    EXPECT_EQ(Memory(0x6000), 0xCD);
}

TEST_F(Z80Regular, EightBitArithmeticFlags) {
    cpu.AF.w = 0x0000 | C;
    EXPECT_EQ(Execute({0xCE, 0x0F}), 2u);  // ADC A,0x0F with carry
    EXPECT_EQ(cpu.AF.hi, 0x10);
    EXPECT_EQ(cpu.AF.lo, H);

    cpu.AF.w = 0x0000 | C;
    Execute({0xCE, 0x7F});  // ADC A,0x7F: signed overflow
    EXPECT_EQ(cpu.AF.hi, 0x80);
    EXPECT_EQ(cpu.AF.lo, S | H | PV);

    cpu.AF.w = 0xFF00;
    cpu.BC.hi = 0x01;
    EXPECT_EQ(Execute({0x80}), 1u);  // ADD A,B
    EXPECT_EQ(cpu.AF.hi, 0x00);
    EXPECT_EQ(cpu.AF.lo, Z | H | C);

    cpu.AF.w = 0x8000;
    Execute({0xD6, 0x01});  // SUB 1
    EXPECT_EQ(cpu.AF.hi, 0x7F);
    EXPECT_EQ(cpu.AF.lo, H | PV | N);

    cpu.AF.w = 0x0000 | C;
    cpu.BC.hi = 0x00;
    Execute({0x98});  // SBC A,B
    EXPECT_EQ(cpu.AF.hi, 0xFF);
    EXPECT_EQ(cpu.AF.lo, S | H | N | C);

    cpu.AF.w = 0x1000 | kBits53;
    Execute({0xFE, 0x20});  // CP 0x20 leaves A and bits 5 and 3
    EXPECT_EQ(cpu.AF.hi, 0x10);
    EXPECT_EQ(cpu.AF.lo, S | N | C | kBits53);
}

TEST_F(Z80Regular, LogicalOperationsSetParity) {
    cpu.AF.w = 0xF000 | C;
    cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0x3C});
    EXPECT_EQ(Execute({0xA6}), 2u);  // AND (HL)
    EXPECT_EQ(cpu.AF.hi, 0x30);
    EXPECT_EQ(cpu.AF.lo, H | PV);
    EXPECT_EQ(Execute({0xAF}), 1u);  // XOR A
    EXPECT_EQ(cpu.AF.w, Z | PV);
    cpu.AF.hi = 0x01;
    cpu.BC.lo = 0x80;
    Execute({0xB1});  // OR C: 0x81, two bits set
    EXPECT_EQ(cpu.AF.hi, 0x81);
    EXPECT_EQ(cpu.AF.lo, S | PV);
}

TEST_F(Z80Regular, IncrementsAndDecrements) {
    cpu.AF.w = 0x7F00 | C;
    EXPECT_EQ(Execute({0x3C}), 1u);  // INC A keeps C
    EXPECT_EQ(cpu.AF.w, 0x8000 | S | H | PV | C);
    cpu.AF.lo = 0;
    cpu.BC.hi = 0x80;
    Execute({0x05});  // DEC B
    EXPECT_EQ(cpu.BC.hi, 0x7F);
    EXPECT_EQ(cpu.AF.lo, H | PV | N);
    cpu.DE.lo = 0x01;
    Execute({0x1D});  // DEC E
    EXPECT_EQ(cpu.AF.lo, Z | N);
    cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0xFF});
    EXPECT_EQ(Execute({0x34}), 3u);  // INC (HL)
    EXPECT_EQ(Memory(0x4000), 0x00);
    EXPECT_EQ(cpu.AF.lo, Z | H);

    cpu.AF.lo = 0xFF;
    cpu.BC.w = 0xFFFF;
    EXPECT_EQ(Execute({0x03}), 2u);  // INC BC: no flags, a cheaper interrupt after it
    EXPECT_EQ(cpu.BC.w, 0x0000);
    EXPECT_EQ(cpu.AF.lo, 0xFF);
    EXPECT_EQ(cpu.intExtra, 0);
    EXPECT_EQ(Execute({0x3B}), 2u);  // DEC SP
    EXPECT_EQ(cpu.SP, 0x7FFF);
}

TEST_F(Z80Regular, SixteenBitAddKeepsSignZeroAndParity) {
    cpu.AF.lo = S | Z | PV | N;
    cpu.HL.w = 0x0FFF;
    cpu.BC.w = 0x0001;
    EXPECT_EQ(Execute({0x09}), 3u);  // ADD HL,BC
    EXPECT_EQ(cpu.HL.w, 0x1000);
    EXPECT_EQ(cpu.AF.lo, S | Z | PV | H);
    cpu.AF.lo = 0;
    cpu.HL.w = 0x8000;
    Execute({0x29});  // ADD HL,HL
    EXPECT_EQ(cpu.HL.w, 0x0000);
    EXPECT_EQ(cpu.AF.lo, C);
}

TEST_F(Z80Regular, DecimalAdjustAfterAdditionAndSubtraction) {
    cpu.AF.w = 0x1500 | kBits53;
    Execute({0xC6, 0x27});  // ADD A,0x27 -> 0x3C
    EXPECT_EQ(Execute({0x27}), 1u);
    EXPECT_EQ(cpu.AF.hi, 0x42);
    EXPECT_EQ(cpu.AF.lo, H | PV);  // bits 5 and 3 end up 0
    cpu.AF.w = 0x9900;
    Execute({0xC6, 0x01});  // 0x9A
    Execute({0x27});
    EXPECT_EQ(cpu.AF.w, 0x0000 | Z | H | PV | C);
    cpu.AF.w = 0x4200;
    Execute({0xD6, 0x15});  // 0x2D with H and N
    Execute({0x27});
    EXPECT_EQ(cpu.AF.hi, 0x27);
    EXPECT_EQ(cpu.AF.lo, PV | N);
    cpu.AF.w = 0x1000;
    Execute({0xD6, 0x20});  // 0xF0 with a borrow
    Execute({0x27});
    EXPECT_EQ(cpu.AF.hi, 0x90);
    EXPECT_EQ(cpu.AF.lo, S | PV | N | C);
}

TEST_F(Z80Regular, AccumulatorRotatesAndCarryOperations) {
    cpu.AF.w = 0x8100 | S | Z | PV | H | N;
    EXPECT_EQ(Execute({0x07}), 1u);  // RLCA
    EXPECT_EQ(cpu.AF.w, 0x0300 | S | Z | PV | C);
    cpu.AF.w = 0x0100 | C;
    Execute({0x1F});  // RRA
    EXPECT_EQ(cpu.AF.w, 0x8000 | C);
    cpu.AF.w = 0x8000;
    Execute({0x17});  // RLA: Z is not touched
    EXPECT_EQ(cpu.AF.w, 0x0000 | C);
    cpu.AF.w = 0x0100;
    Execute({0x0F});  // RRCA
    EXPECT_EQ(cpu.AF.w, 0x8000 | C);

    cpu.AF.w = 0x5500;
    Execute({0x2F});  // CPL
    EXPECT_EQ(cpu.AF.w, 0xAA00 | H | N);
    Execute({0x37});  // SCF
    EXPECT_EQ(cpu.AF.lo, C);
    cpu.AF.lo = C | N;
    Execute({0x3F});  // CCF
    EXPECT_EQ(cpu.AF.lo, H);
    Execute({0x3F});
    EXPECT_EQ(cpu.AF.lo, C);
}

TEST_F(Z80Regular, RelativeJumpsTakeLongerWhenTaken) {
    cpu.PC = 0x0100;
    cpu.AF.lo = 0;
    EXPECT_EQ(Execute({0x20, 0x10}), 3u);  // JR NZ taken
    EXPECT_EQ(cpu.PC, 0x0112);
    EXPECT_EQ(Execute({0x28, 0x10}), 2u);  // JR Z not taken
    EXPECT_EQ(cpu.PC, 0x0114);
    EXPECT_EQ(Execute({0x18, 0xFC}), 3u);  // JR -4
    EXPECT_EQ(cpu.PC, 0x0112);
    cpu.AF.lo = C;
    EXPECT_EQ(Execute({0x38, 0x80}), 3u);  // JR C,-128
    EXPECT_EQ(cpu.PC, 0x0094);
    cpu.BC.hi = 2;
    EXPECT_EQ(Execute({0x10, 0xFE}), 4u);  // DJNZ to itself
    EXPECT_EQ(cpu.PC, 0x0094);
    EXPECT_EQ(Step(), 3u);
    EXPECT_EQ(cpu.BC.hi, 0);
    EXPECT_EQ(cpu.PC, 0x0096);
}

TEST_F(Z80Regular, CallsReturnsAndJumpsByCondition) {
    cpu.PC = 0x0100;
    cpu.AF.lo = Z;
    EXPECT_EQ(Execute({0xC4, 0x00, 0x30}), 3u);  // CALL NZ not taken
    EXPECT_EQ(cpu.PC, 0x0103);
    EXPECT_EQ(Execute({0xCC, 0x00, 0x30}), 5u);  // CALL Z taken
    EXPECT_EQ(cpu.PC, 0x3000);
    EXPECT_EQ(cpu.SP, 0x7FFE);
    EXPECT_EQ(MemoryWord(0x7FFE), 0x0106);
    EXPECT_EQ(Execute({0xC0}), 2u);  // RET NZ not taken: cheaper interrupt after it
    EXPECT_EQ(cpu.intExtra, 0);
    EXPECT_EQ(Execute({0xC8}), 4u);  // RET Z
    EXPECT_EQ(cpu.PC, 0x0106);
    EXPECT_EQ(cpu.SP, 0x8000);
    EXPECT_EQ(Execute({0xCD, 0x00, 0x30}), 5u);  // CALL nn
    FlatMachine_Load(0x3000, {0xC9});
    EXPECT_EQ(Step(), 3u);  // RET
    EXPECT_EQ(cpu.PC, 0x0109);

    cpu.AF.lo = S | PV;
    EXPECT_EQ(Execute({0xE2, 0x00, 0x20}), 3u);  // JP PO not taken
    EXPECT_EQ(cpu.PC, 0x010C);
    EXPECT_EQ(Execute({0xFA, 0x00, 0x20}), 3u);  // JP M taken
    EXPECT_EQ(cpu.PC, 0x2000);
    EXPECT_EQ(Execute({0xEF}), 4u);  // RST 0x28
    EXPECT_EQ(cpu.PC, 0x0028);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x2001);
    cpu.HL.w = 0x1234;
    EXPECT_EQ(Execute({0xE9}), 1u);  // JP (HL)
    EXPECT_EQ(cpu.PC, 0x1234);
}

TEST_F(Z80Regular, StackAndExchanges) {
    cpu.AF.w = 0x12D7;
    EXPECT_EQ(Execute({0xF5}), 4u);  // PUSH AF
    EXPECT_EQ(Memory(0x7FFF), 0x12);
    EXPECT_EQ(Memory(0x7FFE), 0xD7);
    EXPECT_EQ(Execute({0xD1}), 3u);  // POP DE
    EXPECT_EQ(cpu.DE.w, 0x12D7);

    cpu.AF_.w = 0x3456;
    EXPECT_EQ(Execute({0x08}), 1u);  // EX AF,AF'
    EXPECT_EQ(cpu.AF.w, 0x3456);
    EXPECT_EQ(cpu.AF_.w, 0x12D7);
    cpu.BC.w = 1, cpu.DE.w = 2, cpu.HL.w = 3;
    cpu.BC_.w = 4, cpu.DE_.w = 5, cpu.HL_.w = 6;
    EXPECT_EQ(Execute({0xD9}), 1u);  // EXX
    EXPECT_EQ(cpu.BC.w + cpu.DE.w * 10 + cpu.HL.w * 100, 4 + 50 + 600);
    EXPECT_EQ(cpu.HL_.w, 3);
    EXPECT_EQ(Execute({0xEB}), 1u);  // EX DE,HL
    EXPECT_EQ(cpu.DE.w, 6);
    EXPECT_EQ(cpu.HL.w, 5);

    FlatMachine_Load(0x8000, {0xCD, 0xAB});
    EXPECT_EQ(Execute({0xE3}), 6u);  // EX (SP),HL
    EXPECT_EQ(cpu.HL.w, 0xABCD);
    EXPECT_EQ(MemoryWord(0x8000), 5);
    EXPECT_EQ(cpu.intExtra, 0);
    EXPECT_EQ(Execute({0xF9}), 2u);  // LD SP,HL
    EXPECT_EQ(cpu.SP, 0xABCD);
    EXPECT_EQ(cpu.intExtra, 0);
}

TEST_F(Z80Regular, InputFromImmediatePortUsesAForTheHighByte) {
    cpu.AF.w = 0x1200;
    g_Flat.portValue = 0x5A;
    EXPECT_EQ(Execute({0xDB, 0x34}), 3u);
    EXPECT_EQ(cpu.AF.hi, 0x5A);
    EXPECT_EQ(cpu.AF.lo, 0x00);  // no flags
    ASSERT_EQ(g_Flat.reads.size(), 1u);
    EXPECT_EQ(g_Flat.reads[0], 0x1234);
}
