#pragma once
// Where the firmware images are, and a machine fixture that skips without them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/runner/runner_machine.h"

// The folder of the firmware images, with a trailing slash.
std::string FirmwareDirectory();
// True when every image file is there.
bool FirmwarePresent();
// Everything on the screen, one line per character row, for failure messages.
std::string ScreenDump(const std::vector<std::string>& lines);

class FirmwareTest : public ::testing::Test {
   protected:
    void SetUp() override;
    void TearDown() override;
    // Starts the model (configuration byte) with the precise CRTC of type 1.
    void Start(uint8_t type);
    // Runs until TEXT shows, failing the test with the screen when it does not.
    void ExpectText(const std::string& text, uint64_t milliseconds);

    RunnerMachine machine_;
};
