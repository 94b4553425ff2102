// The brallivane-run program itself: help, exit codes and a whole session.
#include <sys/wait.h>

#include <cstdio>

#include "firmware_support.h"
#include "sound_analysis.h"

namespace {
// Runs the program; returns its exit code and, in output, what it wrote to standard output.
int RunProgram(const std::string& arguments, std::string* output = nullptr) {
    std::string command = std::string(RUNNER_PATH) + " " + arguments + " 2>/dev/null";
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe))
        if (output) *output += buffer;
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
}  // namespace

TEST(RunnerProgram, HelpAndBadUsage) {
    std::string help;
    EXPECT_EQ(RunProgram("--help", &help), 0);
    for (const char* option :
         {"--model", "--roms", "--crtc", "--run-ms", "--until-text", "--timeout-ms", "--type",
          "--screenshot", "--screen-text", "--bench", "--fast", "--wav"})
        EXPECT_NE(help.find(option), std::string::npos) << option;
    EXPECT_EQ(RunProgram("--model 128"), 1);  // what else is bad: the runner's unit tests
    EXPECT_EQ(RunProgram("--roms /nonexistent/brallivane --run-ms 1"), 2);
}

TEST(RunnerProgram, SessionAndTimeout) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    const std::string machine = "--model 464 --roms " + FirmwareDirectory() + " --no-trace ";
    std::string session;
    EXPECT_EQ(RunProgram(machine + "--until-text Ready --type 'print 2^10\\n' --until-text 1024 "
                                   "--screen-text --bench",
                         &session),
              0)
        << session;
    EXPECT_NE(session.find("\n 1024\n"), std::string::npos) << session;
    EXPECT_NE(session.find("speed: "), std::string::npos) << session;
    EXPECT_EQ(RunProgram(machine + "--timeout-ms 300 --until-text 'never shown'"), 3);
}

TEST(RunnerProgram, WavFile) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    const std::string machine = "--model 464 --fast --roms " + FirmwareDirectory() + " --no-trace ";
    const std::string path = ::testing::TempDir() + "brallivane-run-" + std::to_string(getpid());
    EXPECT_EQ(RunProgram(machine + "--run-ms 100 --wav " + path + " --run-ms 1000"), 0);
    WavSamples wav;
    EXPECT_TRUE(ReadWav(path, wav));
    // Six buffers of silence queued at the start, then one refill for each buffer played:
    // 43 in a second.
    EXPECT_EQ(wav.left.size(), 6 * 1024 + 43 * 1024u);
    std::remove(path.c_str());
    EXPECT_EQ(RunProgram(machine + "--wav /nonexistent/brallivane.wav --run-ms 10"), 1);
}
