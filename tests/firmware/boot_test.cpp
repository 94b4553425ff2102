// Each model boots to BASIC with its banner and our credit line, and BASIC answers a
// line typed through the keyboard.
#include <algorithm>

#include "common/machine/machine.h"
#include "firmware_support.h"
#include "tools/runner/screen_text.h"

namespace {

constexpr uint64_t BOOT_LIMIT_MS = 5000;
constexpr uint64_t ANSWER_LIMIT_MS = 2000;

bool HasLine(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

class BootTest : public FirmwareTest {
   protected:
    void BootsAndComputes(uint8_t type, const std::string& banner, const std::string& basic) {
        Start(type);
        if (HasFatalFailure()) return;
        ExpectText("Ready", BOOT_LIMIT_MS);
        auto lines = Runner_ScreenText();
        EXPECT_TRUE(Runner_ScreenShows(lines, banner)) << ScreenDump(lines);
        EXPECT_TRUE(Runner_ScreenShows(lines, basic)) << ScreenDump(lines);
        EXPECT_TRUE(HasLine(lines, " Brallivane 0.6")) << ScreenDump(lines);
        EXPECT_EQ(g_Machine.ga.screenMode, 1);

        std::vector<KeyStroke> strokes;
        std::string error;
        ASSERT_TRUE(Runner_ParseTypedText("PRINT 6*7\\n", strokes, error)) << error;
        ASSERT_TRUE(Runner_Type(machine_, strokes));
        ExpectText(" 42", ANSWER_LIMIT_MS);
        lines = Runner_ScreenText();
        EXPECT_TRUE(HasLine(lines, "PRINT 6*7")) << ScreenDump(lines);
        EXPECT_TRUE(HasLine(lines, " 42")) << ScreenDump(lines);
        // The answer comes before a second Ready.
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "Ready"), 2) << ScreenDump(lines);
    }
};

}  // namespace

TEST_F(BootTest, Cpc464) {
    BootsAndComputes(CPC_MODEL_464, "Amstrad 64K Microcomputer  (v1)", "BASIC 1.0");
}

TEST_F(BootTest, Cpc664WithDiskInterface) {
    BootsAndComputes(CPC_MODEL_664, "Amstrad 64K Microcomputer  (v2)", "BASIC 1.1");
}

TEST_F(BootTest, Cpc6128WithDiskInterface) {
    BootsAndComputes(CPC_MODEL_6128, "Amstrad 128K Microcomputer  (v3)", "BASIC 1.1");
}

TEST_F(BootTest, Cpc464TypesLowerCaseAndSymbols) {
    Start(CPC_MODEL_464);
    if (HasFatalFailure()) return;
    ExpectText("Ready", BOOT_LIMIT_MS);
    std::vector<KeyStroke> strokes;
    std::string error;
    ASSERT_TRUE(Runner_ParseTypedText("a$=\"Ok: \"+CHR$(33):print a$\\n", strokes, error)) << error;
    ASSERT_TRUE(Runner_Type(machine_, strokes));
    ExpectText("Ok: !", ANSWER_LIMIT_MS);
}
