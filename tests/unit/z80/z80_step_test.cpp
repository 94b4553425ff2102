// The step: reset, interrupts and their timing, the EI delay, HALT, prefix bytes, R, the
// stop reasons and the traces of what it cannot run; whole instructions run in a row.
#include <cstring>

#include "trace_log.h"
#include "z80_fixture.h"

using Z80Step = Z80Test;
using Lines = std::vector<std::string>;

TEST_F(Z80Step, ResetSetsDocumentedValuesAndKeepsBreakpoints) {
    Z80_Breakpoint* list = reinterpret_cast<Z80_Breakpoint*>(&cpu);  // any non-null head
    cpu.breakpoints = list;
    cpu.PC = 0x1234, cpu.time = 999, cpu.IFF1 = cpu.IFF2 = 1, cpu.IM = 2, cpu.running = 1;
    cpu.R = 0x55, cpu.halted = 1, cpu.prefix = Z80_PREFIX_DD;
    Z80_Reset(&cpu);
    EXPECT_EQ(cpu.breakpoints, list);
    EXPECT_EQ(cpu.machine->processor, &cpu);
    EXPECT_EQ(g_Flat.resets, 2);  // once by the fixture, once here
    EXPECT_EQ(cpu.PC | cpu.time | cpu.IFF1 | cpu.IFF2 | cpu.IM | cpu.R | cpu.running | cpu.halted |
                  cpu.prefix,
              0u);
    EXPECT_EQ(cpu.SP & cpu.AF.w & cpu.HL_.w & cpu.IY.w, 0xFFFF);
    EXPECT_EQ(cpu.I, 0xFF);
}

TEST_F(Z80Step, InterruptModes) {
    cpu.IM = 1, cpu.IFF1 = cpu.IFF2 = 1, cpu.PC = 0x0100;
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u + 5u);  // NOP, then the interrupt
    EXPECT_EQ(cpu.PC, 0x0038);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0101);
    EXPECT_EQ(cpu.IFF1 | cpu.IFF2, 0);
    EXPECT_EQ(cpu.R, 2);  // the instruction and the acknowledge
    EXPECT_EQ(g_Flat.updatedMicroseconds, cpu.time);
    EXPECT_FALSE(g_Flat.interruptPending);

    // IM 2 reads the vector at I * 256 + 0x86, the byte the Gate Array leaves on the bus.
    cpu.IFF1 = 1, cpu.AF.hi = 0x40;
    Execute({0xED, 0x47});  // LD I,A
    Execute({0xED, 0x5E});  // IM 2
    FlatMachine_Load(0x4086, {0x34, 0x12});
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u + 19u);
    EXPECT_EQ(cpu.PC, 0x1234);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x003D);

    // IM 0 is acknowledged and lost.
    cpu.IM = 0, cpu.IFF1 = 1;  // ED 46 is not run: only the reset sets IM 0
    TraceLog::Take();
    g_Flat.interruptPending = true;
    EXPECT_EQ(Execute({0x00}), 1u);
    EXPECT_EQ(cpu.PC, 0x1235);
    EXPECT_EQ(cpu.IFF1, 1);
    EXPECT_FALSE(g_Flat.interruptPending);
    EXPECT_EQ(TraceLog::Take(), Lines{"* Z80_Step(): INT Mode (0) not supported - INT Ignored"});
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

    cpu.IFF1 = cpu.IFF2 = 1;
    g_Flat.interruptPending = true;
    Execute({0xF3});  // DI
    EXPECT_EQ(cpu.IFF1 | cpu.IFF2, 0);
    EXPECT_TRUE(g_Flat.interruptPending);
}

TEST_F(Z80Step, HaltCountsTimeAndRUntilTheInterrupt) {
    cpu.IM = 1, cpu.IFF1 = cpu.IFF2 = 1, cpu.running = 1, cpu.R = 0x80, cpu.PC = 0x0100;
    EXPECT_EQ(Execute({0x76}), 1u);
    EXPECT_EQ(cpu.halted, 1);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(Step(), 1u);
    EXPECT_EQ(cpu.PC, 0x0101);
    EXPECT_EQ(cpu.R, 0x80 + 11);  // bit 7 kept
    EXPECT_EQ(cpu.running, 1);
    g_Flat.interruptPending = true;
    EXPECT_EQ(Step(), 1u + 5u);
    EXPECT_EQ(cpu.halted, 0);
    EXPECT_EQ(MemoryWord(cpu.SP), 0x0101);  // returns past the HALT

    // With interrupts off the machine stops, without a stop reason.
    cpu.IFF1 = 0;
    cpu.PC = 0x0100;
    TraceLog::Take();
    Step();
    EXPECT_EQ(cpu.running, 0);
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);
    EXPECT_EQ(TraceLog::Take(),
              Lines{"* Z80_Step_Regular(): HALT entered while INT DISABLED. Processor hung..."});
}

TEST_F(Z80Step, RCountsSevenBitsOncePerOpcodeByte) {
    cpu.R = 0xFF;
    Execute({0x00});
    EXPECT_EQ(cpu.R, 0x80);
    cpu.R = 0;
    Execute({0xCB, 0x00});
    Execute({0xED, 0x44});
    Execute({0xDD, 0x23});
    EXPECT_EQ(cpu.R, 6);
    Execute({0xFD, 0xCB, 0x00, 0xC6});  // the CB after an index prefix does not count
    EXPECT_EQ(cpu.R, 8);
}

TEST_F(Z80Step, InvalidPrefixIsDroppedWithoutAdvancingTheDevices) {
    TraceLog::Take();
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

    // ED after an index prefix, and CB after ED, are dropped the same way.
    for (uint8_t first : {0xFD, 0xED}) {
        cpu.PC = 0x0100;
        FlatMachine_Load(0x0100, {first, static_cast<uint8_t>(first == 0xED ? 0xCB : 0xED), 0x00});
        EXPECT_EQ(Step(), 2u);
        EXPECT_EQ(cpu.PC, 0x0102);
    }

    // After CB, a prefix byte value is an ordinary opcode: CB DD is SET 3,L.
    cpu.HL.lo = 0;
    EXPECT_EQ(Execute({0xCB, 0xDD}), 2u);
    EXPECT_EQ(cpu.HL.lo, 0x08);
    // A step at address 0 notes the reset.
    EXPECT_EQ(TraceLog::Take(), (Lines{"Z80_Step(): --------------- Reset ---------------",
                                       "* Z80_Step(): PC=0001H, INVALID DD PREFIX",
                                       "* Z80_Step(): PC=0101H, INVALID ED PREFIX",
                                       "* Z80_Step(): PC=0101H, INVALID CB PREFIX"}));
}

TEST_F(Z80Step, UnknownEdInstructionStopsWithPcAndRAsBefore) {
    for (uint8_t code : {0x00, 0x45, 0x46, 0x4C, 0x54, 0x70, 0x77, 0xB2, 0xB3, 0xBB, 0xFF}) {
        cpu.PC = 0x0200, cpu.R = 0x10, cpu.running = 1;
        EXPECT_EQ(Execute({0xED, code}), 1u) << std::hex << int(code);
        EXPECT_EQ(cpu.stopReason, Z80_STOP_UNKNOWN_INSTRUCTION) << std::hex << int(code);
        EXPECT_EQ(cpu.PC, 0x0200);
        EXPECT_EQ(cpu.startPC, 0x0200);
        EXPECT_EQ(cpu.R, 0x11);  // as noted when the opcode byte's step began
        EXPECT_EQ(cpu.running, 0);
    }
    // The next step starts afresh and clears the reason.
    Execute({0x00});
    EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE);
    TraceLog::Take();
    cpu.PC = 0x0300;
    Execute({0xED, 0xB3});
    Execute({0xFD, 0x8D});
    Execute({0xDD, 0xCB, 0x05, 0x00});
    EXPECT_EQ(TraceLog::Take(),
              (Lines{"* Z80_Step_ED(): PC=0301H, UNKNOWN INSTRUCTION: ED B3",
                     "* Z80_Step_DD_FD(): PC=0300H, UNKNOWN INSTRUCTION: FD 8D",
                     "* Z80_Step_DD_FD(): PC=0303H, UNKNOWN INSTRUCTION: DD CB 00"}));
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
