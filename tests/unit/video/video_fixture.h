#pragma once
// A machine with just enough of itself for the CRTC and the renderer: four RAM blocks,
// a frame buffer, known inks, and interrupts acknowledged the way the processor does.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/video/crtc_precise.h"
#include "common/video/renderer.h"

constexpr uint32_t kLineMicroseconds = 64;
constexpr uint32_t kFrameLines = 312;
constexpr uint32_t kFrameMicroseconds = kLineMicroseconds * kFrameLines;
constexpr uint8_t kBorderInk = 4;
constexpr uint8_t kInkOfPen0 = 10;  // pen p has ink kInkOfPen0 + p

class VideoTest : public ::testing::Test {
   protected:
    void SetUp() override {
        ram_.assign(4 * CPC_PAGE_SIZE, 0);
        frame_.assign(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
        PAL_InitVideoTables();
        PAL_SetFrameBuffer(frame_.data());
        repaints().clear();
        PAL_SetRepaintHandler([] { repaints().push_back(g_Machine.crtc.ML); });
        for (int block = 0; block < 4; ++block)
            g_Machine.writeMap[block] = g_Machine.baseRam[block] =
                ram_.data() + block * CPC_PAGE_SIZE;
        g_Machine.Type = CPC_MODEL_6128;
        g_Machine.processor = nullptr;
        g_Machine.horizontalOffset = -13;
        for (int pen = 0; pen < 16; ++pen)
            g_Machine.ga.penInks[pen] = static_cast<uint8_t>(kInkOfPen0 + pen);
        g_Machine.ga.penInks[16] = kBorderInk;
        g_Machine.ga.screenMode = 0;
    }
    void TearDown() override {
        PAL_SetRepaintHandler(nullptr);
        PAL_SetFrameBuffer(nullptr);
        for (auto& block : g_Machine.baseRam) block = nullptr;
        for (auto& page : g_Machine.writeMap) page = nullptr;
    }

    // Power-on (nothing survives from an earlier run), then the machine reset.
    void ColdStart(uint8_t crtcType) {
        g_Machine.crtc = CRTC_State{};
        g_Machine.crtcPending = g_Machine.crtcQuiet = 0;
        CRTC_Init(crtcType);
        CRTC_ClearResetState(&g_Machine.crtc);
        g_Machine.crtcOps.reset();
        g_Machine.ga.intLineCounter = 0;
        g_Machine.ga.intPending = 0;
        g_Machine.ppi.portB = 0x1E;
    }
    void WriteRegister(uint8_t reg, uint8_t value) {
        g_Machine.crtcOps.out(0, reg);
        g_Machine.crtcOps.out(1, value);
    }
    // One microsecond, then the acknowledge the processor would make.
    void Tick() {
        g_Machine.crtcOps.tick(1);
        ++now_;
        if (g_Machine.ga.intPending) {
            ++interrupts_;
            g_Machine.ga.intPending = 0;
            g_Machine.ga.intLineCounter &= ~0x20;
        }
    }
    void Run(uint32_t microseconds) {
        for (uint32_t i = 0; i < microseconds; ++i) Tick();
    }
    // Ticks until done() holds after a tick; fails the test after limit microseconds.
    template <typename Predicate>
    void RunUntil(Predicate done, uint32_t limit = 4 * kFrameMicroseconds) {
        for (uint32_t i = 0; i < limit; ++i) {
            Tick();
            if (done()) return;
        }
        ADD_FAILURE() << "condition not reached in " << limit << " us";
    }

    bool VsyncActive() const { return g_Machine.ppi.portB & 1; }
    // Runs to the next VSYNC start; returns the microsecond it happened at.
    uint64_t RunToVsyncStart() {
        bool was = VsyncActive();
        RunUntil([&] {
            bool rising = VsyncActive() && !was;
            was = VsyncActive();
            return rising;
        });
        return now_;
    }
    // Every row holds the ink of pen 1 in columns left to right of rows top to bottom,
    // the border ink elsewhere, and black in the never-written half.
    void ExpectDisplayArea(int top, int bottom, int left, int right) {
        int wrong = 0;
        for (int row = 0; row < PAL_FRAME_ROWS; ++row) {
            bool display = row >= top && row <= bottom;
            for (int x = 0; x < PAL_FRAME_ROW_BYTES; ++x) {
                uint8_t expected = x >= PAL_SCREEN_WIDTH                ? PAL_BLACK
                                   : display && x >= left && x <= right ? kInkOfPen0 + 1
                                                                        : kBorderInk;
                if (Row(row)[x] != expected && wrong++ < 5)
                    ADD_FAILURE() << "row " << row << " x " << x << ": " << int(Row(row)[x]);
            }
        }
        EXPECT_EQ(wrong, 0);
    }
    uint8_t* Row(int row) { return frame_.data() + size_t{PAL_FRAME_ROW_BYTES} * row; }
    bool AllBlack(const uint8_t* from, const uint8_t* to) const {
        return std::all_of(from, to, [](uint8_t b) { return b == PAL_BLACK; });
    }
    // Monitor line counts of the frames ended so far, in order.
    static std::vector<uint16_t>& repaints() {
        static std::vector<uint16_t> lines;
        return lines;
    }

    std::vector<uint8_t> ram_;
    std::vector<uint8_t> frame_;
    uint64_t now_ = 0;
    int interrupts_ = 0;
};
