// The brallivane-run program itself: help, exit codes and a whole session.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "dsk_writer.h"
#include "firmware_support.h"
#include "platform/ini_profile.h"

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
    for (const char* option : {"--model", "--roms", "--crtc", "--run-ms", "--until-text",
                               "--timeout-ms", "--type", "--screenshot", "--screen-text", "--bench",
                               "--disk-a", "--disk-b", "--settings", "--autorun"})
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

// Disks from the command line and from the settings file, as a user runs the program.
TEST(RunnerProgram, DisksAndSettings) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    const std::string base = ::testing::TempDir() + "runner_disk_" + std::to_string(getpid());
    const std::string disk = base + ".dsk", settings = base + ".ini";
    WriteBytes(disk, HelloDiskImage());
    std::remove(settings.c_str());
    const std::string machine =
        "--roms " + FirmwareDirectory() + " --no-trace --settings " + settings;

    EXPECT_EQ(RunProgram(machine + " --disk-a " + base + "-missing --run-ms 1"), 1);
    EXPECT_FALSE(std::ifstream(settings).good()) << "a failed insert writes nothing";
    EXPECT_EQ(RunProgram(machine + " --disk-a " + base + " --run-ms 1"), 0);  // .dsk added
    EXPECT_EQ(PAL_GetProfileString("Settings", "DriveA", "", settings.c_str()), disk);
    // The next run finds the disk through the settings file.
    std::string screen;
    EXPECT_EQ(RunProgram(machine + " --autorun --until-text 'LINE 20' --screen-text", &screen), 0);
    EXPECT_NE(screen.find("RUN\"HELLO\"\nDISK OK\nLINE 20"), std::string::npos) << screen;
    std::remove(disk.c_str());
    std::remove(settings.c_str());
}
