// What the ZEXDOC exerciser cannot see: flag bits this processor defines its own way,
// I and R, port I/O and the edges of the block instructions. Ordinary
// results and documented flags of every group are proven by tests/zexdoc.
#include "z80_fixture.h"

using namespace z80_flags;
using Z80Instruction = Z80Test;

TEST_F(Z80Instruction, FlagBits5And3AreNeverComputed) {
    const std::vector<uint8_t> operations[] = {
        {0x80},       {0xFE, 0x07}, {0xA0},       {0x3C},       {0x35},       {0x07},
        {0x17},       {0x2F},       {0x37},       {0x3F},       {0x09},       {0xCB, 0x00},
        {0xCB, 0x3E}, {0xCB, 0x58}, {0xED, 0x4A}, {0xED, 0x42}, {0xED, 0x44}, {0xED, 0x57},
        {0xED, 0x6F}, {0xED, 0x40}, {0xED, 0xA0}, {0xED, 0xA1}, {0xED, 0xA3},
    };
    // Whatever a real chip would copy from a result, one of the two presets differs.
    for (const auto& bytes : operations) {
        for (uint8_t preset : {uint8_t{0}, kBits53}) {
            SetUp();
            cpu.AF.w = static_cast<uint16_t>(0x2C00 | preset | C);
            cpu.BC.w = 0x0C28;
            cpu.HL.w = 0x4000;
            g_Flat.memory[0x4000] = 0x29;
            Execute(bytes);
            EXPECT_EQ(cpu.AF.lo & kBits53, preset) << int(bytes[0]) << " " << int(bytes.back());
        }
    }
}

// Flags the exerciser masks out, and forms it does not try.
TEST_F(Z80Instruction, FlagsOutsideTheExercisersView) {
    struct Case {
        std::vector<uint8_t> bytes;
        uint16_t af, hl, bc, expectedAf;
    };
    // clang-format off
    const Case cases[] = {
        {{0xCB, 0x7F}, 0x8000, 0, 0, 0x8000 | H},                   // BIT keeps S and P/V
        {{0xCB, 0x47}, S | PV | N | C, 0, 0, S | Z | H | PV | C},
        {{0x09}, C, 0x0FFF, 1, H},                                   // H from bit 11
        {{0x09}, 0, 0x0FFE, 1, 0},
        {{0xED, 0x4A}, C, 0x0FFE, 1, H},
        {{0xED, 0x4A}, C, 0x0EFE, 0x100, 0},
        {{0xED, 0x42}, C, 0x1000, 0, H | N},                         // borrow from bit 12
        {{0xED, 0x42}, C, 0x1002, 1, N},
        {{0xED, 0x64}, 0x0100, 0, 0, 0xFF00 | S | H | N | C},        // NEG's aliases
        {{0xED, 0x7C}, 0x0100, 0, 0, 0xFF00 | S | H | N | C},
        {{0x27}, 0x3C00 | kBits53, 0, 0, 0x4200 | H | PV},            // DAA clears bits 5, 3
    };
    // clang-format on
    for (const Case& test : cases) {
        cpu.AF.w = test.af, cpu.HL.w = test.hl, cpu.BC.w = test.bc;
        Execute(test.bytes);
        EXPECT_EQ(cpu.AF.w, test.expectedAf) << ::testing::PrintToString(test.bytes);
    }
}

// IM and LD I,A are covered by the interrupt tests.
TEST_F(Z80Instruction, RefreshRegisterAndReturnFromInterrupt) {
    cpu.AF.w = 0x8500, cpu.IFF2 = 1;
    Execute({0xED, 0x4F});  // LD R,A: all 8 bits
    EXPECT_EQ(cpu.R, 0x85);
    Execute({0x00});
    cpu.AF.lo = C | H | N;
    Execute({0xED, 0x5F});  // LD A,R: counted on, bit 7 kept; P/V from IFF2
    EXPECT_EQ(cpu.AF.w, 0x8800 | S | PV | C);
    cpu.I = 0, cpu.IFF2 = 0;
    Execute({0xED, 0x57});  // LD A,I
    EXPECT_EQ(cpu.AF.w, 0x0000 | Z | C);

    cpu.IFF1 = 0;
    FlatMachine_Load(cpu.SP, {0x34, 0x12});
    Execute({0xED, 0x4D});  // RETI tells the machine and leaves IFF1 alone
    EXPECT_EQ(cpu.PC, 0x1234);
    EXPECT_EQ(g_Flat.retis, 1);
    EXPECT_EQ(cpu.IFF1, 0);
}

TEST_F(Z80Instruction, PortInstructions) {
    cpu.AF.w = 0x1200 | C | H | N;
    cpu.BC.w = 0x1234;
    g_Flat.portValue = 0x00;
    Execute({0xDB, 0x56});  // IN A,(n): A is the high byte, no flags
    Execute({0xED, 0x50});  // IN D,(C): flags from the value, C kept
    EXPECT_EQ(g_Flat.reads, (std::vector<uint16_t>{0x1256, 0x1234}));
    EXPECT_EQ(cpu.AF.w, 0x0000 | Z | PV | C);

    cpu.AF.hi = 0x55, cpu.DE.lo = 0x66;
    Execute({0xD3, 0x78});  // OUT (n),A
    Execute({0xED, 0x59});  // OUT (C),E
    Execute({0xED, 0x71});  // OUT (C),0
    // OUTI and OUTD send to the port with B already decremented.
    cpu.AF.lo = C, cpu.BC.w = 0x0122, cpu.HL.w = 0x4000;
    FlatMachine_Load(0x4000, {0xAB, 0xCD});
    Execute({0xED, 0xA3});  // OUTI
    EXPECT_EQ(cpu.AF.lo, Z | N | C);
    EXPECT_EQ(cpu.HL.w, 0x4001);
    cpu.BC.hi = 3;
    Execute({0xED, 0xAB});  // OUTD
    EXPECT_EQ(cpu.AF.lo, N | C);
    EXPECT_EQ(cpu.HL.w, 0x4000);
    const uint16_t expected[][2] = {
        {0x5578, 0x55}, {0x1234, 0x66}, {0x1234, 0x00}, {0x0022, 0xAB}, {0x0222, 0xCD}};
    ASSERT_EQ(g_Flat.writes.size(), 5u);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(g_Flat.writes[i].port, expected[i][0]) << i;
        EXPECT_EQ(g_Flat.writes[i].value, expected[i][1]) << i;
    }

    g_Flat.portValue = 0x77;
    cpu.BC.w = 0x0210;
    Execute({0xED, 0xA2});  // INI reads the port with B not yet decremented
    EXPECT_EQ(g_Flat.reads.back(), 0x0210);
    EXPECT_EQ(Memory(0x4000), 0x77);
    EXPECT_EQ(cpu.HL.w, 0x4001);
    Execute({0xED, 0xAA});  // IND
    EXPECT_EQ(cpu.BC.hi, 0);
    EXPECT_EQ(cpu.HL.w, 0x4000);
    EXPECT_EQ(cpu.AF.lo, Z | N | C);
}

TEST_F(Z80Instruction, BlockMoves) {
    FlatMachine_Load(0x4000, {1, 2, 3, 4});
    FlatMachine_Load(0x0100, {0xED, 0xB0});  // LDIR
    cpu.HL.w = 0x4000, cpu.DE.w = 0x5000, cpu.BC.w = 1, cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 5u);  // BC = 1: one byte
    EXPECT_EQ(cpu.PC, 0x0102);
    EXPECT_EQ(cpu.BC.w, 0);
    EXPECT_FALSE(cpu.AF.lo & PV);

    cpu.BC.w = 3, cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 6u);  // repeats: PC back on the instruction
    EXPECT_EQ(cpu.PC, 0x0100);
    EXPECT_TRUE(cpu.AF.lo & PV);
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(Step(), 5u);
    EXPECT_EQ(cpu.PC, 0x0102);
    EXPECT_EQ(MemoryWord(0x5000) | MemoryWord(0x5002) << 16, 0x04030201u);

    cpu.HL.w = 0x4003, cpu.DE.w = 0x6003, cpu.BC.w = 2;
    EXPECT_EQ(Execute({0xED, 0xB8}), 6u);  // LDDR
    EXPECT_EQ(Step(), 5u);
    EXPECT_EQ(MemoryWord(0x6002), 0x0403);
    EXPECT_EQ(cpu.DE.w, 0x6001);

    // With BC = 0 the count wraps: 65536 bytes.
    cpu.HL.w = cpu.DE.w = 0x9000, cpu.BC.w = 0, cpu.PC = 0x0100, cpu.time = 0;
    uint32_t passes = 0;
    for (; cpu.PC == 0x0100 && passes < 70000; ++passes) Step();
    EXPECT_EQ(passes, 65536u);
    EXPECT_EQ(cpu.time, 65535u * 6 + 5);
    EXPECT_EQ(cpu.HL.w, 0x9000);
}

TEST_F(Z80Instruction, BlockComparesStopOnMatchOrCount) {
    FlatMachine_Load(0x4000, {0x11, 0x22, 0x33, 0x44});
    FlatMachine_Load(0x0100, {0xED, 0xB1});  // CPIR
    cpu.AF.w = 0x3300 | C, cpu.HL.w = 0x4000, cpu.BC.w = 4, cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(cpu.AF.lo, PV | N | C);
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(Step(), 4u);  // match
    EXPECT_EQ(cpu.AF.lo, Z | PV | N | C);
    EXPECT_EQ(cpu.HL.w, 0x4003);
    EXPECT_EQ(cpu.BC.w, 1);
    EXPECT_EQ(cpu.PC, 0x0102);

    cpu.AF.w = 0x9900, cpu.HL.w = 0x4000, cpu.BC.w = 2, cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 6u);
    EXPECT_EQ(Step(), 4u);  // count exhausted
    EXPECT_EQ(cpu.AF.lo, N);
    EXPECT_EQ(cpu.PC, 0x0102);
}
