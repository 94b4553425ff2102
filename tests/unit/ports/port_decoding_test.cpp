// Port decoding: which devices one OUT reaches, unknown ports, ROM select and reads.
#include "common/sound/psg.h"
#include "ports_fixture.h"

namespace {
constexpr uint8_t STOP_PORT = Z80_STOP_UNSUPPORTED_PORT;
}

TEST_F(PortsTest, CrtcPortReachesOnlyTheCrtc) {
    StartMachine(CPC_MODEL_464_FDI);
    CPC_out(0xBC00, 0x0C);
    CPC_out(0xBD00, 0x30);
    ASSERT_EQ(crtcWrites_.size(), 2u);
    EXPECT_EQ(crtcWrites_[0].index, 0);
    EXPECT_EQ(crtcWrites_[0].value, 0x0C);
    EXPECT_EQ(crtcWrites_[1].index, 1);
    EXPECT_EQ(crtcWrites_[1].value, 0x30);
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 0);
    EXPECT_EQ(g_Machine.ppi.portA, 0);
    EXPECT_TRUE(NewTraces().empty());
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(PortsTest, OneWriteReachesEveryDeviceItsAddressLinesSelect) {
    StartMachine(CPC_MODEL_464_FDI);
    // 0x1F00: bit 14 clear (CRTC, index 3) and bit 13 clear (ROM select); 7 is AMSDOS.
    CPC_out(0x1F00, 7);
    ASSERT_EQ(crtcWrites_.size(), 1u);
    EXPECT_EQ(crtcWrites_[0].index, 3);
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 7);
    EXPECT_EQ(CPC_ReadMem(0xC000), FAKE_AMSDOS_BYTE);
    EXPECT_EQ(g_Machine.ppi.portA, 0);
    EXPECT_FALSE(ContainsPrefix(NewTraces(), "CPC_out(): PRINTER"));

    // 0x0000 clears every select line: CRTC, ROM select, printer, PPI port A and FDC.
    crtcWrites_.clear();
    CPC_out(0x0000, 0);
    ASSERT_EQ(crtcWrites_.size(), 1u);
    EXPECT_EQ(crtcWrites_[0].index, 0);
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 0);
    EXPECT_EQ(CPC_ReadMem(0xC000), FAKE_BASIC_BYTE);
    auto traces = NewTraces();
    EXPECT_TRUE(Contains(traces, "CPC_out(): PRINTER Write 00H to port 0000H"));
    EXPECT_TRUE(ContainsPrefix(traces, "* FDC_out()"));
    CPC_out(0x0000, 0x5A);
    EXPECT_EQ(g_Machine.ppi.portA, 0x5A);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(PortsTest, UnknownPortStopsExceptThePeripheralReset) {
    StartMachine(CPC_MODEL_464);
    CPC_out(0xF8FF, 0x00);
    EXPECT_TRUE(Contains(NewTraces(), "* CPC_out(): Writing value 00H to UNKNOWN port: F8FFH"));
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);

    CPC_out(0xF9FF, 0x12);
    EXPECT_TRUE(Contains(NewTraces(), "* CPC_out(): Writing value 12H to UNKNOWN port: F9FFH"));
    EXPECT_EQ(processor_.stopReason, STOP_PORT);

    // Without a processor attached there is nothing to stop, and nothing breaks.
    g_Machine.processor = nullptr;
    CPC_out(0xF9FF, 0x12);
    EXPECT_EQ(NewTraces().size(), 1u);
}

TEST_F(PortsTest, RomSelectTracesOnlyNewsAndFallsBackToBasic) {
    StartMachine(CPC_MODEL_464_FDI);
    CPC_out(0xDF00, 1);  // the credit ROM
    EXPECT_EQ(NewTraces(), std::vector<std::string>{"CPC_out(): ROM 1 selected"});
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 1);
    CPC_out(0xDF00, 1);  // the same again is no news
    EXPECT_TRUE(NewTraces().empty());

    CPC_out(0xDF00, 5);
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* CPC_out(): ROM SELECT: ROM 5 ABSENT - BASIC"});
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 0);
    CPC_out(0xDF00, 200);
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* CPC_out(): ROM SELECT: ROM 200 ABSENT - BASIC"});

    CPC_out(0xDF00, 7);  // AMSDOS is selected all the time: never traced
    EXPECT_TRUE(NewTraces().empty());
    EXPECT_EQ(g_Machine.memSelect, CPC_ROMCFG_LOWER | CPC_ROMCFG_UPPER | 7);
}

TEST_F(PortsTest, RomSevenWithoutDiskInterfaceIsBasic) {
    StartMachine(CPC_MODEL_464);
    CPC_out(0xDF00, 7);
    EXPECT_EQ(NewTraces(),
              std::vector<std::string>{"* CPC_out(): ROM SELECT: ROM 7 ABSENT - BASIC"});
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 0);
}

TEST_F(PortsTest, ReadsAreDecodedByTheHighByte) {
    StartMachine(CPC_MODEL_464_FDI);
    EXPECT_EQ(CPC_in(0x7F00), 0xFF);
    EXPECT_EQ(CPC_in(0xBE00), 0xC2);  // CRTC read, index 2
    EXPECT_EQ(CPC_in(0xBF12), 0xC3);
    EXPECT_EQ(CPC_in(0xF500), 0x1E);         // PPI port B after reset
    EXPECT_EQ(CPC_in(0xFB7E) & 0x80, 0x80);  // FDC main status: ready for a command
    EXPECT_TRUE(NewTraces().empty());

    EXPECT_EQ(CPC_in(0x1234), 0);
    EXPECT_EQ(NewTraces(), std::vector<std::string>{
                               "* CPC_in(): Reading from UNKNOWN port: 1234H - Returning 0x00"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(PortsTest, UpdateTicksTheCrtcAndFeedsTheKeyboard) {
    StartMachine(CPC_MODEL_464);
    PSG_KeyEvent(PSG_KEY_DEL, 1);  // row 9, bit 7
    for (int i = 0; i < 200; ++i) CPC_Update(101);
    EXPECT_EQ(crtcTicks_, 20200u);
    EXPECT_EQ(g_Machine.psg.keyboardMatrix[9], 0x7F);
}
