// The precise CRTC against itself: a video behind the processor, ticks of any length and
// arbitrary registers; single behaviours are the lines of crtc_cases.txt.
#include <utility>

#include "video_fixture.h"

// An HSYNC that ends before HCC reaches a new R2 starts again in the same line. A video
// behind must stop before the second one ends when that brings the interrupt.
TEST_F(VideoTest, VideoBehindStopsBeforeAnHsyncThatRestartsInItsLine) {
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

// Whatever the registers and offsets, nothing lands outside the 768 shown columns.
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
            // clang-format off
            const uint8_t near[][3] = {{0, 56, 15}, {1, 36, 31}, {2, 30, 31}, {3, 0x80, 0x7F},
                                       {4, 36, 7}, {5, 0, 7}, {6, 22, 7}, {7, 28, 7}, {9, 6, 1},
                                       {12, 0, 63}, {13, 0, 255},
                                       // A screen whose lines cross from one 4K of MA into
                                       // the next, and so from one RAM page to another.
                                       {12, 0x0F, 0x30}, {13, 0xE0, 31}};
            // clang-format on
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
