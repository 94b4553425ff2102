#pragma once
// A machine built from small stand-in ROM files in a temporary folder (no firmware
// needed): each image page is filled with one known byte, every RAM block starts with a
// mark byte, the CRTC's port operations are recorders, and a processor takes the stops.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/z80/z80.h"
#include "temp_folder.h"
#include "trace_log.h"

constexpr uint8_t kLowerFill = 0x11;
constexpr uint8_t kBasicFill = 0x22;
constexpr uint8_t kAmsdosFill = 0x77;
constexpr uint8_t kRamMark = 0xB0;  // block b starts with kRamMark + b (blocks 4-7 extra)
using Bytes = std::vector<int>;     // bytes compared as a group

class MachineTest : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_FALSE(temp_.path.empty());
        folder_ = temp_.path.string();
        PAL_SetRomDirectory(folder_.c_str());  // no trailing separator on purpose
        crtcWrites.clear();
    }
    void TearDown() override {
        g_Machine.processor = nullptr;
        CPC_Shutdown(&g_Machine);
        PAL_SetRomDirectory(nullptr);
    }

    // Lower ROM then BASIC; a size above two pages adds foreign bytes, below cuts BASIC.
    void WriteModelFile(const std::string& name, size_t size = 2 * CPC_PAGE_SIZE) {
        std::string bytes = std::string(CPC_PAGE_SIZE, static_cast<char>(kLowerFill)) +
                            std::string(CPC_PAGE_SIZE, static_cast<char>(kBasicFill));
        bytes.resize(size, '\x99');
        temp_.Write(name, bytes);
    }
    void WriteAmsdos(size_t size = CPC_PAGE_SIZE) {
        temp_.Write("amsdos.rom", std::string(size, static_cast<char>(kAmsdosFill)));
    }
    void WriteAllRoms() {
        for (const char* name : {"CPC464.rom", "CPC664.rom", "CPC6128.rom"}) WriteModelFile(name);
        WriteAmsdos();
    }

    // Builds and resets a machine of the configuration byte from the stand-in images.
    void Start(uint8_t type) {
        WriteAllRoms();
        ASSERT_EQ(CPC_Init(type, 1), &g_Machine);
        g_Machine.crtcOps = {[] {},
                             [](uint8_t i, uint8_t v) {
                                 crtcWrites.push_back({i, v});
                             },
                             [](uint8_t i) { return static_cast<uint8_t>(0xC0 | i); },
                             [](uint8_t) {}};
        CPC_Reset();
        processor_ = Z80_State{};
        g_Machine.processor = &processor_;
        for (int block = 0; block < 4; ++block) {
            g_Machine.baseRam[block][0] = static_cast<uint8_t>(kRamMark + block);
            if (g_Machine.extraRam[block])
                g_Machine.extraRam[block][0] = static_cast<uint8_t>(kRamMark + 4 + block);
        }
        TraceLog::Take();
    }

    static uint8_t PageStart(int page) { return CPC_ReadMem(static_cast<uint16_t>(page << 14)); }
    // What the four pages show at their starts (ROM fills or RAM marks).
    static Bytes Pages() { return {PageStart(0), PageStart(1), PageStart(2), PageStart(3)}; }
    static bool HoldsNothing() {
        const CPC_Machine& m = g_Machine;
        bool none = !m.lowerRom;
        for (const uint8_t* rom : m.upperRoms) none = none && !rom;
        for (int i = 0; i < 4; ++i) none = none && !m.baseRam[i] && !m.extraRam[i];
        return none;
    }
    static std::vector<std::string> Traces() { return TraceLog::Take(); }

    TempFolder temp_;
    std::string folder_;
    Z80_State processor_{};
    static inline std::vector<std::pair<uint8_t, uint8_t>> crtcWrites;  // index, value
};
