// Disks the firmware writes, through the brallivane-run program: the sessions of
// disk_writes.txt on each model with a disk interface, and a runner killed while the CPC
// writes.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <sstream>
#include <thread>

#include "dsk_writer.h"
#include "firmware_support.h"
#include "temp_folder.h"

namespace {
std::string Runner(const std::string& model, const std::string& disk) {
    return std::string(RUNNER_PATH) + " --no-trace --roms " + FirmwareDirectory() + " --model " +
           model + " --disk-a " + disk + " ";
}

bool Loadable(const std::string& bytes) {
    FDC_Disk disk{};
    bool loaded =
        FDC_LoadDskBytes(&disk, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    FDC_FreeDisk(&disk);
    return loaded;
}
}  // namespace

TEST(DiskWrites, SessionsOnEachModel) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    std::ifstream table(std::string(FIRMWARE_TEST_DIR) + "/disk_writes.txt");
    ASSERT_TRUE(table);
    std::vector<std::string> lines;
    for (std::string line; std::getline(table, line);) lines.push_back(line);
    for (const char* model : {"6128", "664", "464fdi"}) {
        TempFolder folder;
        std::string disk = folder.File("work.dsk");
        ASSERT_EQ(RunCommand(Runner(model, "x").substr(0, Runner(model, "x").find("--disk-a")) +
                             "--new-disk " + disk + " data")
                      .code,
                  0);
        std::string screen, before;
        bool protectedRun = false;
        for (const std::string& line : lines) {
            SCOPED_TRACE(std::string(model) + ": " + line);
            if (line.rfind("session ", 0) == 0) {
                if (protectedRun) {
                    EXPECT_EQ(ReadAll(disk), before) << "changed while protected";
                }
                std::string text = line.substr(8);
                protectedRun = text.rfind("protected ", 0) == 0;
                if (protectedRun) text = text.substr(10);
                before = ReadAll(disk);
                CommandResult run = RunCommand(
                    Runner(model, disk) + (protectedRun ? "--write-protect a " : "") +
                    "--until-text Ready --type '" + text + "' --run-ms 4000 --screen-text");
                ASSERT_EQ(run.code, 0) << run.out;
                screen = run.out;
                EXPECT_TRUE(Loadable(ReadAll(disk)));
            } else if (line.rfind("=> ", 0) == 0) {
                EXPECT_NE(screen.find(line.substr(3)), std::string::npos) << screen;
            } else if (line.rfind("!> ", 0) == 0) {
                EXPECT_EQ(screen.find(line.substr(3)), std::string::npos) << screen;
            }
        }
        if (protectedRun) {
            EXPECT_EQ(ReadAll(disk), before) << "changed while protected";
        }
    }
}

// Killed at random moments while a program saves a file over and over, the runner leaves
// the old image or a new one, never a mixture, and the firmware still reads it. Typing the
// program in real time takes some seconds, and the first write reaches the file two
// seconds after the first save.
TEST(DiskWrites, KilledWhileWritingLeavesAWholeImage) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    TempFolder folder;
    std::string disk = folder.File("work.dsk");
    ASSERT_EQ(RunCommand(std::string(RUNNER_PATH) + " --no-trace --roms " + FirmwareDirectory() +
                         " --new-disk " + disk + " data")
                  .code,
              0);
    std::string original = ReadAll(disk);
    std::mt19937 random(std::random_device{}());
    int changed = 0;
    for (int round = 0; round < 3; ++round) {
        std::string command = "exec " + Runner("6128", disk) +
                              "--realtime --until-text Ready --type '10 SAVE\"D\",B,0,&800:GOTO "
                              "10\\nRUN\\n' --run-ms 60000 >/dev/null 2>&1";
        const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
        pid_t pid = 0;
        ASSERT_EQ(posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char**>(argv), environ),
                  0);
        std::this_thread::sleep_for(
            std::chrono::milliseconds(std::uniform_int_distribution<int>(8000, 14000)(random)));
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        std::string image = ReadAll(disk);
        EXPECT_EQ(image.size(), original.size());
        EXPECT_TRUE(Loadable(image)) << "round " << round;
        changed += image != original;
        original = image;
    }
    EXPECT_GT(changed, 0) << "no round wrote the disk";
    CommandResult cat = RunCommand(Runner("6128", disk) +
                                   "--until-text Ready --type 'CAT\\n' --run-ms 3000 "
                                   "--screen-text");
    EXPECT_NE(cat.out.find("K free"), std::string::npos) << cat.out;
}
