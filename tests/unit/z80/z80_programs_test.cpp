// An assembled program (tests/z80asm): interrupts in mode 2 waking HALT, checked by the
// count its handler keeps and by the exact time.
#include "z80_fixture.h"

TEST_F(Z80Test, InterruptMode2WakesHaltFiveTimes) {
    std::vector<uint8_t> program = LoadTestProgram("im2halt");
    ASSERT_FALSE(program.empty()) << "im2halt.bin was not assembled";
    FlatMachine_Load(0, program);
    cpu.PC = 0;
    cpu.running = 1;
    uint32_t nextInterrupt = 1000;
    for (int steps = 0; cpu.running && steps < 100000; ++steps) {
        if (nextInterrupt <= 5000 && cpu.time >= nextInterrupt) {
            g_Flat.interruptPending = true;
            nextInterrupt += 1000;
        }
        Z80_StepInstruction(&cpu);
    }
    ASSERT_EQ(cpu.running, 0);
    EXPECT_EQ(Memory(0x0200), 5);
    EXPECT_EQ(cpu.SP, 0x8000);
    EXPECT_EQ(cpu.IFF1, 0);
    // The fifth interrupt comes while halted at 5000: the halted step (1), the
    // acceptance (19), the handler (21), the loop's test (4 + 2 + 2), DI and HALT.
    EXPECT_EQ(cpu.time, 5000u + 1 + 19 + 21 + 8 + 1 + 1);
}
