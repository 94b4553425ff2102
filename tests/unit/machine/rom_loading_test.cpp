// Loading the ROM images at start-up, its failures, and release.
#include <cstring>
#include <functional>

#include "flat_machine.h"
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

TEST_F(RomLoading, ImagesFillTheirPages) {
    WriteModelFile("CPC464.rom", 2 * CPC_PAGE_SIZE + 5000);  // extra bytes are ignored
    ASSERT_EQ(CPC_Init(CPC_MODEL_464, 0), &g_Machine);
    const CPC_Machine& m = g_Machine;
    for (size_t at : {size_t{0}, CPC_PAGE_SIZE - 1}) {
        EXPECT_EQ(m.lowerRom[at], kLowerFill);
        EXPECT_EQ(m.upperRoms[0][at], kBasicFill);
    }
    EXPECT_NE(m.upperRoms[1], nullptr) << "the credit ROM";
    for (int slot = 2; slot < 8; ++slot) EXPECT_EQ(m.upperRoms[slot], nullptr) << slot;
    for (int block = 0; block < 4; ++block) EXPECT_EQ(m.extraRam[block], nullptr);

    CPC_Shutdown(&g_Machine);
    WriteAmsdos(CPC_PAGE_SIZE + 1);
    ASSERT_EQ(CPC_Init(CPC_MODEL_464_FDI, 0), &g_Machine);
    EXPECT_EQ(g_Machine.upperRoms[7][0], kAmsdosFill);
    EXPECT_EQ(g_Machine.upperRoms[7][CPC_PAGE_SIZE - 1], kAmsdosFill);
}

// The firmware calls a background ROM's initialisation (the jump at 0xC006) with the free
// memory in DE and HL; ours prints the banner and returns them unchanged, carry set.
TEST_F(RomLoading, CreditRomPrintsTheBannerAsABackgroundRom) {
    WriteAllRoms();
    ASSERT_EQ(CPC_Init(CPC_MODEL_6128, 0), &g_Machine);
    const uint8_t* credit = g_Machine.upperRoms[1];
    EXPECT_EQ(credit[0], 0x01) << "background ROM";
    const uint8_t* name = credit + (credit[4] + 256 * credit[5] - 0xC000);
    EXPECT_EQ(std::string(name, name + 7), std::string("CREDIT") + char('S' | 0x80));

    Z80_State cpu{};
    FlatMachine_ResetProcessor(&cpu);
    FlatMachine_Load(0xC000, std::vector<uint8_t>(credit, credit + CPC_PAGE_SIZE));
    FlatMachine_Load(0xBB5A, {0xD3, 0x00, 0xC9});  // TXT OUTPUT: OUT (0),A; RET
    FlatMachine_Load(0x0100, {0x76});              // returns to a HALT
    FlatMachine_Load(0x7FFE, {0x00, 0x01});
    cpu.SP = 0x7FFE, cpu.PC = 0xC006, cpu.DE.w = 0xA6FB, cpu.HL.w = 0xABFF, cpu.AF.lo = 0;
    cpu.running = 1;
    for (int steps = 0; cpu.running && steps < 1000; ++steps) Z80_StepInstruction(&cpu);
    std::string printed;
    for (const FlatPortWrite& write : g_Flat.writes) printed += static_cast<char>(write.value);
    EXPECT_EQ(printed, " Brallivane 0.6\r\n\r\n");
    EXPECT_EQ(cpu.PC, 0x0101);
    EXPECT_EQ(cpu.SP, 0x8000);
    EXPECT_EQ(cpu.DE.w, 0xA6FB);
    EXPECT_EQ(cpu.HL.w, 0xABFF);
    EXPECT_TRUE(cpu.AF.lo & Z80_FLAG_C) << "initialised";
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
