// The memory map of a built machine: ROM selection, RAM banking, writes under ROM, the
// monitor's block read and the reset state. The ROM images are synthetic pages of one byte.
#include <array>

#include "rom_folder.h"

namespace {
class MemoryMap : public RomFolderTest {
   protected:
    void Start(uint8_t type) {
        WriteAllRoms();
        ASSERT_EQ(CPC_Init(type, 1), &g_Machine);
        CPC_Reset();
        // Mark every RAM block with its number at the start of the block.
        for (int block = 0; block < 4; ++block) {
            g_Machine.baseRam[block][0] = static_cast<uint8_t>(0xB0 + block);
            if (g_Machine.extraRam[block])
                g_Machine.extraRam[block][0] = static_cast<uint8_t>(0xB4 + block);
        }
    }
    static uint8_t ReadPageStart(int page) {
        return CPC_ReadMem(static_cast<uint16_t>(page << 14));
    }
};
}  // namespace

TEST_F(MemoryMap, InitInstallsTheMachineAndResetPagesBothRoms) {
    Start(CPC_MODEL_6128);
    const CPC_Machine& m = g_Machine;
    EXPECT_EQ(m.Type, CPC_MODEL_6128);
    EXPECT_EQ(m.ReadMem, CPC_ReadMem);
    EXPECT_EQ(m.Reset, CPC_Reset);
    EXPECT_EQ(m.MemAccess, CPC_MemAccess);
    EXPECT_EQ(m.horizontalOffset.load(), -13);

    EXPECT_EQ(m.memSelect, 0x300);
    EXPECT_EQ(ReadPageStart(0), kLowerFill);
    EXPECT_EQ(ReadPageStart(1), 0xB1);
    EXPECT_EQ(ReadPageStart(2), 0xB2);
    EXPECT_EQ(ReadPageStart(3), kBasicFill);
    EXPECT_EQ(m.ppi.portA, 0);
    EXPECT_EQ(m.ppi.portB, 0x1E);
    EXPECT_EQ(m.ppi.control, 0);

    CPC_Shutdown(&g_Machine);
    ASSERT_EQ(CPC_Init(CPC_MODEL_6128 | CPC_TYPE_FAST_CRTC, 0), &g_Machine);
    EXPECT_EQ(g_Machine.horizontalOffset.load(), -8);
}

TEST_F(MemoryMap, ResetRestoresMapAndChipsButKeepsPortCPensAndMode) {
    Start(CPC_MODEL_6128);
    CPC_Machine& m = g_Machine;
    ASSERT_TRUE(CPC_SetRamConfig(2));
    CPC_SetRomConfig(0x007);
    m.ppi.portA = 0x12;
    m.ppi.portB = 0x01;
    m.ppi.portC = 0x4C;
    m.ppi.control = 0x82;
    m.ga.intLineCounter = 40;
    m.ga.intPending = 1;
    m.ga.penInks[3] = 20;
    m.ga.screenMode = 2;

    CPC_Reset();
    EXPECT_EQ(m.memSelect, 0x300);
    for (int page = 0; page < 4; ++page) EXPECT_EQ(m.writeMap[page], m.baseRam[page]) << page;
    EXPECT_EQ(ReadPageStart(0), kLowerFill);
    EXPECT_EQ(ReadPageStart(1), 0xB1);
    EXPECT_EQ(ReadPageStart(3), kBasicFill);
    EXPECT_EQ(m.ppi.portA, 0);
    EXPECT_EQ(m.ppi.portB, 0x1E);
    EXPECT_EQ(m.ppi.control, 0);
    EXPECT_EQ(m.ppi.portC, 0x4C);
    EXPECT_EQ(m.ga.intLineCounter, 0);
    EXPECT_EQ(m.ga.intPending, 0);
    EXPECT_EQ(m.ga.penInks[3], 20);
    EXPECT_EQ(m.ga.screenMode, 2);
}

TEST_F(MemoryMap, UnconnectedUpperRomNumbersReadAsBasic) {
    Start(CPC_MODEL_6128);
    CPC_SetRomConfig(0x307);
    EXPECT_EQ(g_Machine.memSelect, 0x307);
    EXPECT_EQ(ReadPageStart(3), kAmsdosFill);
    CPC_SetRomConfig(0x301);
    EXPECT_EQ(ReadPageStart(3), 0x01) << "the credit ROM starts with its type byte";
    for (uint16_t number : {2, 6, 8, 0xFF}) {
        CPC_SetRomConfig(static_cast<uint16_t>(0x300 | number));
        EXPECT_EQ(g_Machine.memSelect, 0x300) << number;
        EXPECT_EQ(ReadPageStart(3), kBasicFill) << number;
    }

    CPC_Shutdown(&g_Machine);
    Start(CPC_MODEL_464);
    CPC_SetRomConfig(0x307);
    EXPECT_EQ(g_Machine.memSelect, 0x300) << "no AMSDOS without the disk interface";
    EXPECT_EQ(ReadPageStart(3), kBasicFill);
}

TEST_F(MemoryMap, WritesUnderRomLandInRam) {
    Start(CPC_MODEL_664);
    CPC_WriteMem(0x0005, 0x5A);
    CPC_WriteMem(0xFFFF, 0xA5);
    EXPECT_EQ(CPC_ReadMem(0x0005), kLowerFill);
    EXPECT_EQ(CPC_ReadMem(0xFFFF), kBasicFill);

    CPC_SetRomConfig(0x000);  // both ROMs off
    EXPECT_EQ(CPC_ReadMem(0x0005), 0x5A);
    EXPECT_EQ(CPC_ReadMem(0xFFFF), 0xA5);
    CPC_SetRomConfig(CPC_ROMCFG_UPPER);
    EXPECT_EQ(CPC_ReadMem(0x0005), 0x5A);
    EXPECT_EQ(CPC_ReadMem(0xFFFF), kBasicFill);
}

TEST_F(MemoryMap, RamConfigurationsFollowTheBankingTable) {
    Start(CPC_MODEL_6128);
    CPC_Machine& m = g_Machine;
    ASSERT_TRUE(CPC_SetRamConfig(2));
    CPC_WriteMem(0x0000, 0x5A);
    EXPECT_EQ(CPC_ReadMem(0x0000), kLowerFill) << "the lower ROM still shows for reading";
    EXPECT_EQ(m.extraRam[0][0], 0x5A);
    EXPECT_EQ(m.baseRam[0][0], 0xB0);
    EXPECT_EQ(ReadPageStart(1), 0xB5);
    EXPECT_EQ(ReadPageStart(2), 0xB6);
    EXPECT_EQ(ReadPageStart(3), kBasicFill);

    ASSERT_TRUE(CPC_SetRamConfig(3));
    EXPECT_EQ(ReadPageStart(1), 0xB3);
    EXPECT_EQ(ReadPageStart(2), 0xB2);
    CPC_SetRomConfig(0x000);
    EXPECT_EQ(ReadPageStart(0), 0xB0);
    EXPECT_EQ(ReadPageStart(3), 0xB7);
    ASSERT_TRUE(CPC_SetRamConfig(0x0B)) << "only the low three bits count";
    EXPECT_EQ(m.writeMap[1], m.baseRam[3]);
}

TEST_F(MemoryMap, BankingNeedsTheExtraRam) {
    Start(CPC_MODEL_664);
    const std::array<uint8_t*, 4> before = {g_Machine.writeMap[0], g_Machine.writeMap[1],
                                            g_Machine.writeMap[2], g_Machine.writeMap[3]};
    for (uint8_t configuration = 1; configuration < 8; ++configuration)
        EXPECT_FALSE(CPC_SetRamConfig(configuration)) << int(configuration);
    for (int page = 0; page < 4; ++page) EXPECT_EQ(g_Machine.writeMap[page], before[page]);
    EXPECT_TRUE(CPC_SetRamConfig(0));
}

TEST_F(MemoryMap, BlockReadUsesItsOwnRomConfiguration) {
    Start(CPC_MODEL_6128);
    uint8_t bytes[4] = {};
    const uint16_t starts[4] = {0x0000, 0x4000, 0x8000, 0xC000};
    for (int page = 0; page < 4; ++page) {
        CPC_ReadBlock(starts[page], bytes + page, 1, 0x0000);
        EXPECT_EQ(bytes[page], 0xB0 + page) << "RAM in page " << page;
    }

    // Wrapping from 0xFFFF to 0x0000, with both ROMs and AMSDOS requested.
    uint8_t wrap[3] = {};
    CPC_ReadBlock(0xFFFF, wrap, 2, 0x307);
    EXPECT_EQ(wrap[0], kAmsdosFill);
    EXPECT_EQ(wrap[1], kLowerFill);
    CPC_ReadBlock(0xFFFF, wrap, 1, 0x305);
    EXPECT_EQ(wrap[0], kBasicFill) << "an empty slot reads as BASIC";
    CPC_ReadBlock(0xFFFF, wrap, 1, 0x3FF);
    EXPECT_EQ(wrap[0], kBasicFill);
    EXPECT_EQ(g_Machine.memSelect, 0x300) << "the block read changes nothing";
    EXPECT_EQ(ReadPageStart(0), kLowerFill);

    // The same through the monitor's memory access operations.
    CPC_BlockRequest request = {0x0000, bytes, 1, 0x0000};
    CPC_MemAccess(CPC_MEM_READ_BLOCK, &request);
    EXPECT_EQ(bytes[0], 0xB0);
    CPC_MemAccess(CPC_MEM_SET_ROM_CONFIG, reinterpret_cast<void*>(uintptr_t{0x207}));
    uint16_t word = 0;
    CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, &word);
    EXPECT_EQ(word, 0x207);
    EXPECT_EQ(ReadPageStart(0), 0xB0);
    EXPECT_EQ(ReadPageStart(3), kAmsdosFill);
    CPC_MemAccess(9, &word);
    CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, nullptr);
    CPC_MemAccess(CPC_MEM_READ_BLOCK, nullptr);
    EXPECT_EQ(g_Machine.memSelect, 0x207);
}
