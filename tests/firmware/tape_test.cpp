// The cassette deck with the real firmware, the cases read from tape_cases.txt.
#include <fstream>
#include <sstream>

#include "firmware_support.h"
#include "tape_writer.h"
#include "temp_folder.h"

namespace {

struct TapeCase {
    std::string kind, model, variant;
};

std::vector<TapeCase> ReadCases() {
    std::vector<TapeCase> cases;
    std::ifstream in(std::string(FIRMWARE_TEST_DIR) + "/tape_cases.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        TapeCase c;
        std::istringstream(line) >> c.kind >> c.model >> c.variant;
        cases.push_back(c);
    }
    return cases;
}

void PrintTo(const TapeCase& c, std::ostream* out) {
    *out << c.kind << " " << c.model << " " << c.variant;
}

std::string CaseName(const ::testing::TestParamInfo<TapeCase>& info) {
    std::string name = info.param.kind + "_" + info.param.model + "_" + info.param.variant;
    for (char& c : name)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class TapeFirmware : public ::testing::TestWithParam<TapeCase> {
   protected:
    void SetUp() override {
        if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    }
    // Runs brallivane-run on the case's model; the screen is printed at the end.
    CommandResult Run(const std::string& arguments) {
        std::string command = std::string(RUNNER_PATH) + " --no-trace --timeout-ms 120000 --roms " +
                              FirmwareDirectory() + " --model " + GetParam().model + " " +
                              arguments + " --screen-text 2>&1";
        return RunCommand(command);
    }
    std::string Tape() const { return GetParam().model == "464" ? "" : "|TAPE\\n"; }
    TempFolder folder_;
};

TEST_P(TapeFirmware, Loads) {
    const TapeCase& c = GetParam();
    std::string tape = folder_.File("tape");
    std::string check;
    if (c.kind == "round-trip") {
        CommandResult saved =
            Run("--tape-record " + tape + " --until-text Ready --type '" + Tape() + "SPEED WRITE " +
                c.variant +
                "\\n10 MEMORY &4FFF:LOAD\"!bin\",&5000\\n"
                "20 s=0:FOR i=0 TO 255:s=s-(PEEK(&5000+i)<>((i*7+3) AND 255)):NEXT\\n"
                "30 PRINT \"CHECKED\";s\\n"
                "MEMORY &4FFF:FOR i=0 TO 255:POKE &5000+i,(i*7+3) AND 255:NEXT\\n"
                "SAVE\"!prog\":SAVE\"!bin\",B,&5000,256:PRINT \"SAVED\";7*6\\n' --until-text "
                "'SAVED 42'");
        ASSERT_EQ(saved.code, 0) << saved.out;
        CommandResult loaded = Run("--tape " + tape +
                                   " --autorun --until-text CHECKED --type 'LIST\\n' --until-text "
                                   "'30 PRINT'");
        EXPECT_EQ(loaded.code, 0) << loaded.out;
        EXPECT_NE(loaded.out.find("CHECKED 0"), std::string::npos) << loaded.out;
        check = loaded.out;
    } else {
        std::vector<uint8_t> data(2100);
        for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 13 + 5);
        auto records = TestTapeFile("ENCODED", 2, 0x4000, data);
        folder_.Write("tape", c.variant == "cdt" ? TestTapeCdt(records)
                                                 : TestTapeCsw(TestTapePulses(records), 44100));
        CommandResult loaded =
            Run("--tape " + tape + " --until-text Ready --type '" + Tape() +
                "MEMORY &3FFF:LOAD\"\":s=0:FOR i=0 TO 2099:s=s-(PEEK(&4000+i)<>((i*13+5) AND 255)):"
                "NEXT:PRINT \"CHECKED\";s\\n' --until-text 'Press PLAY' --run-ms 300 --type ' ' "
                "--until-text 'CHECKED '");
        EXPECT_EQ(loaded.code, 0) << loaded.out;
        EXPECT_NE(loaded.out.find("Loading ENCODED block 2"), std::string::npos) << loaded.out;
        EXPECT_NE(loaded.out.find("CHECKED 0"), std::string::npos) << loaded.out;
        check = loaded.out;
    }
    EXPECT_EQ(check.find("error"), std::string::npos) << check;
}

INSTANTIATE_TEST_SUITE_P(Cases, TapeFirmware, ::testing::ValuesIn(ReadCases()), CaseName);

}  // namespace
