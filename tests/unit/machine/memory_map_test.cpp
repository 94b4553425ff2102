// The memory map of a built machine: the reset state, ROM enables, RAM banking, and the
// monitor's block read.
#include "stand_in_machine.h"

using MemoryMap = MachineTest;

TEST_F(MemoryMap, ResetRestoresMapAndChipsButKeepsPortCPensAndMode) {
    Start(CPC_MODEL_6128);
    CPC_Machine& m = g_Machine;
    EXPECT_EQ(m.horizontalOffset.load(), -13);
    ASSERT_TRUE(CPC_SetRamConfig(2));
    CPC_SetRomConfig(0x007);
    m.ppi = {0x12, 0x01, 0x4C, 0x82};
    m.ga.intLineCounter = 40;
    m.ga.intPending = 1;
    m.ga.penInks[3] = 20;
    m.ga.screenMode = 2;

    CPC_Reset();
    EXPECT_EQ(m.memSelect, 0x300);
    EXPECT_TRUE(std::equal(m.writeMap, m.writeMap + 4, m.baseRam));
    EXPECT_EQ(Pages(), (Bytes{kLowerFill, kRamMark + 1, kRamMark + 2, kBasicFill}));
    EXPECT_EQ((Bytes{m.ppi.portA, m.ppi.portB, m.ppi.portC, m.ppi.control}),
              (Bytes{0, 0x1E, 0x4C, 0}));
    EXPECT_EQ((Bytes{m.ga.intLineCounter, m.ga.intPending, m.ga.penInks[3], m.ga.screenMode}),
              (Bytes{0, 0, 20, 2}));

    CPC_Shutdown(&g_Machine);
    ASSERT_EQ(CPC_Init(CPC_MODEL_6128 | CPC_TYPE_FAST_CRTC, 0), &g_Machine);
    EXPECT_EQ(g_Machine.horizontalOffset.load(), -8);
}

TEST_F(MemoryMap, WritesUnderRomLandInRamAndShowWhenTheGateArrayDisablesIt) {
    Start(CPC_MODEL_664);
    CPC_WriteMem(0x0000, 0x5A);
    CPC_WriteMem(0xC000, 0xA5);
    // Gate Array ROM enable bits, active low: bit 2 the lower ROM, bit 3 the upper.
    const std::pair<uint8_t, Bytes> cases[] = {
        {0x80, {kLowerFill, kRamMark + 1, kRamMark + 2, kBasicFill}},
        {0x8C, {0x5A, kRamMark + 1, kRamMark + 2, 0xA5}},
        {0x84, {0x5A, kRamMark + 1, kRamMark + 2, kBasicFill}},
        {0x88, {kLowerFill, kRamMark + 1, kRamMark + 2, 0xA5}},
    };
    for (const auto& [value, pages] : cases) {
        CPC_out(0x7F00, value);
        EXPECT_EQ(Pages(), pages) << int(value);
    }
}

TEST_F(MemoryMap, RamConfigurationsFollowTheBankingTable) {
    // The RAM block of each page, per configuration; blocks 4-7 are the second 64 KB.
    const uint8_t table[8][4] = {{0, 1, 2, 3}, {0, 1, 2, 7}, {4, 5, 6, 7}, {0, 3, 2, 7},
                                 {0, 4, 2, 3}, {0, 5, 2, 3}, {0, 6, 2, 3}, {0, 7, 2, 3}};
    Start(CPC_MODEL_6128);
    CPC_out(0x7F00, 0x8C);  // ROMs off, so that every page shows RAM
    for (uint8_t configuration = 0; configuration < 8; ++configuration) {
        CPC_out(0x7F00, 0xC0 | configuration);
        const uint8_t* blocks = table[configuration];
        EXPECT_EQ(Pages(), (Bytes{kRamMark + blocks[0], kRamMark + blocks[1], kRamMark + blocks[2],
                                  kRamMark + blocks[3]}))
            << "configuration " << int(configuration);
    }
    CPC_out(0x7F00, 0x80);  // the lower ROM shows over block 4 for reading, not writing
    CPC_out(0x7F00, 0xC2);
    CPC_WriteMem(0x0000, 0x5A);
    EXPECT_EQ(CPC_ReadMem(0x0000), kLowerFill);
    EXPECT_EQ(g_Machine.extraRam[0][0], 0x5A);
    EXPECT_EQ(g_Machine.baseRam[0][0], kRamMark);
    EXPECT_TRUE(Traces().empty());

    ASSERT_TRUE(CPC_SetRamConfig(0x0B)) << "only the low three bits count";
    EXPECT_EQ(g_Machine.writeMap[1], g_Machine.baseRam[3]);
}

TEST_F(MemoryMap, BankingNeedsTheExtraRamAndTheFirstBank) {
    for (uint8_t type : {CPC_MODEL_664, CPC_MODEL_6128}) {
        Start(type);
        const bool extra = type == CPC_MODEL_6128;
        uint8_t* before[4];
        std::copy(g_Machine.writeMap, g_Machine.writeMap + 4, before);
        CPC_out(0x7F00, 0xCA);  // configuration 2 of the second 64 KB bank
        EXPECT_EQ(Traces(), std::vector<std::string>{
                                extra ? "* EXP_out(): Logical block 1 not supported (only 0 is)"
                                      : "* EXP_out(CAH): RAM Memory management not implemented"});
        for (uint8_t configuration = 1; configuration < 8 && !extra; ++configuration)
            EXPECT_FALSE(CPC_SetRamConfig(configuration)) << int(configuration);
        EXPECT_TRUE(std::equal(before, before + 4, g_Machine.writeMap));
        EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
        EXPECT_TRUE(CPC_SetRamConfig(0));
        CPC_Shutdown(&g_Machine);
    }
}

TEST_F(MemoryMap, BlockReadUsesItsOwnRomConfiguration) {
    Start(CPC_MODEL_6128);
    uint8_t bytes[4] = {};
    for (int page = 0; page < 4; ++page)
        CPC_ReadBlock(static_cast<uint16_t>(page << 14), bytes + page, 1, 0x0000);
    EXPECT_EQ(Bytes(bytes, bytes + 4), (Bytes{kRamMark, kRamMark + 1, kRamMark + 2, kRamMark + 3}));
    // Wrapping from 0xFFFF to 0x0000; an empty or unknown slot reads as BASIC.
    CPC_ReadBlock(0xFFFF, bytes, 2, 0x307);
    EXPECT_EQ(Bytes(bytes, bytes + 2), (Bytes{kAmsdosFill, kLowerFill}));
    for (uint16_t config : {0x305, 0x302, 0x3FF}) {
        CPC_ReadBlock(0xFFFF, bytes, 1, config);
        EXPECT_EQ(bytes[0], kBasicFill) << config;
    }
    EXPECT_EQ(g_Machine.memSelect, 0x300) << "the block read changes nothing";
    EXPECT_EQ(PageStart(0), kLowerFill);

    // The same through the monitor's memory access operations; bad requests do nothing.
    CPC_BlockRequest request = {0x0000, bytes, 1, 0x0000};
    CPC_MemAccess(CPC_MEM_READ_BLOCK, &request);
    EXPECT_EQ(bytes[0], kRamMark);
    CPC_MemAccess(CPC_MEM_SET_ROM_CONFIG, reinterpret_cast<void*>(uintptr_t{0x207}));
    uint16_t word = 0;
    CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, &word);
    EXPECT_EQ(word, 0x207);
    EXPECT_EQ(Pages(), (Bytes{kRamMark, kRamMark + 1, kRamMark + 2, kAmsdosFill}));
    CPC_MemAccess(9, &word);
    CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, nullptr);
    CPC_MemAccess(CPC_MEM_READ_BLOCK, nullptr);
    EXPECT_EQ(g_Machine.memSelect, 0x207);
}
