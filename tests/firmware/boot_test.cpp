// Each model boots to BASIC with its banner and our credit line, and BASIC answers lines
// typed through the keyboard, in capitals, lower case and symbols.
#include <algorithm>

#include "common/machine/machine.h"
#include "firmware_support.h"

namespace {

struct Model {
    const char* name;
    uint8_t type;
    const char* banner;
    const char* basic;
};
void PrintTo(const Model& model, std::ostream* out) {
    *out << model.name;
}

class Boot : public FirmwareTest, public ::testing::WithParamInterface<Model> {};

size_t CountLines(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace

TEST_P(Boot, ShowsTheBannersAndAnswers) {
    Start(GetParam().type);
    if (HasFatalFailure()) return;
    TypeAndExpect("", "Ready");
    auto lines = Runner_ScreenText();
    EXPECT_TRUE(Runner_ScreenShows(lines, GetParam().banner)) << ScreenDump();
    EXPECT_TRUE(Runner_ScreenShows(lines, GetParam().basic)) << ScreenDump();
    EXPECT_EQ(CountLines(lines, " Brallivane 0.6"), 1u) << ScreenDump();
    EXPECT_EQ(g_Machine.ga.screenMode, 1);

    TypeAndExpect("PRINT 6*7\\n", " 42", 2000);
    lines = Runner_ScreenText();
    EXPECT_EQ(CountLines(lines, "PRINT 6*7"), 1u) << ScreenDump();
    EXPECT_EQ(CountLines(lines, " 42"), 1u) << ScreenDump();
    EXPECT_EQ(CountLines(lines, "Ready"), 2u) << "the answer comes before a second Ready";

    TypeAndExpect("a$=\"Ok: \"+CHR$(33):print a$\\n", "Ok: !", 2000);
}

INSTANTIATE_TEST_SUITE_P(
    Models, Boot,
    ::testing::Values(
        Model{"Cpc464", CPC_MODEL_464, "Amstrad 64K Microcomputer  (v1)", "BASIC 1.0"},
        Model{"Cpc664", CPC_MODEL_664, "Amstrad 64K Microcomputer  (v2)", "BASIC 1.1"},
        Model{"Cpc6128", CPC_MODEL_6128, "Amstrad 128K Microcomputer  (v3)", "BASIC 1.1"}),
    [](const ::testing::TestParamInfo<Model>& info) { return std::string(info.param.name); });
