#pragma once
// A machine built from small stand-in ROM files (no firmware needed), with the CRTC's
// port operations replaced by recorders and the trace records read back from the trace
// library's log.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/machine/machine.h"
#include "common/z80/z80.h"

struct CrtcPortWrite {
    uint8_t index;
    uint8_t value;
};

// Bytes the stand-in ROM files are filled with, to tell the images apart.
constexpr uint8_t FAKE_LOWER_ROM_BYTE = 0x11;
constexpr uint8_t FAKE_BASIC_BYTE = 0x22;
constexpr uint8_t FAKE_AMSDOS_BYTE = 0x77;

class PortsTest : public ::testing::Test {
   protected:
    void TearDown() override;

    // Builds and resets a machine of the given configuration byte.
    void StartMachine(uint8_t type);
    // Trace records written since the last call (or since the machine was started).
    std::vector<std::string> NewTraces();
    static bool Contains(const std::vector<std::string>& traces, const std::string& text);
    static bool ContainsPrefix(const std::vector<std::string>& traces, const std::string& prefix);

    Z80_State processor_{};

   public:
    // What the recording CRTC operations received.
    static std::vector<CrtcPortWrite> crtcWrites_;
    static uint32_t crtcTicks_;

   private:
    size_t traceOffset_ = 0;
};
