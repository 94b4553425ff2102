// The brallivane-run program itself: the sessions of sessions.txt (the firmware's skipped
// without it), output into a pipe nobody reads, and real-time pacing.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>

#include "dsk_writer.h"
#include "firmware_support.h"
#include "session_player.h"

namespace {

// A 464 whose ROMs hold nothing but NOPs, for runs that bring their own program.
struct BlankMachine : TempFolder {
    BlankMachine() { Write("CPC464.rom", std::string(2 * 16384, '\0')); }
    std::string Options() const { return "--model 464 --no-trace --roms " + path.string() + " "; }
};

}  // namespace

TEST(RunnerProgram, Sessions) {
    BlankMachine blank;
    std::map<std::string, std::string> names = {
        {"run", RUNNER_PATH}, {"blank", blank.Options()}, {"step", "--monitor 'BR 9123'"}};
    if (FirmwarePresent()) names["roms"] = FirmwareDirectory();
    PlaySessions(FIRMWARE_TEST_DIR "/sessions.txt", names, [](const TempFolder& folder) {
        WriteBytes(folder.File("hello.dsk"), HelloDiskImage());
    });
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
        // The bounds hold pacing to the CPC's clock: an unpaced run takes well under a second,
        // one that paces at a wrong rate drifts by more than a tenth. The upper bound leaves
        // room for process start and exit, which under a sanitizer and a busy parallel test
        // run reach a few hundred milliseconds.
        EXPECT_GT(seconds, 4.9);
        EXPECT_LT(seconds, 5.6);
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
