// Loading the ROM images at start-up, its failures, and release.
#include <cstring>
#include <fstream>
#include <iterator>

#include "rom_folder.h"

namespace {
using RomLoading = RomFolderTest;

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

constexpr char kBanner[] = " Brallivane 0.6\r\n\r\n";
}  // namespace

TEST_F(RomLoading, DirectoryGetsASeparatorAndDefaultsToRomFolder) {
    EXPECT_EQ(std::string(PAL_GetRomDirectory()), folder_ + "/");
    PAL_SetRomDirectory((folder_ + "/").c_str());
    EXPECT_EQ(std::string(PAL_GetRomDirectory()), folder_ + "/");
    PAL_SetRomDirectory("");
    EXPECT_STREQ(PAL_GetRomDirectory(), "../ROM/");
}

TEST_F(RomLoading, MissingOrShortFilesFailAndHoldNothing) {
    EXPECT_EQ(CPC_Init(CPC_MODEL_464, 0), nullptr) << "no CPC464.rom";
    EXPECT_TRUE(HoldsNothing());

    WriteModelFile("CPC464.rom", CPC_PAGE_SIZE);
    EXPECT_EQ(CPC_Init(CPC_MODEL_464, 0), nullptr) << "BASIC missing from a 16 KB file";
    EXPECT_TRUE(HoldsNothing());

    WriteModelFile("CPC6128.rom");
    EXPECT_EQ(CPC_Init(CPC_MODEL_6128, 0), nullptr) << "no amsdos.rom";
    EXPECT_TRUE(HoldsNothing());
    WriteAmsdos(CPC_PAGE_SIZE - 1);
    EXPECT_EQ(CPC_Init(CPC_MODEL_6128, 0), nullptr) << "short amsdos.rom";
    EXPECT_TRUE(HoldsNothing());

    WriteAllRoms();
    EXPECT_EQ(CPC_Init(0x03, 0), nullptr) << "model 3 has no file";
    EXPECT_EQ(CPC_Init(0x07, 0), nullptr);
    EXPECT_TRUE(HoldsNothing());
}

TEST_F(RomLoading, ModelFileFillsLowerRomAndBasicIgnoringExtraBytes) {
    WriteModelFile("CPC464.rom", 2 * CPC_PAGE_SIZE + 5000);
    ASSERT_EQ(CPC_Init(CPC_MODEL_464, 0), &g_Machine);
    const CPC_Machine& m = g_Machine;
    EXPECT_EQ(m.lowerRom[0], kLowerFill);
    EXPECT_EQ(m.lowerRom[CPC_PAGE_SIZE - 1], kLowerFill);
    EXPECT_EQ(m.upperRoms[0][0], kBasicFill);
    EXPECT_EQ(m.upperRoms[0][CPC_PAGE_SIZE - 1], kBasicFill);
    EXPECT_EQ(m.upperRoms[7], nullptr) << "AMSDOS only with the disk interface";
    for (int slot = 2; slot < 7; ++slot) EXPECT_EQ(m.upperRoms[slot], nullptr) << slot;
    for (int block = 0; block < 4; ++block) EXPECT_EQ(m.extraRam[block], nullptr);

    CPC_Shutdown(&g_Machine);
    WriteAmsdos(CPC_PAGE_SIZE + 1);
    ASSERT_EQ(CPC_Init(CPC_MODEL_464_FDI, 0), &g_Machine);
    EXPECT_EQ(g_Machine.upperRoms[7][0], kAmsdosFill);
    EXPECT_EQ(g_Machine.upperRoms[7][CPC_PAGE_SIZE - 1], kAmsdosFill);
}

TEST_F(RomLoading, CreditRomCarriesTheBannerAndFillsItsPage) {
    WriteModelFile("CPC664.rom");
    ASSERT_EQ(CPC_Init(0x01, 0), &g_Machine);
    const uint8_t* credit = g_Machine.upperRoms[1];
    ASSERT_NE(credit, nullptr);
    EXPECT_EQ(credit[0], 0x01) << "background ROM";
    EXPECT_EQ(credit[4] | credit[5] << 8, 0xC009) << "name table address";
    EXPECT_EQ(std::memcmp(credit + 9, "CREDIT", 6), 0);
    EXPECT_EQ(credit[15], 'S' | 0x80);
    EXPECT_EQ(std::memcmp(credit + 40, kBanner, sizeof kBanner), 0);
    size_t end = 40 + sizeof kBanner;
    for (size_t i = end; i < CPC_PAGE_SIZE; ++i) ASSERT_EQ(credit[i], credit[end]) << i;
}

TEST_F(RomLoading, ReleaseTwiceFreesNothingTwice) {
    WriteAllRoms();
    ASSERT_EQ(CPC_Init(CPC_MODEL_6128, 0), &g_Machine);
    CPC_Reset();
    CPC_Shutdown(&g_Machine);
    EXPECT_TRUE(HoldsNothing());
    CPC_Shutdown(&g_Machine);
    PAL_FreeRoms();
    EXPECT_TRUE(HoldsNothing());

    // A second load without a release in between replaces the images.
    ASSERT_TRUE(PAL_LoadRoms(CPC_MODEL_6128));
    ASSERT_TRUE(PAL_LoadRoms(CPC_MODEL_464));
    EXPECT_EQ(g_Machine.upperRoms[7], nullptr);
    PAL_FreeRoms();
    EXPECT_TRUE(HoldsNothing());
}

TEST(RealFirmware, LoadsEveryModelAndShowsTheBannerInSlotOne) {
    const std::string roms = BRALLIVANE_SHARED_DIR "/roms";
    if (!std::filesystem::exists(roms + "/CPC6128.rom"))
        GTEST_SKIP() << "no firmware images in " << roms;
    PAL_SetRomDirectory(roms.c_str());

    for (uint8_t type : {CPC_MODEL_464, CPC_MODEL_464_FDI, CPC_MODEL_664, CPC_MODEL_6128}) {
        ASSERT_EQ(CPC_Init(type, 1), &g_Machine) << int(type);
        CPC_Shutdown(&g_Machine);
    }

    ASSERT_EQ(CPC_Init(CPC_MODEL_6128, 1), &g_Machine);
    CPC_Reset();
    std::vector<uint8_t> model = ReadWholeFile(roms + "/CPC6128.rom");
    std::vector<uint8_t> amsdos = ReadWholeFile(roms + "/amsdos.rom");
    ASSERT_GE(model.size(), 2 * CPC_PAGE_SIZE);
    ASSERT_GE(amsdos.size(), CPC_PAGE_SIZE);
    EXPECT_EQ(CPC_ReadMem(0x0000), model[0]);
    EXPECT_EQ(CPC_ReadMem(0x3FFF), model[CPC_PAGE_SIZE - 1]);
    EXPECT_EQ(CPC_ReadMem(0xC000), model[CPC_PAGE_SIZE]);
    EXPECT_EQ(CPC_ReadMem(0xFFFF), model[2 * CPC_PAGE_SIZE - 1]);

    CPC_SetRomConfig(0x307);
    EXPECT_EQ(CPC_ReadMem(0xC000), amsdos[0]);
    EXPECT_EQ(CPC_ReadMem(0xFFFF), amsdos[CPC_PAGE_SIZE - 1]);

    CPC_SetRomConfig(0x301);
    std::string text;
    for (uint16_t address = 0xC028; CPC_ReadMem(address) != 0; ++address)
        text += static_cast<char>(CPC_ReadMem(address));
    EXPECT_EQ(text, kBanner);

    CPC_Shutdown(&g_Machine);
    PAL_SetRomDirectory(nullptr);
}
