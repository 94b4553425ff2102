// Snapshots of a running program continue exactly: the cases of snapshots.txt.
#include <fstream>
#include <random>
#include <sstream>

#include "firmware_support.h"
#include "temp_folder.h"

namespace {

// Sound (tone and volume envelopes, noise), ink changes and text, all moving.
const char* const kProgram =
    "MODE 1:ENV 1,15,-1,3:ENT 1,20,3,1\\n"
    "FOR I=1 TO 900:SOUND 1,50+I,4,15,1,1,I MOD 7:INK 1,I MOD 27:PRINT I;:NEXT\\n";
constexpr int kAfterMs = 1500;

struct Case {
    std::string model, mode, saveBy, loadBy, loader;
    unsigned seed = 0;
};

std::string Run(const std::string& arguments) {
    CommandResult result = RunCommand(std::string(RUNNER_PATH) + " --no-trace --roms " +
                                      FirmwareDirectory() + " " + arguments + " 2>&1");
    EXPECT_EQ(result.code, 0) << arguments << "\n" << result.out;
    return result.out;
}

std::vector<std::string> Hashes(const std::string& path) {
    std::vector<std::string> hashes;
    std::istringstream lines(ReadAll(path));
    std::string frame, number, hash;
    while (lines >> frame >> number >> hash) hashes.push_back(hash);
    return hashes;
}

void Play(const Case& c, const TempFolder& folder) {
    const std::string mode = c.mode == "fast" ? "--fast " : "";
    const std::string sna = folder.File("s.sna");
    std::mt19937 random(c.seed);
    unsigned beforeMs = std::uniform_int_distribution<unsigned>(300, 2500)(random);
    SCOPED_TRACE(c.model + " " + c.mode + " snapshot after " + std::to_string(beforeMs) + " ms");
    const std::string save = c.saveBy == "monitor" ? "--monitor 'SNAPSAVE " + sna + "' "
                                                   : "--save-snapshot " + sna + " ";
    Run("--model " + c.model + " " + mode + "--frame-hashes " + folder.File("a.hashes") +
        " --until-text Ready --type '" + kProgram + "' --run-ms " + std::to_string(beforeMs) + " " +
        save + "--wav " + folder.File("a.wav") + " --run-ms " + std::to_string(kAfterMs));
    const std::string load =
        c.loadBy == "monitor" ? "--monitor 'SNAPLOAD " + sna + "' " : "--snapshot " + sna + " ";
    std::string out = Run("--model " + c.loader + " " + mode + "--frame-hashes " +
                          folder.File("b.hashes") + " " + load + "--wav " + folder.File("b.wav") +
                          " --run-ms " + std::to_string(kAfterMs) + " --screen-text");
    std::vector<std::string> uninterrupted = Hashes(folder.File("a.hashes"));
    std::vector<std::string> loaded = Hashes(folder.File("b.hashes"));
    ASSERT_GT(loaded.size(), 70u) << out;
    ASSERT_GE(uninterrupted.size(), loaded.size());
    EXPECT_TRUE(std::equal(loaded.begin(), loaded.end(), uninterrupted.end() - loaded.size()))
        << out;
    EXPECT_TRUE(ReadAll(folder.File("a.wav")) == ReadAll(folder.File("b.wav")));
}

}  // namespace

TEST(Snapshots, ContinueExactlyInAFreshProcess) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    std::ifstream cases(std::string(FIRMWARE_TEST_DIR) + "/snapshots.txt");
    ASSERT_TRUE(cases) << "snapshots.txt is missing";
    std::string line;
    int played = 0;
    while (std::getline(cases, line)) {
        if (line.empty() || line[0] == '#') continue;
        Case c;
        std::istringstream(line) >> c.model >> c.mode >> c.seed >> c.saveBy >> c.loadBy >> c.loader;
        TempFolder folder;
        Play(c, folder);
        ++played;
    }
    EXPECT_EQ(played, 5);
}

TEST(Snapshots, BadFileIsNamedAndRefused) {
    TempFolder folder;
    folder.Write("bad.sna", "MV - SNA");
    CommandResult result = RunCommand(std::string(RUNNER_PATH) + " --roms " + folder.path.string() +
                                      " --snapshot " + folder.File("bad.sna") + " 2>&1");
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.out.find(folder.File("bad.sna") + ": truncated: 8 bytes"), std::string::npos)
        << result.out;
}
