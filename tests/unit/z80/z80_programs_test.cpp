// Small assembled programs (tests/z80asm), checked by their exact results and times.
#include <algorithm>

#include "z80_fixture.h"

class Z80Program : public Z80Test {
   protected:
    void LoadProgram(const char* name) {
        std::vector<uint8_t> program = LoadTestProgram(name);
        ASSERT_FALSE(program.empty()) << name << ".bin was not assembled";
        FlatMachine_Load(0, program);
        cpu.PC = 0;
    }
};

TEST_F(Z80Program, BlockCopyChecksumAndSearch) {
    LoadProgram("blockcopy");
    std::vector<uint8_t> source(256);
    for (int i = 0; i < 256; ++i) source[i] = static_cast<uint8_t>(i * 7 + 3);
    FlatMachine_Load(0x1000, source);
    RunUntilStopped();
    ASSERT_EQ(cpu.halted, 1);

    EXPECT_TRUE(std::equal(source.begin(), source.end(), &g_Flat.memory[0x3000]));
    unsigned sum = 0;
    for (uint8_t byte : source) sum += byte;
    EXPECT_EQ(MemoryWord(0x4000), sum & 0xFFFF);
    unsigned found =
        static_cast<unsigned>(std::find(source.begin(), source.end(), 0xA5) - source.begin());
    ASSERT_LT(found, 256u);
    EXPECT_EQ(MemoryWord(0x4002), 0x3000 + found + 1);

    // Times from the listing: setup, LDIR, the summing loop, the search, the end.
    const uint32_t setup = 1 + 3 + 3 + 3 + 3;
    const uint32_t copy = 255 * 6 + 5;
    const uint32_t sumSetup = 3 + 3 + 3;
    const uint32_t sumLoop = 256 * (1 + 2 + 1 + 1 + 2 + 1 + 2 + 2 + 1 + 1) + 255 * 3 + 2;
    const uint32_t search = 6 + 3 + 3 + 2 + found * 6 + 4 + 5;
    EXPECT_EQ(cpu.time, setup + copy + sumSetup + sumLoop + search + 1);
    EXPECT_EQ(g_Flat.updatedMicroseconds, cpu.time);
}

TEST_F(Z80Program, InterruptMode2WakesHaltFiveTimes) {
    LoadProgram("im2halt");
    cpu.running = 1;
    uint32_t nextInterrupt = 1000;
    int steps = 0;
    while (cpu.running && steps++ < 100000) {
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
