// The PPI with the PSG bus behind it, and the Gate Array's pens, modes, ROM enables,
// interrupt counter and RAM banking.
#include "common/sound/psg.h"
#include "ports_fixture.h"

TEST_F(PortsTest, PsgRegister14ReadsTheKeyboardRowThroughThePpi) {
    StartMachine(CPC_MODEL_464);
    PSG_KeyEvent(PSG_KEY_JOY_FIRE1, 1);  // row 9, bit 5
    for (int i = 0; i < 100; ++i) CPC_Update(250);

    CPC_out(0xF400, 14);    // register number on port A
    CPC_out(0xF600, 0xC0);  // select
    CPC_out(0xF600, 0x00);  // inactive
    CPC_out(0xF600, 0x49);  // read, keyboard row 9
    EXPECT_EQ(g_Machine.ppi.portC, 0x49);
    EXPECT_EQ(CPC_in(0xF400), 0xDF);
    CPC_out(0xF600, 0x48);  // read row 8: nothing pressed there
    EXPECT_EQ(CPC_in(0xF400), 0xFF);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(PortsTest, PsgWriteThroughPortAWhileTheBusWrites) {
    StartMachine(CPC_MODEL_464);
    CPC_out(0xF400, 8);
    CPC_out(0xF600, 0xC0);  // select register 8
    CPC_out(0xF600, 0x80);  // write function: port A goes to the register
    CPC_out(0xF400, 0x0F);  // a new port A value is written at once too
    EXPECT_EQ(g_Machine.psg.registers[8], 0x0F);
    EXPECT_EQ(g_Machine.psg.selectedRegister, 8);
}

TEST_F(PortsTest, UnsupportedPpiFunctionsStopOrTrace) {
    StartMachine(CPC_MODEL_464);
    CPC_out(0xF500, 0xAA);
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{
                  "* PPI_out(): PPI Port B (F5) Write AAH -> Incompatible CPC, Ignored"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT);
    EXPECT_EQ(CPC_in(0xF500), 0x1E);

    processor_.stopReason = Z80_STOP_NONE;
    CPC_out(0xF600, 0x10);  // cassette motor on
    EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT);
    processor_.stopReason = Z80_STOP_NONE;
    CPC_out(0xF600, 0x00);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);

    CPC_out(0xF700, 0x07);  // bit set/reset: traced only
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* PPI_out(): PPI Control: Bit Set/Reset not supported"});
    EXPECT_EQ(g_Machine.ppi.control, 0x07);
    CPC_out(0xF700, 0x82);
    EXPECT_TRUE(NewTraces().empty());
    EXPECT_EQ(CPC_in(0xF700), 0);
    EXPECT_EQ(NewTraces(), std::vector<std::string>{
                               "* PPI_in(): Reading from Control: Invalid - Returning 0x00"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(PortsTest, PensAndInks) {
    StartMachine(CPC_MODEL_464);
    CPC_out(0x7F00, 0x03);  // pen 3
    CPC_out(0x7F00, 0x4B);  // ink 11
    CPC_out(0x7F00, 0x1F);  // bit 4: the border, whatever the low bits
    CPC_out(0x7F00, 0x54);  // ink 20
    EXPECT_EQ(g_Machine.ga.penInks[3], 11);
    EXPECT_EQ(g_Machine.ga.penInks[15], 0);
    EXPECT_EQ(g_Machine.ga.penInks[16], 20);
    EXPECT_EQ(g_Machine.ga.selectedPen, 16);
}

TEST_F(PortsTest, ModeAndRomEnables) {
    StartMachine(CPC_MODEL_464);
    CPC_WriteMem(0x0000, 0xA5);
    CPC_out(0x7F00, 0x85);  // mode 1, lower ROM off, upper ROM on
    EXPECT_EQ(g_Machine.ga.screenMode, 1);
    EXPECT_EQ(CPC_ReadMem(0x0000), 0xA5);
    EXPECT_EQ(CPC_ReadMem(0xC000), FAKE_BASIC_BYTE);
    EXPECT_TRUE(NewTraces().empty());

    g_Machine.ga.intPending = 1;
    g_Machine.ga.intLineCounter = 40;
    CPC_WriteMem(0xC000, 0x5A);
    CPC_out(0x7F00, 0x9C);  // mode 0, both ROMs off, interrupt counter reset
    EXPECT_EQ(NewTraces(), std::vector<std::string>{"GA_out(): Resetting INT counter"});
    EXPECT_EQ(g_Machine.ga.intPending, 0);
    EXPECT_EQ(g_Machine.ga.intLineCounter, 0);
    EXPECT_EQ(g_Machine.ga.screenMode, 0);
    EXPECT_EQ(g_Machine.memSelect & (CPC_ROMCFG_LOWER | CPC_ROMCFG_UPPER), 0);
    EXPECT_EQ(CPC_ReadMem(0xC000), 0x5A);

    CPC_out(0x7F00, 0x82);  // mode 2, both ROMs on
    EXPECT_EQ(CPC_ReadMem(0x0000), FAKE_LOWER_ROM_BYTE);
    EXPECT_EQ(g_Machine.ga.screenMode, 2);
}

TEST_F(PortsTest, InterruptAcknowledgeKeepsTheNextOneAway) {
    StartMachine(CPC_MODEL_464);
    EXPECT_EQ(CPC_IntAck(), 0);
    g_Machine.ga.intPending = 1;
    g_Machine.ga.intLineCounter = 0x2A;
    EXPECT_EQ(CPC_IntAck(), 1);
    EXPECT_EQ(g_Machine.ga.intPending, 0);
    EXPECT_EQ(g_Machine.ga.intLineCounter, 0x0A);
    EXPECT_EQ(CPC_IntAck(), 0);
}

TEST_F(PortsTest, RamBankingWithTheSecond64K) {
    StartMachine(CPC_MODEL_6128);
    CPC_out(0x7F00, 0xC2);  // configuration 2: blocks 4-7 everywhere
    CPC_WriteMem(0x0000, 0x44);
    CPC_WriteMem(0x4000, 0x55);
    EXPECT_EQ(g_Machine.extraRam[0][0], 0x44);
    EXPECT_EQ(g_Machine.extraRam[1][0], 0x55);
    EXPECT_EQ(CPC_ReadMem(0x0000), FAKE_LOWER_ROM_BYTE);  // the lower ROM still shows
    EXPECT_EQ(CPC_ReadMem(0x4000), 0x55);

    CPC_out(0x7F00, 0xC4);  // configuration 4: block 4 at 0x4000 only
    EXPECT_EQ(CPC_ReadMem(0x4000), 0x44);
    EXPECT_EQ(g_Machine.writeMap[0], g_Machine.baseRam[0]);

    CPC_out(0x7F00, 0xCA);  // a second 64 KB bank does not exist: nothing changes
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* EXP_out(): Logical block 1 not supported (only 0 is)"});
    EXPECT_EQ(CPC_ReadMem(0x4000), 0x44);

    CPC_out(0x7F00, 0xC0);
    EXPECT_EQ(g_Machine.writeMap[1], g_Machine.baseRam[1]);
}

TEST_F(PortsTest, RamBankingWithoutExtraRamIsTracedOnly) {
    StartMachine(CPC_MODEL_664);
    uint8_t* before[4];
    for (int page = 0; page < 4; ++page) before[page] = g_Machine.writeMap[page];
    CPC_out(0x7F00, 0xC2);
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* EXP_out(C2H): RAM Memory management not implemented"});
    for (int page = 0; page < 4; ++page) EXPECT_EQ(g_Machine.writeMap[page], before[page]);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}
