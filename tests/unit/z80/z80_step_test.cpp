// The step: reset, interrupts and their timing, the EI delay, HALT, prefix bytes, R and
// the stop reasons.
#include "z80_fixture.h"

using Z80Step = Z80Test;

TEST_F(Z80Step, ResetSetsDocumentedValuesAndKeepsBreakpoints) {
    Z80_Breakpoint* list = reinterpret_cast<Z80_Breakpoint*>(&cpu);  // any non-null head
    cpu.breakpoints = list;
    cpu.PC = 0x1234;
    cpu.time = 999;
    cpu.IFF1 = 1;
    cpu.IM = 2;
    cpu.running = 1;
    int resetsBefore = g_Flat.resets;
    CPC_Machine* machine = cpu.machine;
    Z80_Reset(&cpu);

    EXPECT_EQ(cpu.breakpoints, list);
    EXPECT_EQ(cpu.machine, machine);
    EXPECT_EQ(machine->processor, &cpu);
    EXPECT_EQ(g_Flat.resets, resetsBefore + 1);
    EXPECT_EQ(cpu.PC, 0);
    EXPECT_EQ(cpu.time, 0u);
    EXPECT_EQ(cpu.IFF1, 0);
    EXPECT_EQ(cpu.IFF2, 0);
    EXPECT_EQ(cpu.IM, 0);
    EXPECT_EQ(cpu.R, 0);
    EXPECT_EQ(cpu.running, 0);
    EXPECT_EQ(cpu.halted, 0);
    EXPECT_EQ(cpu.prefix, 0);
    EXPECT_EQ(cpu.SP, 0xFFFF);
    EXPECT_EQ(cpu.AF.w, 0xFFFF);
    EXPECT_EQ(cpu.HL_.w, 0xFFFF);
    EXPECT_EQ(cpu.IY.w, 0xFFFF);
    EXPECT_EQ(cpu.I, 0xFF);
}

TEST_F(Z80Step, InterruptMode1CostsOneLessAfterInstructionsThatClearIntExtra) {
    cpu.IM = 1;
    cpu.IFF1 = cpu.IFF2 = 1;
    cpu.PC = 0x0100;
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x23}), 2u + 4u);  // INC HL, then the interrupt in 4
    EXPECT_EQ(cpu.PC, 0x0038);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0101);
    EXPECT_EQ(cpu.IFF1, 0);
    EXPECT_EQ(cpu.IFF2, 0);
    EXPECT_EQ(cpu.R, 2);  // the instruction and the acknowledge
    EXPECT_EQ(g_Flat.updatedMicroseconds, cpu.time);
    EXPECT_FALSE(g_Flat.interruptPending);

    cpu.IFF1 = 1;
    cpu.PC = 0x0200;
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u + 5u);  // NOP, then the interrupt in 5
    EXPECT_EQ(cpu.PC, 0x0038);
}

TEST_F(Z80Step, InterruptMode2ReadsTheVectorAtIAnd0x86) {
    cpu.IM = 2;
    cpu.IFF1 = cpu.IFF2 = 1;
    cpu.I = 0x40;
    cpu.PC = 0x0100;
    FlatMachine_Load(0x4086, {0x34, 0x12});
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u + 19u);
    EXPECT_EQ(cpu.PC, 0x1234);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0101);
}

TEST_F(Z80Step, InterruptMode0IsAcknowledgedAndLost) {
    cpu.IM = 0;
    cpu.IFF1 = cpu.IFF2 = 1;
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u);
    EXPECT_EQ(cpu.PC, 1);
    EXPECT_EQ(cpu.IFF1, 1);
    EXPECT_FALSE(g_Flat.interruptPending);
}

TEST_F(Z80Step, EnableTakesEffectAfterTheNextInstruction) {
    cpu.IM = 1;
    g_Flat.interruptPending = true;
    FlatMachine_Load(0, {0xFB, 0xED, 0x56, 0x00});  // EI; IM 1; NOP
    Step();
    EXPECT_EQ(cpu.PC, 1);  // not after EI itself
    EXPECT_EQ(cpu.IFF2, 1);
    Z80_Step(&cpu);  // the ED byte alone does not count the delay down
    EXPECT_EQ(cpu.IFF1, 2);
    Z80_Step(&cpu);
    EXPECT_EQ(cpu.PC, 0x0038);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0003);

    cpu.PC = 0x0100;
    cpu.IFF1 = cpu.IFF2 = 1;
    g_Flat.interruptPending = true;
    Execute({0xF3});  // DI
    EXPECT_EQ(cpu.PC, 0x0101);
    EXPECT_EQ(cpu.IFF1, 0);
    EXPECT_EQ(cpu.IFF2, 0);
    EXPECT_TRUE(g_Flat.interruptPending);
}

TEST_F(Z80Step, HaltCountsTimeAndRUntilTheInterrupt) {
    cpu.IM = 1;
    cpu.IFF1 = cpu.IFF2 = 1;
    cpu.running = 1;
    cpu.R = 0x80;
    FlatMachine_Load(0x0100, {0x76});
    cpu.PC = 0x0100;
    EXPECT_EQ(Step(), 1u);
    EXPECT_EQ(cpu.halted, 1);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(Step(), 1u);
    EXPECT_EQ(cpu.PC, 0x0101);
    EXPECT_EQ(cpu.R, 0x80 + 11);
    EXPECT_EQ(cpu.running, 1);
    g_Flat.interruptPending = true;
    EXPECT_EQ(Step(), 1u + 5u);
    EXPECT_EQ(cpu.halted, 0);
    EXPECT_EQ(cpu.PC, 0x0038);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0101);  // returns past the HALT

    // With interrupts off the machine stops, without a stop reason.
    cpu.IFF1 = 0;
    cpu.PC = 0x0100;
    Step();
    EXPECT_EQ(cpu.running, 0);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);
}

TEST_F(Z80Step, RCountsSevenBitsAndTwicePerPrefixedInstruction) {
    cpu.R = 0xFF;
    Execute({0x00});
    EXPECT_EQ(cpu.R, 0x80);
    cpu.R = 0;
    EXPECT_EQ(Execute({0xCB, 0x00}), 2u);  // RLC B
    EXPECT_EQ(cpu.R, 2);
    EXPECT_EQ(Execute({0xED, 0x44}), 2u);  // NEG
    EXPECT_EQ(cpu.R, 4);
    EXPECT_EQ(cpu.PC, 5);
}

TEST_F(Z80Step, SecondIndexPrefixIsDroppedWithoutAdvancingTheDevices) {
    cpu.IX.w = 0x5555;
    FlatMachine_Load(0, {0xDD, 0xDD, 0x21, 0x34, 0x12});
    EXPECT_EQ(Step(), 2u);  // DD, then the invalid DD: 2 microseconds, prefix dropped
    EXPECT_EQ(cpu.PC, 2);
    EXPECT_EQ(cpu.prefix, 0);
    EXPECT_EQ(cpu.R, 2);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);
    EXPECT_EQ(g_Flat.updatedMicroseconds, 0u);
    EXPECT_EQ(Step(), 3u);  // LD HL,nn as an unprefixed instruction
    EXPECT_EQ(cpu.HL.w, 0x1234);
    EXPECT_EQ(cpu.IX.w, 0x5555);
    EXPECT_EQ(g_Flat.updatedMicroseconds, 3u);

    // CB after ED is invalid too; the NOP after it runs.
    cpu.PC = 0x0100;
    FlatMachine_Load(0x0100, {0xED, 0xCB, 0x00});
    EXPECT_EQ(Step(), 2u);
    EXPECT_EQ(cpu.PC, 0x0102);
    EXPECT_EQ(Step(), 1u);

    // After CB, a prefix byte value is an ordinary opcode: CB DD is SET 3,L.
    cpu.HL.lo = 0;
    EXPECT_EQ(Execute({0xCB, 0xDD}), 2u);
    EXPECT_EQ(cpu.HL.lo, 0x08);
}

TEST_F(Z80Step, UnknownEdInstructionStopsWithPcOnThePrefix) {
    cpu.PC = 0x0200;
    cpu.running = 1;
    FlatMachine_Load(0x0200, {0xED, 0xB3});  // OTIR is not implemented
    EXPECT_EQ(Step(), 1u);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_UNKNOWN_INSTRUCTION);
    EXPECT_EQ(cpu.PC, 0x0200);
    EXPECT_EQ(cpu.startPC, 0x0200);
    EXPECT_EQ(cpu.R, 1);  // as noted when the opcode byte's step began
    EXPECT_EQ(cpu.running, 0);

    // The next step starts afresh and clears the reason.
    FlatMachine_Load(0x0200, {0x00});
    Step();
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);

    for (uint8_t code : {0x00, 0x45, 0x46, 0x4C, 0x70, 0x77, 0xB2, 0xBB, 0xFF}) {
        cpu.PC = 0x0300;
        Execute({0xED, code});
        EXPECT_EQ(cpu.stopReason, Z80_STOP_UNKNOWN_INSTRUCTION) << std::hex << int(code);
        EXPECT_EQ(cpu.PC, 0x0300);
    }
}

TEST_F(Z80Step, DevicesReceiveEachInstructionsTime) {
    FlatMachine_Load(0, {0x01, 0x00, 0x10,  // LD BC,0x1000   3
                         0xC5,              // PUSH BC        4
                         0xE1,              // POP HL         3
                         0x3E, 0x12,        // LD A,0x12      2
                         0xD3, 0x34});      // OUT (0x34),A   3, 2 ahead of the write
    for (int i = 0; i < 4; ++i) Step();
    EXPECT_EQ(cpu.time, 12u);
    EXPECT_EQ(g_Flat.updatedMicroseconds, 12u);
    EXPECT_EQ(Step(), 1u);  // the counter grows by the part after the write
    ASSERT_EQ(g_Flat.writes.size(), 1u);
    EXPECT_EQ(g_Flat.writes[0].port, 0x1234);
    EXPECT_EQ(g_Flat.writes[0].value, 0x12);
    EXPECT_EQ(g_Flat.writes[0].updatedAt, 14u);
    EXPECT_EQ(g_Flat.writes[0].time, 12u);
    EXPECT_EQ(g_Flat.updatedMicroseconds, 15u);
}
