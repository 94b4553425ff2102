// Port decoding (which devices one OUT reaches, unknown ports, reads), ROM select, the
// PPI with the PSG bus behind it, and the Gate Array's pens, modes and interrupt counter.
#include "common/sound/psg.h"
#include "stand_in_machine.h"

using Ports = MachineTest;
using Records = std::vector<std::string>;
using CrtcWrites = std::vector<std::pair<uint8_t, uint8_t>>;

TEST_F(Ports, OneWriteReachesEveryDeviceItsAddressLinesSelect) {
    Start(CPC_MODEL_464_FDI);
    CPC_out(0xBC00, 0x0C);  // the CRTC only
    CPC_out(0xBD00, 0x30);
    EXPECT_EQ(crtcWrites, (CrtcWrites{{0, 0x0C}, {1, 0x30}}));
    EXPECT_EQ(g_Machine.memSelect & 0xFF, 0);
    EXPECT_EQ(g_Machine.ppi.portA, 0);
    EXPECT_TRUE(Traces().empty());

    // 0x1F00: bit 14 clear (CRTC, index 3) and bit 13 clear (ROM select); 7 is AMSDOS.
    crtcWrites.clear();
    CPC_out(0x1F00, 7);
    EXPECT_EQ(crtcWrites, (CrtcWrites{{3, 7}}));
    EXPECT_EQ(PageStart(3), kAmsdosFill);
    EXPECT_EQ(g_Machine.ppi.portA, 0);
    EXPECT_TRUE(Traces().empty()) << "no printer";

    // 0x0000 clears every select line: CRTC, ROM select, printer, PPI port A and FDC.
    crtcWrites.clear();
    CPC_out(0x0000, 0x5A);
    EXPECT_EQ(crtcWrites, (CrtcWrites{{0, 0x5A}}));
    EXPECT_EQ(PageStart(3), kBasicFill);
    EXPECT_EQ(g_Machine.ppi.portA, 0x5A);
    Records traces = Traces();
    EXPECT_TRUE(TraceLog::Has(traces, "CPC_out(): PRINTER Write 5AH to port 0000H"));
    EXPECT_TRUE(std::any_of(traces.begin(), traces.end(),
                            [](const std::string& t) { return t.rfind("* FDC_out()", 0) == 0; }));
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(Ports, UnknownPortStopsExceptThePeripheralReset) {
    Start(CPC_MODEL_464);
    CPC_out(0xF8FF, 0x00);
    EXPECT_EQ(Traces(), Records{"* CPC_out(): Writing value 00H to UNKNOWN port: F8FFH"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
    CPC_out(0xF9FF, 0x12);
    EXPECT_EQ(Traces(), Records{"* CPC_out(): Writing value 12H to UNKNOWN port: F9FFH"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT);

    g_Machine.processor = nullptr;  // nothing to stop, and nothing breaks
    CPC_out(0xF9FF, 0x12);
    EXPECT_EQ(Traces().size(), 1u);
}

TEST_F(Ports, RomSelectTracesOnlyNewsAndFallsBackToBasic) {
    struct Case {
        uint8_t type, number, selected, page3;
        const char* trace;  // nullptr: none
    };
    const Case cases[] = {
        {CPC_MODEL_6128, 1, 1, 0x01, "CPC_out(): ROM 1 selected"},  // credit ROM type byte
        {CPC_MODEL_6128, 1, 1, 0x01, nullptr},                      // the same again
        {CPC_MODEL_6128, 7, 7, kAmsdosFill, nullptr},               // selected all the time
        {CPC_MODEL_6128, 0, 0, kBasicFill, nullptr},
        {CPC_MODEL_6128, 5, 0, kBasicFill, "* CPC_out(): ROM SELECT: ROM 5 ABSENT - BASIC"},
        {CPC_MODEL_6128, 200, 0, kBasicFill, "* CPC_out(): ROM SELECT: ROM 200 ABSENT - BASIC"},
        {CPC_MODEL_464, 7, 0, kBasicFill, "* CPC_out(): ROM SELECT: ROM 7 ABSENT - BASIC"},
    };
    for (const Case& c : cases) {
        if (!g_Machine.lowerRom || g_Machine.Type != c.type) {
            CPC_Shutdown(&g_Machine);
            Start(c.type);
        }
        CPC_out(0xDF00, c.number);
        EXPECT_EQ(g_Machine.memSelect, 0x300 | c.selected) << int(c.number);
        EXPECT_EQ(PageStart(3), c.page3) << int(c.number);
        EXPECT_EQ(Traces(), c.trace ? Records{c.trace} : Records{}) << int(c.number);
    }
}

TEST_F(Ports, ReadsAreDecodedByTheHighByte) {
    Start(CPC_MODEL_464_FDI);
    EXPECT_EQ(CPC_in(0x7F00), 0xFF);
    EXPECT_EQ(CPC_in(0xBE00), 0xC2);  // CRTC read, index 2
    EXPECT_EQ(CPC_in(0xBF12), 0xC3);
    EXPECT_EQ(CPC_in(0xF500), 0x1E);         // PPI port B after reset
    EXPECT_EQ(CPC_in(0xFB7E) & 0x80, 0x80);  // FDC main status: ready for a command
    EXPECT_TRUE(Traces().empty());
    EXPECT_EQ(CPC_in(0x1234), 0);
    EXPECT_EQ(Traces(), Records{"* CPC_in(): Reading from UNKNOWN port: 1234H - Returning 0x00"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(Ports, PsgRegistersThroughThePpi) {
    Start(CPC_MODEL_464);
    PSG_KeyEvent(PSG_KEY_JOY_FIRE1, 1);  // row 9, bit 5
    for (int i = 0; i < 100; ++i) CPC_Update(250);
    // Register number on port A; port C: select, inactive, then read keyboard row 9.
    Out({{0xF400, 14}, {0xF600, 0xC0}, {0xF600, 0x00}});
    EXPECT_EQ(g_Machine.psg.registers[14], 0) << "nothing is read before the read command";
    CPC_out(0xF600, 0x49);
    EXPECT_EQ(CPC_in(0xF400), 0xDF);
    for (uint8_t row : {8, 12}) {  // nothing pressed there; rows 10-15 carry no keys
        CPC_out(0xF600, 0x40 | row);
        EXPECT_EQ(CPC_in(0xF400), 0xFF) << int(row);
    }

    // While port C holds a bus function, a port A write reaches the PSG at once: select
    // register 8, write 8 and then 0x0F to it. Reading it back gives its own value.
    Out({{0xF600, 0xC0}, {0xF400, 8}, {0xF600, 0x80}, {0xF400, 0x0F}, {0xF600, 0x40}});
    EXPECT_EQ(g_Machine.psg.registers[8], 0x0F);
    EXPECT_EQ(CPC_in(0xF400), 0x0F);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(Ports, UnsupportedPpiFunctionsStopOrTrace) {
    Start(CPC_MODEL_464);
    CPC_out(0xF500, 0xAA);
    EXPECT_EQ(Traces(),
              Records{"* PPI_out(): PPI Port B (F5) Write AAH -> Incompatible CPC, Ignored"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT);
    EXPECT_EQ(CPC_in(0xF500), 0x1E);
    // Port C: the cassette motor and write data go to the deck; nothing stops the machine.
    processor_.stopReason = Z80_STOP_NONE;
    for (uint8_t portC : {0x10, 0x20, 0xCF}) CPC_out(0xF600, portC);
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);

    CPC_out(0xF700, 0x09);  // bit set/reset: port C bit 4 (the cassette motor) set
    EXPECT_EQ(g_Machine.ppi.portC, 0xDF);
    CPC_out(0xF700, 0x08);
    EXPECT_EQ(g_Machine.ppi.portC, 0xCF);
    CPC_out(0xF700, 0x82);
    EXPECT_TRUE(Traces().empty());
    EXPECT_EQ(CPC_in(0xF700), 0);
    EXPECT_EQ(Traces(), Records{"* PPI_in(): Reading from Control: Invalid - Returning 0x00"});
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);
}

TEST_F(Ports, GateArrayPensModesAndInterruptCounter) {
    Start(CPC_MODEL_464);
    GA_State& ga = g_Machine.ga;
    CPC_out(0x7F00, 0x0B);  // pen 11
    CPC_out(0x7F00, 0x4B);  // ink 11
    CPC_out(0x7F00, 0x1F);  // bit 4: the border, whatever the low bits
    CPC_out(0x7F00, 0x54);  // ink 20
    EXPECT_EQ(ga.penInks[11], 11);
    EXPECT_EQ(ga.penInks[3] | ga.penInks[15], 0) << "neither pen 3 nor, for the border, pen 15";
    EXPECT_EQ(ga.penInks[16], 20);
    for (uint8_t mode : {1, 2, 3, 0}) {
        CPC_out(0x7F00, 0x80 | mode);
        EXPECT_EQ(ga.screenMode, mode);
    }
    EXPECT_TRUE(Traces().empty());

    ga.intPending = 1;
    ga.intLineCounter = 40;
    CPC_out(0x7F00, 0x92);  // mode 2 and interrupt counter reset
    EXPECT_EQ(Traces(), Records{"GA_out(): Resetting INT counter"});
    EXPECT_EQ(ga.intPending, 0);
    EXPECT_EQ(ga.intLineCounter, 0);
    EXPECT_EQ(ga.screenMode, 2);

    // The acknowledge keeps the next interrupt at least 32 lines away.
    EXPECT_EQ(CPC_IntAck(), 0);
    ga.intPending = 1;
    ga.intLineCounter = 0x2A;
    EXPECT_EQ(CPC_IntAck(), 1);
    EXPECT_EQ(ga.intPending, 0);
    EXPECT_EQ(ga.intLineCounter, 0x0A);
    EXPECT_EQ(CPC_IntAck(), 0);
}
