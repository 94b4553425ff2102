// Instruction times in microseconds (CPC "NOP" counts): a few representatives of each
// opcode row and group, written from the published CPC timings rather than the code's
// tables; the part of each port instruction handed to the devices ahead of the access;
// and the time of an interrupt accepted right after each.
#include <algorithm>

#include "z80_fixture.h"

using Z80Timing = Z80Test;

namespace {

constexpr int kNoPort = -1;

struct Timing {
    std::vector<uint8_t> bytes;
    uint32_t time;
    int ahead = kNoPort;  // microseconds passed to the devices before the port access
};

// Run with F = 0 and B = 1: DJNZ falls through, block instructions repeat, and no
// block compare matches. The DD and FD forms are related to their unprefixed
// counterparts one by one in z80_indexed_tests.
// clang-format off
const Timing kTimings[] = {
    {{0x00}, 1}, {{0x01, 0, 0}, 3}, {{0x02}, 2}, {{0x03}, 2}, {{0x06, 0}, 2}, {{0x09}, 3},
    {{0x10, 0}, 3}, {{0x18, 0}, 3}, {{0x1A}, 2}, {{0x1F}, 1}, {{0x13}, 2}, {{0x1C}, 1},
    {{0x22, 0, 0x50}, 5}, {{0x2A, 0, 0}, 5}, {{0x27}, 1}, {{0x2B}, 2}, {{0x2F}, 1},
    {{0x32, 0, 0x50}, 4}, {{0x3A, 0, 0}, 4}, {{0x34}, 3}, {{0x35}, 3}, {{0x36, 0}, 3},
    {{0x37}, 1}, {{0x3F}, 1}, {{0x39}, 3}, {{0x41}, 1}, {{0x4E}, 2}, {{0x5F}, 1}, {{0x66}, 2},
    {{0x70}, 2}, {{0x76}, 1}, {{0x7E}, 2}, {{0x80}, 1}, {{0x8E}, 2}, {{0x96}, 2}, {{0x9F}, 1},
    {{0xA6}, 2}, {{0xAF}, 1}, {{0xB6}, 2}, {{0xBE}, 2}, {{0xC1}, 3}, {{0xC3, 0, 0}, 3},
    {{0xC5}, 4}, {{0xC6, 0}, 2}, {{0xC9}, 3}, {{0xCD, 0, 0}, 5}, {{0xCF}, 4},
    {{0xD3, 0x10}, 3, 2}, {{0xD9}, 1}, {{0xDB, 0x10}, 3, 0}, {{0xDE, 0}, 2}, {{0xE1}, 3},
    {{0xE3}, 6}, {{0xE5}, 4}, {{0xE9}, 1}, {{0xEB}, 1}, {{0xEE, 0}, 2}, {{0xF1}, 3},
    {{0xF3}, 1}, {{0xF9}, 2}, {{0xFB}, 1}, {{0xFE, 0}, 2}, {{0xFF}, 4},
    {{0xCB, 0x00}, 2}, {{0xCB, 0x7F}, 2}, {{0xCB, 0xFA}, 2}, {{0xCB, 0x06}, 4},
    {{0xCB, 0x46}, 3}, {{0xCB, 0x86}, 4}, {{0xCB, 0xFE}, 4},
    {{0xED, 0x40}, 4, 3}, {{0xED, 0x79}, 4, 3}, {{0xED, 0x71}, 4, 0}, {{0xED, 0x42}, 4},
    {{0xED, 0x7A}, 4}, {{0xED, 0x43, 0, 0x50}, 6}, {{0xED, 0x7B, 0, 0}, 6}, {{0xED, 0x44}, 2},
    {{0xED, 0x47}, 3}, {{0xED, 0x5F}, 3}, {{0xED, 0x4D}, 4}, {{0xED, 0x56}, 2},
    {{0xED, 0x5E}, 2}, {{0xED, 0x67}, 5}, {{0xED, 0x6F}, 5}, {{0xED, 0xA0}, 5},
    {{0xED, 0xA9}, 4}, {{0xED, 0xA2}, 5, 0}, {{0xED, 0xAB}, 5, 3}, {{0xED, 0xB0}, 6},
    {{0xED, 0xB8}, 6}, {{0xED, 0xB1}, 6}, {{0xED, 0xB9}, 6},
    {{0xDD, 0x21, 0, 0}, 4}, {{0xFD, 0x34, 0}, 6}, {{0xDD, 0x66, 0}, 5}, {{0xFD, 0xE5}, 5},
    {{0xDD, 0xE3}, 7}, {{0xDD, 0xCB, 0, 0x06}, 7}, {{0xFD, 0xCB, 0, 0x46}, 6},
    {{0xFD, 0x2B}, 3}, {{0xC8}, 2},
};

// After these an interrupt is accepted in 4 microseconds instead of 5.
const std::vector<uint8_t> kCheaperInterrupt[] = {
    {0x03}, {0x13}, {0x2B}, {0xC8}, {0xE3}, {0xF9}, {0xED, 0x47}, {0xED, 0x5F}, {0xED, 0xA0},
    {0xED, 0xB0}, {0xED, 0xB8}, {0xED, 0xB1}, {0xED, 0xB9}, {0xDD, 0xE3}, {0xFD, 0x2B},
};
// clang-format on

}  // namespace

TEST_F(Z80Timing, RepresentativeInstructionsTakeTheirPublishedTimes) {
    auto prepare = [this](bool interrupt) {
        SetUp();
        cpu.AF.w = 0x0100;
        cpu.BC.w = 0x0102;
        cpu.HL.w = cpu.DE.w = cpu.IX.w = cpu.IY.w = 0x4000;
        cpu.IM = 1, cpu.IFF1 = cpu.IFF2 = interrupt;
        g_Flat.interruptPending = interrupt;
    };
    for (const Timing& timing : kTimings) {
        std::string name = ::testing::PrintToString(timing.bytes);
        bool setsInterrupts = timing.bytes[0] == 0xF3 || timing.bytes[0] == 0xFB ||
                              timing.bytes == std::vector<uint8_t>{0xED, 0x5E};  // DI, EI, IM 2
        if (!setsInterrupts) {
            prepare(true);
            Execute(timing.bytes);
            bool cheaper = std::count(std::begin(kCheaperInterrupt), std::end(kCheaperInterrupt),
                                      timing.bytes) != 0;
            EXPECT_EQ(g_Flat.updatedMicroseconds, timing.time + (cheaper ? 4 : 5)) << name;
            EXPECT_EQ(cpu.PC, 0x0038) << name;
        }
        prepare(false);
        uint32_t counted = Execute(timing.bytes);
        EXPECT_EQ(g_Flat.updatedMicroseconds, timing.time) << name;
        EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE) << name;
        bool port = !g_Flat.reads.empty() || !g_Flat.writes.empty();
        EXPECT_EQ(port, timing.ahead != kNoPort) << name;
        // The processor's own counter grows only by the part after the access.
        int ahead = port ? timing.ahead : 0;
        EXPECT_EQ(g_Flat.portUpdatedAt, static_cast<uint32_t>(ahead)) << name;
        EXPECT_EQ(counted, timing.time - ahead) << name;
    }
}

// Every condition code, holding and failing, on JP, CALL, RET and JR, with its time.
TEST_F(Z80Timing, ConditionalInstructions) {
    const uint8_t conditionFlag[4] = {Z80_FLAG_Z, Z80_FLAG_C, Z80_FLAG_PV, Z80_FLAG_S};
    for (int cc = 0; cc < 8; ++cc) {
        for (bool holds : {false, true}) {
            bool flagSet = (cc & 1) ? holds : !holds;  // NZ, NC, PO and P hold on a clear flag
            uint8_t code = static_cast<uint8_t>(cc << 3);
            std::string label = "cc " + std::to_string(cc) + (holds ? " holds" : " fails");
            SetUp();
            cpu.AF.lo = flagSet ? conditionFlag[cc >> 1] : 0;
            EXPECT_EQ(Execute({static_cast<uint8_t>(0xC2 | code), 0x00, 0x30}), 3u) << label;
            EXPECT_EQ(cpu.PC, holds ? 0x3000 : 0x0003) << label;
            cpu.PC = 0x0100;
            EXPECT_EQ(Execute({static_cast<uint8_t>(0xC4 | code), 0x00, 0x30}), holds ? 5u : 3u)
                << label;
            EXPECT_EQ(cpu.PC, holds ? 0x3000 : 0x0103) << label;
            EXPECT_EQ(cpu.SP, holds ? 0x7FFE : 0x8000) << label;
            cpu.SP = 0x7FFE;
            FlatMachine_Load(0x7FFE, {0x03, 0x01});
            uint16_t next = static_cast<uint16_t>(cpu.PC + 1);
            EXPECT_EQ(Execute({static_cast<uint8_t>(0xC0 | code)}), holds ? 4u : 2u) << label;
            EXPECT_EQ(cpu.PC, holds ? 0x0103 : next) << label;
            EXPECT_EQ(cpu.SP, holds ? 0x8000 : 0x7FFE) << label;
            if (cc >= 4) continue;  // JR has the first four only
            cpu.PC = 0x0100;
            EXPECT_EQ(Execute({static_cast<uint8_t>(0x20 | code), 0x80}), holds ? 3u : 2u) << label;
            EXPECT_EQ(cpu.PC, holds ? 0x0082 : 0x0102) << label;  // -128 from 0x0102
        }
    }
    cpu.BC.hi = 2;
    cpu.PC = 0x0100;
    EXPECT_EQ(Execute({0x10, 0xFE}), 4u);  // DJNZ to itself
    EXPECT_EQ(cpu.PC, 0x0100);
    EXPECT_EQ(Step(), 3u);
    EXPECT_EQ(cpu.PC, 0x0102);
}
