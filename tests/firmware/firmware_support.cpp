#include "firmware_support.h"

#include <filesystem>

namespace fs = std::filesystem;

std::string FirmwareDirectory() {
    return std::string(BRALLIVANE_SHARED_DIR) + "/roms/";
}

bool FirmwarePresent() {
    for (const char* name : {"CPC464.rom", "CPC664.rom", "CPC6128.rom", "amsdos.rom"}) {
        if (!fs::exists(FirmwareDirectory() + name)) return false;
    }
    return true;
}

std::string ScreenDump(const std::vector<std::string>& lines) {
    std::string dump;
    for (const std::string& line : lines) dump += "|" + line + "\n";
    return dump;
}

void FirmwareTest::SetUp() {
    if (!FirmwarePresent()) GTEST_SKIP() << "firmware images not found in " << FirmwareDirectory();
}

void FirmwareTest::TearDown() {
    Runner_ShutdownMachine(machine_);
}

void FirmwareTest::Start(uint8_t type) {
    machine_.stopLog = nullptr;  // stops are counted; tests look at them when they care
    std::string error;
    ASSERT_TRUE(Runner_StartMachine(machine_, type, 1, FirmwareDirectory(), error)) << error;
}

void FirmwareTest::ExpectText(const std::string& text, uint64_t milliseconds) {
    bool seen = Runner_RunUntilText(machine_, text, milliseconds * 1000);
    EXPECT_TRUE(seen) << "\"" << text << "\" not seen; the screen shows:\n"
                      << ScreenDump(Runner_ScreenText());
}
