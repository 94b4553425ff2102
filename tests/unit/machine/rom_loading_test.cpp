// Loading the ROM images at start-up, its failures, and release.
#include <cstring>
#include <functional>

#include "stand_in_machine.h"

using RomLoading = MachineTest;

TEST_F(RomLoading, MissingOrShortFilesFailAndHoldNothing) {
    // The folder was named without a separator (one is added), and once with one.
    EXPECT_EQ(std::string(PAL_GetRomDirectory()), folder_ + "/");
    PAL_SetRomDirectory((folder_ + "/").c_str());
    EXPECT_EQ(std::string(PAL_GetRomDirectory()), folder_ + "/");
    struct Case {
        const char* why;
        uint8_t type;
        std::function<void()> prepare;  // on top of the cases before
    };
    const Case cases[] = {
        {"no CPC464.rom", CPC_MODEL_464, [] {}},
        {"BASIC missing from a 16 KB file", CPC_MODEL_464,
         [this] { WriteModelFile("CPC464.rom", CPC_PAGE_SIZE); }},
        {"no amsdos.rom", CPC_MODEL_6128, [this] { WriteModelFile("CPC6128.rom"); }},
        {"short amsdos.rom", CPC_MODEL_6128, [this] { WriteAmsdos(CPC_PAGE_SIZE - 1); }},
        {"model 3 has no file", 0x03, [this] { WriteAllRoms(); }},
        {"nor has model 7", 0x07, [] {}},
    };
    for (const Case& c : cases) {
        c.prepare();
        EXPECT_EQ(CPC_Init(c.type, 0), nullptr) << c.why;
        EXPECT_TRUE(HoldsNothing()) << c.why;
    }
}

TEST_F(RomLoading, ImagesFillTheirPagesAndTheCreditRomCarriesTheBanner) {
    WriteModelFile("CPC464.rom", 2 * CPC_PAGE_SIZE + 5000);  // extra bytes are ignored
    ASSERT_EQ(CPC_Init(CPC_MODEL_464, 0), &g_Machine);
    const CPC_Machine& m = g_Machine;
    for (size_t at : {size_t{0}, CPC_PAGE_SIZE - 1}) {
        EXPECT_EQ(m.lowerRom[at], kLowerFill);
        EXPECT_EQ(m.upperRoms[0][at], kBasicFill);
    }
    for (int slot = 2; slot < 8; ++slot) EXPECT_EQ(m.upperRoms[slot], nullptr) << slot;
    for (int block = 0; block < 4; ++block) EXPECT_EQ(m.extraRam[block], nullptr);

    const uint8_t* credit = m.upperRoms[1];
    ASSERT_NE(credit, nullptr);
    EXPECT_EQ(credit[0], 0x01) << "background ROM";
    EXPECT_EQ(credit[4] | credit[5] << 8, 0xC009) << "name table address";
    EXPECT_EQ(std::memcmp(credit + 9, "CREDIT", 6), 0);
    EXPECT_EQ(credit[15], 'S' | 0x80);
    constexpr char kBanner[] = " Brallivane 0.6\r\n\r\n";
    EXPECT_EQ(std::memcmp(credit + 40, kBanner, sizeof kBanner), 0);
    for (size_t i = 40 + sizeof kBanner; i < CPC_PAGE_SIZE; ++i)
        ASSERT_EQ(credit[i], credit[40 + sizeof kBanner]) << i;

    CPC_Shutdown(&g_Machine);
    WriteAmsdos(CPC_PAGE_SIZE + 1);
    ASSERT_EQ(CPC_Init(CPC_MODEL_464_FDI, 0), &g_Machine);
    EXPECT_EQ(g_Machine.upperRoms[7][0], kAmsdosFill);
    EXPECT_EQ(g_Machine.upperRoms[7][CPC_PAGE_SIZE - 1], kAmsdosFill);
}

TEST_F(RomLoading, ReleaseTwiceFreesNothingTwice) {
    WriteAllRoms();
    ASSERT_EQ(CPC_Init(CPC_MODEL_6128, 0), &g_Machine);
    CPC_Reset();
    CPC_Shutdown(&g_Machine);
    CPC_Shutdown(&g_Machine);
    PAL_FreeRoms();
    EXPECT_TRUE(HoldsNothing());

    // A second load without a release in between replaces the images.
    ASSERT_TRUE(PAL_LoadRoms(CPC_MODEL_6128));
    ASSERT_TRUE(PAL_LoadRoms(CPC_MODEL_464));
    EXPECT_EQ(g_Machine.upperRoms[7], nullptr);
    PAL_FreeRoms();
    EXPECT_TRUE(HoldsNothing());
    PAL_SetRomDirectory("");
    EXPECT_STREQ(PAL_GetRomDirectory(), "../ROM/") << "the default folder";
}
