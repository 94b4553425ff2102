// The brallivane-run program itself: help, exit codes, stops, output failures, the same
// results from the same command line, and real-time pacing.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>

#include "dsk_writer.h"
#include "firmware_support.h"
#include "platform/ini_profile.h"
#include "sound_analysis.h"
#include "temp_folder.h"

namespace {

struct Result : CommandResult {
    std::string err;
};

// Runs the program through the shell (arguments may redirect its output); returns its
// exit code, standard output and standard error.
Result RunProgram(const std::string& arguments) {
    TempFolder folder;
    Result result;
    static_cast<CommandResult&>(result) =
        RunCommand(std::string(RUNNER_PATH) + " " + arguments + " 2>" + folder.File("err"));
    result.err = ReadAll(folder.File("err"));
    return result;
}

// Runs the program with standard output a pipe nobody reads; returns its exit code.
int RunIntoClosedPipe(const std::string& arguments) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    close(fds[0]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string command = "exec " + std::string(RUNNER_PATH) + " " + arguments;
    const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
    pid_t pid = 0;
    int spawned =
        posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    int status = 0;
    if (spawned != 0 || waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A 464 whose ROMs hold nothing but NOPs, for runs that bring their own program.
struct BlankMachine : TempFolder {
    BlankMachine() { Write("CPC464.rom", std::string(2 * 16384, '\0')); }
    std::string Options() const { return "--model 464 --no-trace --roms " + path.string() + " "; }
};

// LD BC,FFFF; OUT (C),A; JR back: output to a port nobody answers, at 4000.
const char* const kBadPortLoop = "--monitor 'SB 4000 01FFFFED7918F9' --monitor 'PC 4000' ";

}  // namespace

TEST(RunnerProgram, HelpAndBadUsage) {
    Result help = RunProgram("--help");  // the options themselves: the runner's unit tests
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("--autorun"), std::string::npos) << help.out;
    Result late = RunProgram("--run-ms 5 --model 464");
    EXPECT_EQ(late.code, 1);
    EXPECT_NE(late.err.find("--model is a machine option"), std::string::npos) << late.err;
}

TEST(RunnerProgram, ABadTapeIsNamedWithItsBlock) {
    BlankMachine machine;
    machine.Write("bad.cdt", std::string("ZXTape!\x1A\x01\x14\x11\x64", 12));
    Result bad =
        RunProgram(machine.Options() + "--tape " + machine.File("bad.cdt") + " --run-ms 1");
    EXPECT_EQ(bad.code, 1);
    EXPECT_NE(bad.err.find("--tape: " + machine.File("bad.cdt") +
                           ": block 0 (ID 11) runs past the end of the file"),
              std::string::npos)
        << bad.err;
}

TEST(RunnerProgram, StartFailureNamesTheRomFile) {
    TempFolder roms;
    const std::string run = "--model 464 --roms " + roms.path.string() + " --run-ms 1";
    Result missing = RunProgram(run);
    EXPECT_EQ(missing.code, 2);
    EXPECT_NE(missing.err.find(roms.File("CPC464.rom") + " is missing"), std::string::npos)
        << missing.err;
    roms.Write("CPC464.rom", std::string(100, '\0'));
    Result shorter = RunProgram(run);
    EXPECT_EQ(shorter.code, 2);
    EXPECT_NE(shorter.err.find("CPC464.rom is too short: 100 bytes"), std::string::npos)
        << shorter.err;
}

TEST(RunnerProgram, StopsIntoTheMonitorOrKeepsGoing) {
    BlankMachine machine;
    Result stopped = RunProgram(machine.Options() + kBadPortLoop + "--run-ms 5 --dump-monitor");
    EXPECT_EQ(stopped.code, 0) << stopped.err;
    EXPECT_NE(stopped.out.find("\nstop: PC=4005 Out made on an unknown port.\n"), std::string::npos)
        << stopped.out;
    EXPECT_NE(stopped.out.find("\n|Out made on an unknown port."), std::string::npos)
        << stopped.out;
    EXPECT_NE(stopped.out.find("\n STOPPED"), std::string::npos) << stopped.out;

    Result going = RunProgram(machine.Options() + "--keep-going " + kBadPortLoop + "--run-ms 5");
    EXPECT_EQ(going.code, 0);
    EXPECT_EQ(going.out.find("stop: PC="), std::string::npos) << going.out;
    EXPECT_NE(going.err.find("stop: reason 4 at PC=4003 happened "), std::string::npos)
        << going.err;

    // A script whose last line is a comment leaves the monitor ready for the next one.
    machine.Write("a.txt", "REG A 12\n# the end");
    machine.Write("b.txt", "REG B 34\n");
    Result scripts = RunProgram(machine.Options() + "--monitor-script " + machine.File("a.txt") +
                                " --monitor-script " + machine.File("b.txt"));
    EXPECT_EQ(scripts.code, 0) << scripts.err;
    EXPECT_NE(scripts.out.find("monitor: REG B 34"), std::string::npos) << scripts.out;
}

TEST(RunnerProgram, OutputThatCannotBeWrittenFails) {
    BlankMachine machine;
    Result full = RunProgram(machine.Options() + "--dump-monitor > /dev/full");
    EXPECT_EQ(full.code, 1);
    EXPECT_NE(full.err.find("cannot write to standard output"), std::string::npos) << full.err;
    EXPECT_EQ(RunIntoClosedPipe(machine.Options() + "--dump-monitor"), 1);
}

TEST(RunnerProgram, SessionsRepeatExactlyAndTimeOut) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    TempFolder folder;
    auto run = [&](const std::string& picture) {
        return RunProgram("--model 6128 --no-trace --roms " + FirmwareDirectory() +
                          " --frame-hashes " + folder.File(picture + ".hashes") +
                          " --until-text Ready --type 'print 1/3\\n' --run-ms 333 --screenshot " +
                          folder.File(picture) +
                          " --monitor 'BR 0038' --until-stop --screen-text --dump-monitor");
    };
    // The monitor's status row shows the run rate against the host's clock: left out.
    auto withoutRate = [](std::string out) {
        size_t rate = out.find(" us / sec");
        size_t start = out.rfind('\n', rate);
        return rate == std::string::npos ? out : out.erase(start, rate - start);
    };
    Result first = run("first.png");
    Result second = run("second.png");
    EXPECT_EQ(first.code, 0) << first.err;
    EXPECT_NE(first.out.find(" us / sec"), std::string::npos);
    EXPECT_EQ(withoutRate(first.out), withoutRate(second.out));
    EXPECT_NE(first.out.find("\n 0.333333333\n"), std::string::npos) << first.out;
    EXPECT_NE(first.out.find("stop: PC=0038 BP reached."), std::string::npos) << first.out;
    std::string picture = ReadAll(folder.File("first.png"));
    EXPECT_GT(picture.size(), 1000u);
    EXPECT_EQ(picture, ReadAll(folder.File("second.png")));
    // A hash for each of the frames of the session (boot, typing, 333 ms), the same in both.
    std::string hashes = ReadAll(folder.File("first.png.hashes"));
    EXPECT_GT(std::count(hashes.begin(), hashes.end(), '\n'), 100);
    EXPECT_EQ(hashes, ReadAll(folder.File("second.png.hashes")));

    const std::string machine = "--model 464 --roms " + FirmwareDirectory() + " --no-trace ";
    EXPECT_EQ(RunProgram(machine + "--timeout-ms 300 --until-text 'never shown'").code, 3);
    EXPECT_EQ(RunProgram(machine + "--timeout-ms 10 --until-stop").code, 3);
}

// Running instructions in a row (the processor holding back device time) and stepping
// them one at a time (a breakpoint that is never reached) give the same frames and sound:
// a BASIC program that prints and plays notes, a machine-code loop that fills the screen
// again and again while it is drawn, and one that changes a tone's period all the time.
TEST(RunnerProgram, RunningInARowMatchesStepping) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    TempFolder folder;
    const std::string basic =
        " --type '10 MODE 1:FOR i=1 TO 40:PRINT i;SIN(i):SOUND 1,50+i,2,7:NEXT\nRUN\n'"
        " --run-ms 1500 --screen-text";
    // LD A,0; again: LD HL,C000; LD DE,C001; LD BC,3FFF; LD (HL),A; LDIR; INC A; JR again
    const std::string fill =
        " --monitor 'SB 8000 3E00 2100C0 1101C0 01FF3F 77 EDB0 3C 18F1' --monitor 'PC 8000'"
        " --run-ms 300";
    // DI; then through the routine at 8030 (PSG register D := E): mixer tone A only,
    // volume A 15, coarse period 0; again: fine period one more; JR again.
    const std::string tones =
        " --monitor 'SB 8000 F316071E3ECD308016081E0FCD308016011E00CD'"
        " --monitor 'SB 8014 30801600 1CCD3080 18F8'"
        " --monitor 'SB 8030 06F4ED5106F63EC0ED79AFED7906F4ED5906F63E'"
        " --monitor 'SB 8044 80ED79AFED79C9' --monitor 'PC 8000' --run-ms 300";
    for (const char* mode : {"", "--fast"}) {
        for (const std::string& session : {basic, fill, tones}) {
            auto run = [&](const std::string& name, const std::string& monitor) {
                Result result = RunProgram(
                    "--model 6128 --no-trace " + std::string(mode) + " --roms " +
                    FirmwareDirectory() + " --frame-hashes " + folder.File(name + ".hashes") +
                    monitor + " --until-text Ready --wav " + folder.File(name + ".wav") + session);
                EXPECT_EQ(result.code, 0) << result.err;
                return result.out;
            };
            std::string inARow = run("row", "");
            std::string stepped = run("step", " --monitor 'BR 9123'");
            EXPECT_EQ(inARow, stepped.substr(stepped.find('\n') + 1)) << mode;
            EXPECT_EQ(ReadAll(folder.File("row.hashes")), ReadAll(folder.File("step.hashes")))
                << mode << session;
            EXPECT_EQ(ReadAll(folder.File("row.wav")), ReadAll(folder.File("step.wav"))) << mode;
            if (session == basic) {
                EXPECT_NE(inARow.find(" 16 -0.287903315"), std::string::npos) << mode << inARow;
                EXPECT_GT(ReadAll(folder.File("row.wav")).size(), 100000u);
            }
        }
    }
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
        Result paced = RunProgram(machine.Options() + "--realtime " + sound + "--run-ms 5000");
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

    Result fast = RunProgram(machine.Options() + "--run-ms 10000 --bench");
    std::printf("without it: %s", fast.out.c_str());
    ASSERT_EQ(fast.out.rfind("speed: ", 0), 0u) << fast.out;
    EXPECT_GT(std::stoul(fast.out.substr(7)), 1000u);
}

// Disks from the command line and from the settings file, as a user runs the program.
TEST(RunnerProgram, DisksAndSettings) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    TempFolder folder;
    const std::string settings = folder.File("b.ini");
    WriteBytes(folder.File("hello.dsk"), HelloDiskImage());
    const std::string machine =
        "--roms " + FirmwareDirectory() + " --no-trace --settings " + settings;

    EXPECT_EQ(RunProgram(machine + " --disk-a " + folder.File("none") + " --run-ms 1").code, 1);
    EXPECT_FALSE(std::ifstream(settings).good()) << "a failed insert writes nothing";
    EXPECT_EQ(RunProgram(machine + " --disk-a " + folder.File("hello") + " --run-ms 1").code, 0);
    EXPECT_EQ(PAL_GetProfileString("Settings", "DriveA", "", settings.c_str()),
              folder.File("hello.dsk"));
    // The next run finds the disk through the settings file.
    Result screen = RunProgram(machine + " --autorun --until-text 'LINE 20' --screen-text");
    EXPECT_EQ(screen.code, 0) << screen.err;
    EXPECT_NE(screen.out.find("RUN\"HELLO\"\nDISK OK\nLINE 20"), std::string::npos) << screen.out;
}

TEST(RunnerProgram, WavFile) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    const std::string machine = "--model 464 --fast --roms " + FirmwareDirectory() + " --no-trace ";
    TempFolder folder;
    Result made =
        RunProgram(machine + "--run-ms 100 --wav " + folder.File("a.wav") + " --run-ms 1000");
    EXPECT_EQ(made.code, 0) << made.err;
    WavSamples wav;
    EXPECT_TRUE(ReadWav(folder.File("a.wav"), wav));
    // Six buffers of silence queued at the start, then one refill for each buffer played:
    // 43 in a second.
    EXPECT_EQ(wav.left.size(), 6 * 1024 + 43 * 1024u);
    EXPECT_EQ(RunProgram(machine + "--wav /nonexistent/brallivane.wav --run-ms 10").code, 1);
}
