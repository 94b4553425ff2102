// The precise CRTC driven microsecond by microsecond, with the reset registers unless a
// test changes them.
#include <set>
#include <utility>

#include "trace_log.h"
#include "video_fixture.h"

namespace {

using Records = std::vector<std::string>;

class CrtcPrecise : public VideoTest {
   protected:
    void SetUp() override {
        VideoTest::SetUp();
        TraceLog::Take();
    }
    // Lines from the last VSYNC start (at *start) to the next; *start moves on to it.
    uint64_t FrameLines(uint64_t& start) {
        uint64_t previous = std::exchange(start, RunToVsyncStart());
        return (start - previous) / kLineMicroseconds;
    }
    // Runs to the next line start; returns the microseconds it took.
    uint32_t RunToLineStart() {
        uint64_t start = now_;
        uint16_t line = Crtc().SL;
        RunUntil([&] { return Crtc().SL != line; });
        return static_cast<uint32_t>(now_ - start);
    }
    // Microseconds from the next HSYNC start until a mode change is in force, 0 when it is
    // not within two lines.
    uint32_t ModeChangeDelay(uint8_t syncWidths) {
        WriteRegister(3, syncWidths);
        Run(2 * kLineMicroseconds);  // any earlier mode change has run out
        g_Machine.ga.screenMode = g_Machine.crtc.currentMode = 0;
        RunUntil([] { return g_Machine.crtc.hsyncCountdown == 0; });
        RunUntil([] { return g_Machine.crtc.hsyncCountdown != 0; });
        g_Machine.ga.screenMode = 2;
        for (uint32_t us = 1; us <= 2 * kLineMicroseconds; ++us) {
            Tick();
            if (g_Machine.crtc.currentMode == 2) return us;
        }
        return 0;
    }
    static const CRTC_State& Crtc() { return g_Machine.crtc; }
};

}  // namespace

// With the reset registers a CRTC frame is 312 lines with VSYNC at line 240 and six
// interrupts; so is every monitor frame once running, with or without a frame buffer.
TEST_F(CrtcPrecise, ResetRegistersGive312LineFramesWithVsyncAtLine240AndSixInterrupts) {
    PAL_SetFrameBuffer(nullptr);
    ColdStart(1);
    uint64_t previous = RunToVsyncStart();
    for (int frame = 0; frame < 3; ++frame) {
        interrupts_ = 0;
        uint64_t start = RunToVsyncStart();
        EXPECT_EQ(Crtc().SL, 240);
        EXPECT_EQ(start - previous, kFrameMicroseconds);
        EXPECT_EQ(interrupts_, 6);
        previous = start;
    }
    // The first frame end comes at CRTC line 266 and finds only 265 lines begun (the first
    // HSYNC, 48 us after reset, is too soon for a line), so the frame runs on to the next.
    RunUntil([] { return repaints().size() == 3; });
    EXPECT_EQ(repaints(), (std::vector<uint16_t>{265 + kFrameLines, kFrameLines, kFrameLines}));
}

// Screen at 0xC000 filled with pen 1 in mode 2, the other blocks pen 0: R6 character rows
// of 8 lines land from row 39 at positions 65 to 704, the rest is border.
TEST_F(CrtcPrecise, DisplayLinesLandInRows39OnAtPositions65To704) {
    std::fill(ram_.begin() + 3 * CPC_PAGE_SIZE, ram_.end(), 0xFF);
    g_Machine.ga.screenMode = 2;
    for (int r6 : {25, 10, 0}) {
        SCOPED_TRACE("R6 " + std::to_string(r6));
        std::fill(frame_.begin(), frame_.end(), PAL_BLACK);
        repaints().clear();
        ColdStart(1);
        if (r6 != 25) WriteRegister(6, static_cast<uint8_t>(r6));  // 25 is the reset value
        RunUntil([] { return repaints().size() == 3; }, 5 * kFrameMicroseconds);
        ExpectDisplayArea(39, 39 + 8 * r6 - 1, 65, 704);
    }
}

TEST_F(CrtcPrecise, RegisterWritesAreMaskedTracedAndOnlyR12ToR17ReadBack) {
    const uint8_t masks[CRTC_REGISTER_COUNT] = {0xFF, 0xFF, 0xFF, 0x7F, 0x7F, 0x1F,
                                                0x7F, 0x7F, 0x03, 0x1F, 0x7F, 0x1F,
                                                0x3F, 0xFF, 0x3F, 0xFF, 0x3F, 0xFF};
    ColdStart(1);
    for (int reg = 0; reg < CRTC_REGISTER_COUNT; ++reg) {
        WriteRegister(static_cast<uint8_t>(reg), 0xFF);
        EXPECT_EQ(Crtc().R[reg], masks[reg]) << "R" << reg;
        EXPECT_EQ(g_Machine.crtcOps.in(3), reg >= 12 ? masks[reg] : 0) << "R" << reg;
    }
    Records traces = TraceLog::Take();
    for (const char* trace :
         {"CRTC_out_best():  3(SYNC WIDTH)  : FFH(7FH) at SL: 0 (VCC=0, RA=0), ML: 0",
          "CRTC_in_best(): BFxx, 3F.",
          "CRTC_in_best(): Reading port BFxx, selected register (11) Write Only, returning 0.",
          "* CRTC_Update_best(): Unsupported value for CRTC Reg MaxRaster: 31"})
        EXPECT_TRUE(TraceLog::Has(traces, trace)) << trace;

    g_Machine.crtcOps.out(0, 12);
    g_Machine.crtcOps.out(0, 18);    // beyond R17: ignored
    g_Machine.crtcOps.out(0, 0x1F);  // likewise
    EXPECT_EQ(Crtc().selectedRegister, 12);
    g_Machine.crtcOps.out(0, 0x2D);  // only the low five bits select: R13
    EXPECT_EQ(Crtc().selectedRegister, 13);
    TraceLog::Take();
    for (uint8_t port = 0; port < 3; ++port) EXPECT_EQ(g_Machine.crtcOps.in(port), 0) << int(port);
    g_Machine.crtcOps.out(2, 0x55);
    g_Machine.crtcOps.out(3, 0x55);
    EXPECT_EQ(Crtc().R[13], 0xFF) << "as written above";
    EXPECT_EQ(TraceLog::Take(),
              (Records{"CRTC_in_best(): Reading Write only port BCxx, returning 0.",
                       "CRTC_in_best(): Reading Write only port BDxx, returning 0.",
                       "CRTC_in_best(): Reading port BExx, returning 0.",
                       "+++ CRTC_out_best(): Write (55H) to Invalid port BEH - Ignored.",
                       "+++ CRTC_out_best(): Write (55H) to Invalid port BFH - Ignored."}));
}

TEST_F(CrtcPrecise, HsyncWidthZeroStopsLinesAndInterruptsWidthOneOnlyLines) {
    ColdStart(1);
    Run(2 * kFrameMicroseconds);
    WriteRegister(3, 0x81);
    Run(kFrameMicroseconds);  // settle
    interrupts_ = 0;
    uint16_t lines = Crtc().ML;
    g_Machine.ga.screenMode = 1;
    TraceLog::Take();
    Run(3 * kFrameMicroseconds);
    EXPECT_EQ(interrupts_, 18);
    EXPECT_EQ(Crtc().ML, lines);
    EXPECT_EQ(Crtc().currentMode, 0);
    Records traces = TraceLog::Take();
    EXPECT_EQ(std::set<std::string>(traces.begin(), traces.end()),
              std::set<std::string>{"* CRTC_HSyncStart(): HSYNC WIDTH < 2 - NO GA HSYNC..."});

    WriteRegister(3, 0x80);
    Run(kLineMicroseconds);
    interrupts_ = 0;
    size_t frames = repaints().size();
    TraceLog::Take();
    Run(kLineMicroseconds);
    EXPECT_EQ(TraceLog::Take(), (Records{"* CRTC_HSyncStart(): HSYNC WIDTH < 2 - NO GA HSYNC...",
                                         "* CRTC_HSyncStart(): HSYNC WIDTH = 0 - NO HSYNC..."}));
    Run(3 * kFrameMicroseconds);
    EXPECT_EQ(interrupts_, 0);
    EXPECT_EQ(Crtc().ML, lines);
    EXPECT_EQ(repaints().size(), frames);
}

TEST_F(CrtcPrecise, ModeChangeWaitsForTheGateArrayHsync) {
    ColdStart(1);
    const std::pair<uint8_t, uint32_t> cases[] = {
        {0x8E, 6}, {0x86, 6}, {0x85, 5}, {0x83, 3}, {0x82, 0}};
    for (auto [widths, delay] : cases) EXPECT_EQ(ModeChangeDelay(widths), delay) << int(widths);
}

TEST_F(CrtcPrecise, VsyncLengthComesFromR3OnType0Only) {
    struct Case {
        uint8_t type;
        int r3;  // -1: the reset value
        uint32_t lines;
    };
    for (Case c : {Case{0, -1, 8}, Case{0, 0x0E, 16}, Case{0, 0x4E, 4}, Case{0, 0x8E, 8},
                   Case{1, -1, 16}, Case{1, 0x4E, 16}}) {
        if (c.r3 < 0)
            ColdStart(c.type);
        else
            WriteRegister(3, static_cast<uint8_t>(c.r3));
        uint64_t start = RunToVsyncStart();
        RunUntil([&] { return !VsyncActive(); });
        EXPECT_EQ((now_ - start) / kLineMicroseconds, c.lines) << int(c.type) << " " << c.r3;
    }
}

// VSYNC starts at HCC 0; HSYNC ends at HCC 60. The line counter is reset at the end of the
// second HSYNC after it, with an interrupt only if the counter had reached 32.
TEST_F(CrtcPrecise, GateArrayResynchronisesAtTheSecondHsyncAfterVsync) {
    ColdStart(1);
    for (uint8_t counter : {40, 10}) {
        RunToVsyncStart();
        g_Machine.ga.intLineCounter = counter;
        interrupts_ = 0;
        Run(kLineMicroseconds + 59);
        EXPECT_EQ(g_Machine.ga.intLineCounter, counter + 1);
        Run(1);
        EXPECT_EQ(g_Machine.ga.intLineCounter, 0);
        EXPECT_EQ(interrupts_, counter >= 32 ? 1 : 0) << int(counter);
    }
}

// A VSYNC start while one runs (R7 moved to the next row) only lengthens the VSYNC: the
// frame still ends 26 lines after the first start and the counter is not reset again.
TEST_F(CrtcPrecise, SecondVsyncStartOnlyReloadsTheVsyncCountdown) {
    ColdStart(1);
    RunToVsyncStart();
    uint64_t start = RunToVsyncStart();
    WriteRegister(7, 31);
    size_t frames = repaints().size();
    Run(12 * kLineMicroseconds);
    EXPECT_EQ(g_Machine.ga.intLineCounter, 10) << "reset only after the first start";
    RunUntil([&] { return !VsyncActive(); });
    EXPECT_EQ((now_ - start) / kLineMicroseconds, 8u + 16u);
    RunUntil([&] { return repaints().size() > frames; });
    EXPECT_EQ((now_ - start) / kLineMicroseconds, 26u);
}

// The vertical adjust adds R5 lines, R5 as latched at the last HSYNC start: raised from 2
// to 3 on the last adjust line, after its HSYNC, it leaves that frame at 2 lines.
TEST_F(CrtcPrecise, VerticalAdjustAddsTheLatchedR5Lines) {
    ColdStart(1);
    uint64_t start = RunToVsyncStart();
    for (uint8_t r5 : {0, 5, 2}) {
        WriteRegister(5, r5);
        EXPECT_EQ(FrameLines(start), kFrameLines + r5) << int(r5);
    }
    RunUntil([] {
        return (Crtc().status & CRTC_STATUS_VADJUST) && Crtc().verticalAdjustCounter == 1 &&
               Crtc().HCC == 50;
    });
    WriteRegister(5, 3);
    EXPECT_EQ(FrameLines(start), kFrameLines + 2);
    EXPECT_EQ(FrameLines(start), kFrameLines + 3);
}

// R0 set below HCC: HCC runs on, wraps from 255 to 0 and ends the line when it passes R0.
// R0 = 255 never ends a line.
TEST_F(CrtcPrecise, LineEndsOnlyWhenHccPassesR0) {
    struct Case {
        uint8_t hcc, r0;
        uint32_t rest, next;  // microseconds to the line end, and of the next line
    };
    for (Case c : {Case{50, 10, 256 - 50 + 11, 11}, Case{10, 20, 11, 21}}) {
        ColdStart(1);
        RunUntil([&] { return Crtc().VCC == 2 && Crtc().HCC == c.hcc; });
        WriteRegister(0, c.r0);
        EXPECT_EQ(RunToLineStart(), c.rest) << int(c.r0);
        EXPECT_EQ(RunToLineStart(), c.next) << int(c.r0);
    }
    uint16_t lines = Crtc().SL;
    WriteRegister(0, 255);
    Run(1000);
    EXPECT_EQ(Crtc().SL, lines);
}

// R9 and R4 changed in mid line: whether the line ends its character row (R9), and whether
// that row ends the frame (R4), depend on the type and on HCC against R2 (46).
TEST_F(CrtcPrecise, R9AndR4WritesTakeEffectByTypeAndHsyncPosition) {
    struct Case {
        uint8_t type, reg, hcc;
        bool acts;
    };
    const Case cases[] = {{1, 9, 10, true}, {1, 9, 50, true},  {0, 9, 10, true}, {0, 9, 50, false},
                          {1, 4, 10, true}, {1, 4, 50, false}, {0, 4, 10, false}};
    for (const Case& c : cases) {
        ColdStart(c.type);
        // R9: on raster line 3 of row 5, R9 = 3 makes it the row's last line. R4: on the
        // last line of row 5, R4 = 5 makes it the frame's last row.
        uint8_t ra = c.reg == 9 ? 3 : 7;
        RunUntil([&] { return Crtc().VCC == 5 && Crtc().RA == ra && Crtc().HCC == c.hcc; });
        WriteRegister(c.reg, c.reg == 9 ? 3 : 5);
        RunToLineStart();
        if (c.reg == 9)
            EXPECT_EQ(Crtc().RA, c.acts ? 0 : 4) << int(c.type) << " " << int(c.hcc);
        else
            EXPECT_EQ(Crtc().VCC, c.acts ? 0 : 6) << int(c.type) << " " << int(c.hcc);
    }
}

TEST_F(CrtcPrecise, StartAddressChangeActsNextLineInTheFirstRowOfType1ElseNextFrame) {
    for (uint8_t type : {1, 0}) {
        ColdStart(type);
        RunUntil([] { return Crtc().SL == 1; });
        RunUntil([] { return Crtc().SL == 0; });  // a frame starts
        Run(10);
        TraceLog::Take();
        WriteRegister(12, 0x20);
        Records traces = TraceLog::Take();
        EXPECT_EQ(TraceLog::Has(traces,
                                "CRTC_Update_best(): Updating MA: 2000H - SL=0 (VCC=0, "
                                "RA=0), ML=" +
                                    std::to_string(Crtc().ML)),
                  type == 1);
        RunUntil([] { return Crtc().HCC == 0; });
        EXPECT_EQ(Crtc().MA, type == 1 ? 0x2000 : 0x3000) << "type " << int(type);
        RunUntil([] { return Crtc().SL == 0; });
        EXPECT_EQ(Crtc().MA, 0x2000) << "type " << int(type);
        RunUntil([] { return Crtc().VCC == 5 && Crtc().HCC == 10; });
        WriteRegister(12, 0x10);  // past the first row: for the next frame on both types
        RunUntil([] { return Crtc().HCC == 0; });
        EXPECT_EQ(Crtc().MA, 0x2000 + 5 * 40) << "type " << int(type);
    }
}

// Whatever the registers and offsets, nothing lands outside the 768 shown columns.
// An HSYNC that ends before HCC reaches a new R2 starts again in the same line. A video
// behind must stop before the second one ends when that brings the interrupt.
TEST_F(CrtcPrecise, VideoBehindStopsBeforeAnHsyncThatRestartsInItsLine) {
    auto interruptAt = [this](bool behind) {
        ColdStart(1);
        RunUntil([] { return g_Machine.crtc.RA == 1 && g_Machine.crtc.hsyncCountdown == 12; });
        const CRTC_State& c = g_Machine.crtc;
        uint8_t r2 = static_cast<uint8_t>(c.HCC + c.hsyncCountdown + 1);
        EXPECT_LE(r2, c.R[0]);
        if (behind) {
            CPC_out(0xBC00, 2);
            CPC_out(0xBD00, r2);
        } else {
            WriteRegister(2, r2);
        }
        g_Machine.ga.intLineCounter = GA_INTERRUPT_LINES - 3;  // the third HSYNC end
        for (uint32_t t = 1; t < 1000; ++t) {
            if (behind) {
                CPC_Update(1);
                if (CPC_IntAck()) return t;
            } else {
                g_Machine.crtcOps.tick(1);
                if (g_Machine.ga.intPending) return t;
            }
        }
        return 0u;
    };
    uint32_t onTime = interruptAt(false);
    EXPECT_GT(onTime, 0u);
    EXPECT_LT(onTime, 2 * kLineMicroseconds);  // the second HSYNC came in the first line
    EXPECT_EQ(interruptAt(true), onTime);
}

TEST_F(VideoTest, ArbitraryRegistersAndOffsetsStayInsideTheShownColumns) {
    uint32_t seed = 12345;
    auto next = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return static_cast<uint8_t>(seed >> 16);
    };
    for (uint8_t& b : ram_) b = next();
    ColdStart(0);
    for (int round = 0; round < 400; ++round) {
        g_Machine.crtcType = round & 1;
        g_Machine.horizontalOffset = static_cast<int16_t>(static_cast<int8_t>(next()) / 4);
        g_Machine.ga.screenMode = next() & 3;
        uint8_t reg = next() % CRTC_REGISTER_COUNT;
        WriteRegister(reg, next());
        Run(next() * 8u);
        int8_t left = static_cast<int8_t>(next());
        int8_t right = static_cast<int8_t>(next());
        PAL_SetFastGeometry(1, g_Machine.crtc.R, left, right);
        PAL_DrawLine(g_Machine.baseRam[next() & 3], static_cast<uint16_t>(next() << 8 | next()),
                     next() + 6u, next() & 3);
    }
    for (int row = 0; row < PAL_FRAME_ROWS; ++row)
        ASSERT_TRUE(AllBlack(Row(row) + PAL_SCREEN_WIDTH, Row(row) + PAL_FRAME_ROW_BYTES)) << row;
}

// Ticks of many microseconds at once must give exactly what single microseconds give:
// the same pixels, counters, syncs and interrupts, whatever the registers say. So must
// the machine, which lets the CRTC fall behind while it would only draw, with ports and
// writes to the RAM it draws from catching it up first.
TEST_F(VideoTest, TicksOfAnyLengthAndAVideoBehindGiveWhatSingleMicrosecondsGive) {
    enum Way { kSingle, kChunked, kMachine };
    const GA_State inks = g_Machine.ga;
    auto session = [this, &inks](Way way) {
        g_Machine.ga = inks;
        uint32_t seed = 777, stepSeed = 99;
        auto random = [](uint32_t& state) {
            state = state * 1103515245u + 12345u;
            return static_cast<uint8_t>(state >> 16);
        };
        auto next = [&] { return random(seed); };
        for (uint8_t& b : ram_) b = next();
        std::fill(frame_.begin(), frame_.end(), PAL_BLACK);
        ColdStart(0);
        // Every frame counts, not just the last: a hash of each as it is shown.
        static std::vector<uint32_t>* trail;
        static const std::vector<uint8_t>* frame;
        std::vector<uint32_t> states;  // the state after every round, the frames' hashes
        trail = &states, frame = &frame_;
        PAL_SetRepaintHandler([] {
            uint32_t hash = 2166136261u;
            for (uint8_t b : *frame) hash = (hash ^ b) * 16777619u;
            trail->push_back(hash);
        });
        uint64_t time = 0, ackFrom = 0;
        // Random registers first, then long stretches of an ordinary screen left alone.
        for (int round = 0; round < 1200; ++round) {
            bool changes = round < 1080;
            if (round == 1080) {
                g_Machine.crtcOps.reset();
                g_Machine.crtcQuiet = 0;  // as the machine's reset does
            }
            g_Machine.crtcType = round & 1;
            uint8_t mode = next() & 3;
            // A register near the firmware's value: register, value, random bits added.
            const uint8_t near[][3] = {{0, 56, 15},
                                       {1, 36, 31},
                                       {2, 30, 31},
                                       {3, 0x80, 0x7F},
                                       {4, 36, 7},
                                       {5, 0, 7},
                                       {6, 22, 7},
                                       {7, 28, 7},
                                       {9, 6, 1},
                                       {12, 0, 63},
                                       {13, 0, 255},
                                       // A screen whose lines cross from one 4K of MA into
                                       // the next, and so from one RAM page to another.
                                       {12, 0x0F, 0x30},
                                       {13, 0xE0, 31}};
            const uint8_t* pick = near[next() % (sizeof near / sizeof near[0])];
            uint8_t value = static_cast<uint8_t>(pick[1] + (next() & pick[2]));
            // The register, the mode and an ink change at some point within the round, and
            // the processor's acknowledge after every step, as between instructions.
            // A video behind still raises interrupts and changes VSYNC on time: after
            // every step, a hash of port B and the acknowledge.
            uint32_t onTime = 0;
            uint32_t length = next() * 4u + 1;
            uint32_t changeAt = changes ? next() * 4u % length : length;
            uint8_t pen = next() & 15, ink = next() & 31;
            for (uint32_t done = 0; done < length;) {
                if (done >= changeAt && changeAt != length) {
                    changeAt = length;
                    if (way == kMachine) {
                        for (uint8_t byte : {uint8_t(0x8C | mode), pen, uint8_t(0x40 | ink)})
                            CPC_out(0x7F00, byte);
                        CPC_out(0xBC00, pick[0]);
                        CPC_out(0xBD00, value);
                    } else {
                        g_Machine.ga.screenMode = mode;
                        g_Machine.ga.selectedPen = pen;
                        g_Machine.ga.penInks[pen] = ink;
                        WriteRegister(pick[0], value);
                    }
                }
                // Mostly instruction-like steps, now and then a long one.
                uint8_t r = random(stepSeed);
                uint32_t step = std::min<uint32_t>(length - done, 1 + r % (r & 0x80 ? 40 : 7));
                if (way == kSingle) {
                    for (uint32_t i = 0; i < step; ++i) g_Machine.crtcOps.tick(1);
                } else if (way == kChunked) {
                    g_Machine.crtcOps.tick(static_cast<uint8_t>(step));
                } else {
                    CPC_Update(static_cast<uint8_t>(step));
                }
                done += step;
                onTime = onTime * 31 + g_Machine.ppi.portB;
                // Mostly at once; now and then up to 60 lines late, as after a DI.
                time += step;
                if ((random(stepSeed) & 63) == 0) ackFrom = time + random(stepSeed) * 16u;
                if (time >= ackFrom && CPC_IntAck()) trail->push_back(done);
                // Now and then the whole block the screen starts in is written anew.
                if ((random(stepSeed) & 63) || !changes) continue;
                uint16_t block = static_cast<uint16_t>((g_Machine.crtc.R[12] & 0x30) << 10);
                uint8_t first = random(stepSeed);
                for (uint16_t i = 0; i < CPC_PAGE_SIZE; ++i) {
                    uint16_t address = static_cast<uint16_t>(block + i);
                    if (way == kMachine)
                        CPC_WriteMem(address, static_cast<uint8_t>(first + i));
                    else
                        ram_[address] = static_cast<uint8_t>(first + i);
                }
            }
            trail->push_back(onTime);
            if (way == kMachine) CPC_CatchUpVideo();
            const CRTC_State& c = g_Machine.crtc;
            trail->insert(trail->end(), {c.HCC, c.RA, c.VCC, c.MA, c.byteOffset, c.hccAtR0,
                                         static_cast<uint16_t>(c.lineTime), c.hsyncCountdown,
                                         c.vsyncCountdown, c.modeChangeDelay, c.gaHsyncDelay,
                                         c.currentMode, c.ML, c.status, g_Machine.ga.intLineCounter,
                                         g_Machine.ga.intPending, g_Machine.ppi.portB});
        }
        return states;
    };
    auto single = session(kSingle);
    EXPECT_GT(single.size(), 1200u * 17 + 10) << "frames and interrupts were expected";
    for (Way way : {kChunked, kMachine}) EXPECT_TRUE(session(way) == single) << "way " << way;
}
