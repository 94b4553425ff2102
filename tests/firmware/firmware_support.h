#pragma once
// Where the firmware images are, and a machine fixture that skips without them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/screen_text.h"
#include "tools/runner/runner_machine.h"

inline std::string FirmwareDirectory() {
    return std::string(BRALLIVANE_SHARED_DIR) + "/roms/";
}
inline bool FirmwarePresent() {
    for (const char* name : {"CPC464.rom", "CPC664.rom", "CPC6128.rom", "amsdos.rom"})
        if (!std::filesystem::exists(FirmwareDirectory() + name)) return false;
    return true;
}
// Everything on the screen, one line per character row, for failure messages.
inline std::string ScreenDump() {
    std::string dump;
    for (const std::string& line : Runner_ScreenText()) dump += "|" + line + "\n";
    return dump;
}

class FirmwareTest : public ::testing::Test {
   protected:
    void SetUp() override {
        if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    }
    void TearDown() override { Runner_ShutdownMachine(machine_); }

    // Starts the model (configuration byte) with the precise CRTC of type 1; stops are
    // counted, not reported.
    void Start(uint8_t type) {
        machine_.stopLog = nullptr;
        std::string error;
        ASSERT_TRUE(Runner_StartMachine(machine_, type, 1, FirmwareDirectory(), error)) << error;
    }
    // Types TEXT (with the --type escapes) and runs until ANSWER shows, or fails the test
    // with the screen after the time limit; empty TEXT just runs until ANSWER.
    void TypeAndExpect(const std::string& text, const std::string& answer, uint64_t ms = 5000) {
        std::vector<KeyStroke> strokes;
        std::string error;
        ASSERT_TRUE(Runner_ParseTypedText(text, strokes, error)) << error;
        if (!strokes.empty()) {
            ASSERT_TRUE(Runner_Type(machine_, strokes));
        }
        EXPECT_TRUE(Runner_RunUntilText(machine_, answer, ms * 1000))
            << "\"" << answer << "\" not seen; the screen shows:\n"
            << ScreenDump();
    }

    RunnerMachine machine_;
};
