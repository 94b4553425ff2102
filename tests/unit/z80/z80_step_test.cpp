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
    struct Snapshot {
        uint16_t registers[10];
        uint16_t pc, sp, startPC;
        uint8_t i, r, im, iff1, iff2, halted, intExtra, running, stopReason;
        uint32_t time, updated;
        uint64_t deviceTime, memoryHash;
        size_t portAccesses;
        bool operator==(const Snapshot& other) const {
            return std::memcmp(this, &other, sizeof *this) == 0;
        }
    };
    auto snapshot = [this] {
        Snapshot s;
        std::memset(&s, 0, sizeof s);  // padding included, for memcmp
        const Z80_Pair* pairs[] = {&cpu.AF,  &cpu.BC,  &cpu.DE,  &cpu.HL, &cpu.AF_,
                                   &cpu.BC_, &cpu.DE_, &cpu.HL_, &cpu.IX, &cpu.IY};
        for (int k = 0; k < 10; ++k) s.registers[k] = pairs[k]->w;
        s.pc = cpu.PC, s.sp = cpu.SP, s.startPC = cpu.startPC, s.i = cpu.I, s.r = cpu.R;
        s.im = cpu.IM, s.iff1 = cpu.IFF1, s.iff2 = cpu.IFF2, s.halted = cpu.halted;
        s.intExtra = cpu.intExtra, s.running = cpu.running, s.stopReason = cpu.stopReason;
        s.time = cpu.time, s.updated = g_Flat.updatedMicroseconds;
        s.deviceTime = cpu.machine->deviceTime;
        s.memoryHash = 14695981039346656037ull;
        for (size_t at = 0; at < sizeof g_Flat.memory; at += 8) {
            uint64_t word;
            std::memcpy(&word, g_Flat.memory + at, 8);
            s.memoryHash = (s.memoryHash ^ word) * 1099511628211ull;
        }
        s.portAccesses = g_Flat.reads.size() + g_Flat.writes.size();
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
