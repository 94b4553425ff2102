// The brallivane-run program itself: the sessions of sessions.txt, output into a pipe
// nobody reads, and real-time pacing.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>

#include "dsk_writer.h"
#include "firmware_support.h"
#include "temp_folder.h"

namespace {

// A 464 whose ROMs hold nothing but NOPs, for runs that bring their own program.
struct BlankMachine : TempFolder {
    BlankMachine() { Write("CPC464.rom", std::string(2 * 16384, '\0')); }
    std::string Options() const { return "--model 464 --no-trace --roms " + path.string() + " "; }
};

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

struct Session {
    int line = 0, exit = 0;
    std::string command;
    std::vector<std::pair<std::string, std::string>> checks;  // kind, text
};

// Runs a session's command with bash in the folder's script file; returns the exit code,
// standard output and standard error.
struct Outcome {
    int code;
    std::string out, err;
};
Outcome RunScript(const TempFolder& folder, const std::string& command) {
    folder.Write("session.sh", "set -o pipefail\n" + command + "\n");
    CommandResult result =
        RunCommand("bash " + folder.File("session.sh") + " 2>" + folder.File("session.err"));
    return {result.code, result.out, ReadAll(folder.File("session.err"))};
}

}  // namespace

TEST(RunnerProgram, Sessions) {
    std::ifstream in(std::string(FIRMWARE_TEST_DIR) + "/sessions.txt");
    std::vector<Session> sessions;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.rfind("$ ", 0) == 0) {
            Session session{
                number, std::stoi(line.substr(2)), line.substr(line.find(' ', 2) + 1), {}};
            sessions.push_back(session);
        } else if (!line.empty() && line[0] != '#' && !sessions.empty()) {
            size_t colon = line.find(": ");
            sessions.back().checks.push_back(
                {line.substr(0, colon), Replace(line.substr(colon + 2), "\\n", "\n")});
        }
    }
    ASSERT_GT(sessions.size(), 20u);
    BlankMachine blank;
    for (const Session& session : sessions) {
        SCOPED_TRACE("sessions.txt line " + std::to_string(session.line));
        if (session.command.find("{roms}") != std::string::npos && !FirmwarePresent()) continue;
        TempFolder folder;
        WriteBytes(folder.File("hello.dsk"), HelloDiskImage());
        auto expand = [&](const std::string& text) {
            std::string out = Replace(text, "{run}", RUNNER_PATH);
            out = Replace(out, "{roms}", FirmwareDirectory());
            out = Replace(out, "{blank}", blank.Options());
            return Replace(out, "{tmp}", folder.path.string());
        };
        std::string command = expand(session.command);
        Outcome outcome = RunScript(folder, Replace(Replace(command, "{as}", "row"), "{step}", ""));
        if (command.find("{as}") != std::string::npos) {
            folder.Write("row.out", outcome.out);
            Outcome stepped = RunScript(
                folder, Replace(Replace(command, "{as}", "step"), "{step}", "--monitor 'BR 9123'"));
            EXPECT_EQ(stepped.code, session.exit) << stepped.err;
            folder.Write("step.out", stepped.out.substr(stepped.out.find('\n') + 1));
        }
        EXPECT_EQ(outcome.code, session.exit) << outcome.err;
        for (const auto& [kind, raw] : session.checks) {
            std::string text = expand(raw);
            if (kind == "out") {
                EXPECT_NE(outcome.out.find(text), std::string::npos) << text << "\n" << outcome.out;
            } else if (kind == "no") {
                EXPECT_EQ(outcome.out.find(text), std::string::npos) << text << "\n" << outcome.out;
            } else if (kind == "err") {
                EXPECT_NE(outcome.err.find(text), std::string::npos) << text << "\n" << outcome.err;
            } else if (kind == "same") {
                std::istringstream names(text);
                std::string a, b;
                names >> a >> b;
                std::string first = ReadAll(folder.File(a));
                EXPECT_FALSE(first.empty()) << a;
                EXPECT_TRUE(first == ReadAll(folder.File(b))) << a << " and " << b << " differ";
            } else {
                ADD_FAILURE() << "unknown check " << kind;
            }
        }
    }
}

// Output into a pipe whose reader has gone fails with 1, not by a signal.
TEST(RunnerProgram, OutputIntoAClosedPipeFails) {
    BlankMachine machine;
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    close(fds[0]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string command =
        "exec " + std::string(RUNNER_PATH) + " " + machine.Options() + "--dump-monitor";
    const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char**>(argv), environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
}

// With --realtime five CPC seconds take five host seconds, with or without a (WAV) audio
// device draining the sound ring, and waiting costs next to no processor time; without it
// the machine runs as fast as the host allows.
TEST(RunnerProgram, RealTimePacing) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "under ThreadSanitizer the machine runs slower than a real one";
#endif
    BlankMachine machine;
    auto processorSeconds = [] {
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
               (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    };
    TempFolder folder;
    for (const std::string& sound : {std::string(), "--wav " + folder.File("a.wav") + " "}) {
        SCOPED_TRACE(sound);
        double processorBefore = processorSeconds();
        auto start = std::chrono::steady_clock::now();
        CommandResult paced = RunCommand(std::string(RUNNER_PATH) + " " + machine.Options() +
                                         "--realtime " + sound + "--run-ms 5000");
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        double busy = processorSeconds() - processorBefore;
        EXPECT_EQ(paced.code, 0);
        std::printf("5 emulated seconds with --realtime %stook %.3f host seconds, %.3f busy\n",
                    sound.c_str(), seconds, busy);
        EXPECT_GT(seconds, 4.9);
        EXPECT_LT(seconds, 5.15);
#if !defined(__SANITIZE_ADDRESS__)
        EXPECT_LT(busy, 0.1 * seconds);
#endif
    }

    CommandResult fast =
        RunCommand(std::string(RUNNER_PATH) + " " + machine.Options() + "--run-ms 10000 --bench");
    std::printf("without it: %s", fast.out.c_str());
    ASSERT_EQ(fast.out.rfind("speed: ", 0), 0u) << fast.out;
    EXPECT_GT(std::stoul(fast.out.substr(7)), 1000u);
}
