// What the reset keeps, and whole instructions run in a row against single steps; single
// instructions are the cases of cases.txt.
#include <cstring>

#include "trace_log.h"
#include "z80_fixture.h"

using Z80Step = Z80Test;
using Lines = std::vector<std::string>;

TEST_F(Z80Step, ResetKeepsBreakpointsAndTheMachine) {
    Z80_Breakpoint* list = reinterpret_cast<Z80_Breakpoint*>(&cpu);  // any non-null head
    cpu.breakpoints = list;
    cpu.time = 999;
    Z80_Reset(&cpu);
    EXPECT_EQ(cpu.breakpoints, list);
    EXPECT_EQ(cpu.machine->processor, &cpu);
    EXPECT_EQ(cpu.time, 0u);
}

// Instructions run in a row must leave everything as stepping them one at a time does.
// Random code reaches every prefix form and chain, unknown instructions, HALT, port
// accesses and changes of interrupt mode, with interrupts raised by the devices' time;
// each run ends at its count, at a stop or once the device time has reached its end.
TEST_F(Z80Step, RunningInARowMatchesSteppingOneAtATime) {
    // Every register and flag of the processor, the devices' time, the port accesses and
    // a hash of the memory.
    using Snapshot = std::vector<uint64_t>;
    auto snapshot = [this] {
        const Z80_State& c = cpu;
        Snapshot s = {c.AF.w,
                      c.BC.w,
                      c.DE.w,
                      c.HL.w,
                      c.AF_.w,
                      c.BC_.w,
                      c.DE_.w,
                      c.HL_.w,
                      c.IX.w,
                      c.IY.w,
                      c.PC,
                      c.SP,
                      c.startPC,
                      c.I,
                      c.R,
                      c.IM,
                      c.IFF1,
                      c.IFF2,
                      c.halted,
                      c.intExtra,
                      c.running,
                      c.stopReason,
                      c.time,
                      g_Flat.updatedMicroseconds,
                      c.machine->deviceTime,
                      g_Flat.reads.size() + g_Flat.writes.size(),
                      14695981039346656037ull};
        for (size_t at = 0; at < sizeof g_Flat.memory; at += 8) {
            uint64_t word;
            std::memcpy(&word, g_Flat.memory + at, 8);
            s.back() = (s.back() ^ word) * 1099511628211ull;
        }
        return s;
    };
    struct Run {
        uint32_t count;
        uint64_t end;
        uint32_t done;
        Snapshot after;
    };

    TraceLog::Take();
    for (uint32_t seed : {1u, 2u, 3u}) {
        uint32_t random = seed;
        auto next = [&random] { return random = random * 1103515245u + 12345u, random >> 16; };
        auto start = [&] {
            FlatMachine_ResetProcessor(&cpu);
            random = seed;
            // One byte in eight a prefix, so that chains of them are common too.
            const uint8_t prefixes[] = {0xCB, 0xDD, 0xED, 0xFD};
            for (uint8_t& byte : g_Flat.memory)
                byte = next() % 8 ? static_cast<uint8_t>(next()) : prefixes[next() % 4];
            g_Flat.interruptEvery = 97;
            cpu.IM = 1, cpu.IFF1 = cpu.IFF2 = 1, cpu.PC = 0x1000, cpu.running = 1;
        };
        // After a stop both sides go on the same way: past the byte, or out of HALT.
        auto goOn = [this] {
            if (cpu.running) return;
            if (cpu.halted)
                cpu.halted = 0;
            else
                ++cpu.PC;
            cpu.running = 1;
        };

        start();
        std::vector<Run> runs;
        for (int k = 0; k < 800; ++k) {
            Run run{1 + next() % 40, cpu.machine->deviceTime + 1 + next() % 150, 0, {}};
            run.done = Z80_RunInstructions(&cpu, run.count, run.end);
            run.after = snapshot();
            goOn();
            runs.push_back(run);
        }
        Lines runTraces = TraceLog::Take();

        start();
        for (size_t k = 0; k < runs.size(); ++k) {
            const Run& run = runs[k];
            ASSERT_GE(run.done, 1u);
            for (uint32_t step = 1; step < run.done; ++step) {
                Z80_StepInstruction(&cpu);
                ASSERT_EQ(cpu.running, 1) << "seed " << seed << " run " << k;
                ASSERT_LT(cpu.machine->deviceTime, run.end) << "seed " << seed << " run " << k;
            }
            Z80_StepInstruction(&cpu);
            ASSERT_TRUE(snapshot() == run.after) << "seed " << seed << " run " << k;
            ASSERT_TRUE(run.done == run.count || !cpu.running || cpu.machine->deviceTime >= run.end)
                << "seed " << seed << " run " << k;
            goOn();
        }
        EXPECT_EQ(TraceLog::Take(), runTraces) << "seed " << seed;
    }
}
