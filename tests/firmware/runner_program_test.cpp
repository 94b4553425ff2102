// The brallivane-run program itself: help, exit codes and a whole session.
#include <sys/wait.h>

#include <cstdio>

#include "firmware_support.h"

namespace {

struct ProgramResult {
    int exitCode = -1;
    std::string output;  // standard output only
};

ProgramResult RunProgram(const std::string& arguments) {
    std::string command = std::string(RUNNER_PATH) + " " + arguments + " 2>/dev/null";
    ProgramResult result;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe)) result.output += buffer;
    int status = pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace

TEST(RunnerProgram, HelpAndBadUsage) {
    ProgramResult help = RunProgram("--help");
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option :
         {"--model", "--roms", "--crtc", "--run-ms", "--until-text", "--timeout-ms", "--type",
          "--screenshot", "--screen-text", "--bench"}) {
        EXPECT_NE(help.output.find(option), std::string::npos) << option;
    }
    EXPECT_EQ(RunProgram("--model 128").exitCode, 1);
    EXPECT_EQ(RunProgram("--run-ms").exitCode, 1);
    EXPECT_EQ(RunProgram("--type '\\q'").exitCode, 1);
    EXPECT_EQ(RunProgram("--roms /nonexistent/brallivane --run-ms 1").exitCode, 2);
}

TEST(RunnerProgram, SessionAndTimeout) {
    if (!FirmwarePresent()) GTEST_SKIP() << "firmware images not found in " << FirmwareDirectory();
    ProgramResult session = RunProgram("--model 464 --roms " + FirmwareDirectory() +
                                       " --no-trace --until-text Ready --type 'print 2^10\\n' "
                                       "--until-text 1024 --screen-text --bench");
    EXPECT_EQ(session.exitCode, 0) << session.output;
    EXPECT_NE(session.output.find("\n 1024\n"), std::string::npos) << session.output;
    EXPECT_NE(session.output.find("speed: "), std::string::npos) << session.output;

    ProgramResult timeout = RunProgram("--model 464 --roms " + FirmwareDirectory() +
                                       " --no-trace --timeout-ms 300 --until-text 'never shown'");
    EXPECT_EQ(timeout.exitCode, 3);
}
