// The desktop program under a virtual X server: real windows, real X key events, pixels
// read back. Each test starts the program in a run directory of its own.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QGuiApplication>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>

#include "../firmware/sound_analysis.h"
#include "dsk_writer.h"
#include "platform/ini_profile.h"
#include "screen_reading.h"
#include "tape_writer.h"
#include "temp_folder.h"
#include "x11_session.h"
#include "x11_test_base.h"

namespace {

const std::string kMainTitle = "Brallivane - Amstrad CPC Emulation - DEBUG";
const std::string kMonitorTitle = "Brallivane - Amstrad CPC emulation";
// For sanitizer builds: leaks of the system libraries under Qt are not ours.
const std::string kLeakSuppressions = "LSAN_OPTIONS=suppressions=" LEAK_SUPPRESSIONS;

std::string RomDirectory() {
    return std::string(BRALLIVANE_SHARED_DIR) + "/roms";
}

void Sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class Desktop : public X11Test {
   protected:
    void SetUp() override {
        if (display_.empty()) GTEST_SKIP() << why_;
        if (!std::filesystem::exists(RomDirectory() + "/CPC6128.rom"))
            GTEST_SKIP() << "no firmware images in " << RomDirectory();
        charset_ = LoadCharset(RomDirectory() + "/CPC6128.rom");
        RunTool({"setxkbmap", "us"});
    }
    void TearDown() override {
        StopProgram(program_);
        if (!program_.runDirectory.empty()) std::filesystem::remove_all(program_.runDirectory);
    }

    // How the machine is set running: F5 in the monitor, Run (Ctrl+F5) in the main window,
    // or AutoStart=1 in the settings.
    enum class Run { MonitorF5, RunItem, AutoStart };
    // Starts the program; the machine, shown stopped, is set running.
    void Start(const std::string& settings = "", std::vector<std::string> environment = {},
               Run run = Run::MonitorF5) {
        program_.runDirectory =
            MakeRunDirectory(::testing::UnitTest::GetInstance()->current_test_info()->name(),
                             RomDirectory(), settings);
        if (environment.empty()) environment.push_back("SDL_AUDIODRIVER=dummy");
        environment.push_back(kLeakSuppressions);
        ASSERT_TRUE(StartProgram(program_, environment));
        program_.mainWindow = WaitForWindow(kMainTitle, 10000);
        program_.monitorWindow = WaitForWindow(kMonitorTitle, 10000);
        ASSERT_NE(program_.mainWindow, 0u);
        ASSERT_NE(program_.monitorWindow, 0u);
        if (run != Run::AutoStart) {
            EXPECT_TRUE(WaitFor([&] { return StatusSpeed(Main()) == -3; })) << "stopped";
            if (run == Run::MonitorF5) Keys("key F5", program_.monitorWindow);
            if (run == Run::RunItem) Keys("key ctrl+F5");
        }
        ASSERT_TRUE(WaitForCpcText("Ready"));
    }
    Capture Main() { return CaptureWindow(program_.mainWindow); }
    Capture Monitor() { return CaptureWindow(program_.monitorWindow); }
    template <typename Check>
    bool WaitFor(Check check, int milliseconds = 5000) {
        for (int waited = 0; waited < milliseconds; waited += 100) {
            if (check()) return true;
            Sleep(100);
        }
        return false;
    }
    bool WaitForCpcText(const std::string& text) {
        return WaitFor([&] { return ShowsCpcText(Main(), charset_, text); }, 8000);
    }
    void Type(const std::string& text) { SendKeys(program_.mainWindow, TypeCommands(text)); }
    // xdotool commands as one line of words, to the main window unless another is named.
    void Keys(const std::string& words, unsigned long window = 0) {
        std::istringstream in(words);
        std::vector<std::string> commands{std::istream_iterator<std::string>(in), {}};
        SendKeys(window ? window : program_.mainWindow, commands);
    }
    // Answers the program's message box (titled "Brallivane") with a key.
    void Answer(const std::string& key) {
        unsigned long box = WaitForWindow("Brallivane", 10000);
        ASSERT_NE(box, 0u) << "no message box";
        Keys("key " + key, box);
    }
    void ExpectExit(int code) {
        int exitCode = -1;
        EXPECT_TRUE(WaitForExit(program_, 5000, &exitCode)) << "the program ends";
        EXPECT_EQ(exitCode, code);
    }
    std::string Setting(const char* key) {
        std::string file = program_.runDirectory + "/Brallivane.ini";
        return PAL_GetProfileString("Settings", key, "(none)", file.c_str());
    }
    // Saves the windows for a report when BRALLIVANE_SCREENSHOTS names a folder.
    void Keep(const std::string& name) {
        const char* folder = std::getenv("BRALLIVANE_SCREENSHOTS");
        if (!folder) return;
        Main().save(QString::fromStdString(std::string(folder) + "/" + name + "-main.png"));
        Monitor().save(QString::fromStdString(std::string(folder) + "/" + name + "-monitor.png"));
    }

    std::vector<uint8_t> charset_;
    DesktopProgram program_;
};

TEST_F(Desktop, BootsTypesAndEndsFromTheMonitor) {
    Start();
    EXPECT_TRUE(WaitFor([&] { return MonitorShows(Monitor(), 1, 40, "RUNNING"); }));
    EXPECT_TRUE(MonitorShows(Monitor(), 57, 1, "SZ5H3PNC")) << "the register panel";
    int speed = -2;
    // 0.0 % until the first measurement, after 100 frames.
    EXPECT_TRUE(WaitFor([&] { return (speed = StatusSpeed(Main())) > 0; }, 8000));
    EXPECT_NEAR(speed, 1000, 100) << "paced to real time";
    Keep("running");

    // Shift+2 is the at sign on a US layout (CPC SHIFT released), Shift+' the quote.
    Type("PRINT \"A\";2+2;\"@\"\n");
    EXPECT_TRUE(WaitForCpcText("A 4 @")) << "typed without a syntax error";
    Keep("typed");
    // Typed at once (12 ms apart, as xdotool types), far faster than the key queue drains:
    // every key arrives, one press per zero, and Shift let go before 8 is no extra 8. The
    // keypad's Enter ends a line too.
    Keys(
        "key --delay 12 p r i n t space 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 keydown "
        "shift keydown 8 keyup shift keyup 8 key 7 KP_Enter");
    EXPECT_TRUE(WaitForCpcText(" 7E+20"));
    // After a menu, Esc, and the About box opened and closed from the keyboard, keys reach
    // the CPC again.
    Keys("key alt+h sleep 0.3 key Escape sleep 0.3 key F1");
    unsigned long about = WaitForWindow("About", 5000);
    ASSERT_NE(about, 0u);
    Keys("key Return", about);
    // The keyboard comes back without a click (on a slow host, such as a sanitizer build
    // under load, a moment after the box has gone).
    EXPECT_TRUE(WaitFor([&] {
        return RunTool({"xdotool", "getwindowfocus"}) == std::to_string(program_.mainWindow) + "\n";
    })) << "the main window has the keyboard again";
    RunTool({"xdotool", "key", "--delay", "80", "question", "5", "Return"});
    EXPECT_TRUE(WaitForCpcText(" 5")) << "typed without a click";
    // F11 makes Q the joystick: nothing typed.
    Keys("key F11 key q");
    EXPECT_TRUE(WaitFor([&] { return StatusShows(Main(), 520, "Joystick"); }));
    Keys("key F11 key w key Return");
    EXPECT_TRUE(WaitForCpcText("Syntax error")) << "only W was typed";
    EXPECT_FALSE(ShowsCpcText(Main(), charset_, "qw"));
    // A German layout, set while running: key codes 29 and 52 type Y and Z on a US
    // keyboard, and Shift+2 is the double quote.
    RunTool({"setxkbmap", "de"});
    Sleep(300);
    Keys("key --delay 100 29 52 shift+2 Return");
    EXPECT_TRUE(WaitForCpcText("zy\""));

    Keys("key Escape", program_.monitorWindow);  // Esc in the monitor ends the program
    ExpectExit(0);
}

TEST_F(Desktop, MenuCommandsChangeTheMachineAndTheSettings) {
    Start("", {}, Run::RunItem);
    Keys("key F10");  // Sound
    EXPECT_TRUE(WaitFor([&] { return Setting("Sound") == "1"; }));
    // System menu: the fifth item after 464 is CRTC type 0; no question, no restart.
    Keys("key alt+s sleep 0.3 key Down Down Down Down Down Return");
    EXPECT_TRUE(WaitFor([&] { return Setting("CRTC") == "0"; }));

    Keys("key F3");
    EXPECT_TRUE(WaitFor([&] { return StatusSpeed(Main()) == -1; })) << "PAUSE";
    Type("PRINT 7\n");
    Sleep(500);
    EXPECT_FALSE(ShowsCpcText(Main(), charset_, "PRINT 7")) << "a paused machine types nothing";
    Keys("key F3");
    EXPECT_TRUE(WaitForCpcText("PRINT 7")) << "the keys waited in the queue";

    // 464: Cancel leaves everything (OK: the disk test).
    Keys("key alt+s sleep 0.3 key Return");
    Answer("Escape sleep 0.3");
    EXPECT_EQ(Setting("Type"), "(none)");

    // Zoom 2 from the System menu: the window doubles and the setting is kept.
    Keys("key alt+s sleep 0.3 key 2");
    EXPECT_TRUE(WaitFor([&] { return Setting("Zoom") == "2" && Main().width() == 2 * 768; }));
}

TEST_F(Desktop, DiskInsertSwapEjectAndRun) {
    Start();
    // The dialog opens in ../Files/: the name alone will do. A long name is cut short on
    // the status line.
    const QString name = QStringLiteral("hello-with-a-long-name.dsk");
    std::string image = program_.runDirectory + "/Files/" + name.toStdString();
    std::filesystem::create_directory(program_.runDirectory + "/Files");
    WriteBytes(image, HelloDiskImage());
    auto insert = [&](char drive, const std::string& file) {
        Keys(drive == 'A' ? "key F5" : "key F6");
        unsigned long dialog =
            WaitForWindow(std::string("Load Disk Image for drive \\[") + drive + "\\]", 5000);
        ASSERT_NE(dialog, 0u);
        SendKeys(dialog, {"type", file});  // "type" takes every argument after it
        Keys("key Return", dialog);
    };
    insert('A', name.toStdString());
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveA") == image; }));
    EXPECT_TRUE(WaitFor([&] { return StatusShows(Main(), 144, "A: [" + name + "]", 284); }));
    Type("RUN\"HELLO\n");
    EXPECT_TRUE(WaitForCpcText("DISK OK"));
    Keep("disk");

    Keys("key F7");
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveB") == image && Setting("DriveA").empty(); }));
    EXPECT_TRUE(WaitFor([&] { return StatusShows(Main(), 284, "B: [" + name + "]", 424); }));
    // Disk menu: Insert A, Eject A, Insert B, Eject B.
    Keys("key alt+d sleep 0.3 key Down Down Down Return");
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveB").empty(); }));
    // Disk menu, Recent disks (its last item), the first entry: the latest disk goes back
    // into drive A. Then Eject A.
    Keys("key alt+d sleep 0.3 key Up sleep 0.2 key Right sleep 0.3 key Return");
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveA") == image; }));
    Keys("key alt+d sleep 0.3 key Down Return");
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveA").empty(); }));

    // A disk from a folder where ../ROM/ is no ROM folder: the next restart (as a 464, OK)
    // still finds the ROM images.
    std::string other = program_.runDirectory + "/other.dsk";
    WriteBytes(other, HelloDiskImage());
    insert('B', other);
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveB") == other; }));
    // On a loaded host the menu may open after the Return meant for it: try again.
    for (int attempt = 0; attempt < 3 && Setting("Type") != "0"; ++attempt) {
        Keys("key alt+s sleep 0.5 key Return");
        if (unsigned long box = WaitForWindow("Brallivane", 5000)) Keys("key Return", box);
        WaitFor([&] { return Setting("Type") == "0"; });
    }
    EXPECT_EQ(Setting("Type"), "0");
    Keys("key ctrl+F5");
    EXPECT_TRUE(WaitForCpcText("BASIC 1.0")) << "the 464's BASIC";

    // With a dialog open the monitor still takes its keys: Esc ends the program.
    Keys("key F5");
    ASSERT_NE(WaitForWindow("Load Disk Image for drive \\[A\\]", 5000), 0u);
    Keys("key Escape", program_.monitorWindow);
    ExpectExit(0);
}

// A tape named by the settings is in the deck with PLAY down; at real speed (fast loading
// off in the settings) the counter shows while it loads; the Tape menu ejects it.
TEST_F(Desktop, TapeFromTheSettingsLoadsAndTheMenuEjectsIt) {
    TempFolder folder;
    std::vector<uint8_t> data(300);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 13 + 5);
    folder.Write("game.cdt", TestTapeCdt(TestTapeFile("GAME", 2, 0x4000, data)));
    Start("[Settings]\nType=0\nFastTape=0\nTape=" + folder.File("game.cdt") + "\n");  // a 464
    Type("MEMORY 16383:LOAD\"\"\n");
    ASSERT_TRUE(WaitForCpcText("Press PLAY"));
    Sleep(300);
    Type(" ");
    EXPECT_TRUE(WaitFor([&] { return StatusShows(Main(), 74, "Tape 0:0"); }));
    EXPECT_TRUE(WaitForCpcText("Loading GAME block 1"));
    Keep("tape");
    SendKeys(program_.mainWindow, {"key", "alt+t", "sleep", "0.3", "key", "Down", "Return"});
    EXPECT_TRUE(WaitFor([&] { return Setting("Tape").empty(); }));
}

TEST_F(Desktop, SoundIsHeardInTheFileSdlWrites) {
    TempFolder folder;
    std::string raw = folder.File("audio.raw");
    Start("[Settings]\nSound=1\nAutoStart=1\n",
          {"SDL_AUDIODRIVER=disk", "SDL_DISKAUDIOFILE=" + raw, "SDL_DISKAUDIODELAY=23"},
          Run::AutoStart);
    Type("SOUND 1,142,100\n");
    Sleep(2500);
    WavSamples sound;
    AddFrames(ReadAll(raw), 0, sound);
    ASSERT_GT(sound.left.size(), 44100u) << "over a second of sound written";
    std::vector<size_t> changes = SignChanges(sound.left);
    EXPECT_NEAR(Frequency(changes), 440.0, 5.0);
    EXPECT_LT(HalfWaveSpread(changes), 0.05) << "no gap or crackle in the tone";
}

// A loopback socket on the port, connected (port 0: bound to a free port, which port gets).
int LoopbackSocket(int* port, bool connectToIt) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(*port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof a;
    bool done = connectToIt ? connect(fd, reinterpret_cast<sockaddr*>(&a), size) == 0
                            : bind(fd, reinterpret_cast<sockaddr*>(&a), size) == 0 &&
                                  getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size) == 0;
    *port = ntohs(a.sin_port);
    if (!done) close(fd);
    return done ? fd : -1;
}

TEST_F(Desktop, RemoteDebuggerOnTheSettingsPort) {
    int port = 0;
    close(LoopbackSocket(&port, false));  // a port free a moment ago
    Start("[Settings]\nGdbPort=" + std::to_string(port) + "\n");
    int client = -1;
    EXPECT_TRUE(WaitFor([&] { return (client = LoopbackSocket(&port, true)) >= 0; }, 5000));
    ASSERT_GE(client, 0);
    timeval patience{10, 0};
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    send(client, "$g#67", 5, 0);
    char reply[64] = {};
    EXPECT_EQ(recv(client, reply, 57, MSG_WAITALL), 57) << reply;  // "+$", 52 digits, "#cs"
    EXPECT_TRUE(WaitFor([&] { return MonitorShows(Monitor(), 56, 40, "GDB attached"); }, 5000));
    close(client);
    EXPECT_TRUE(WaitFor([&] { return !MonitorShows(Monitor(), 56, 40, "GDB attached"); }, 5000));
}

// At start no ROM folder at all; on a restart to the 464 its ROM file is missing. The box
// stays until answered, then the program ends with status 1.
TEST_F(Desktop, MissingRomsAreReportedAndTheProgramEnds) {
    TempFolder roms;
    for (const char* file : {"CPC6128.rom", "amsdos.rom"})
        std::filesystem::create_symlink(RomDirectory() + "/" + file, roms.File(file));
    for (bool atStart : {true, false}) {
        program_.runDirectory =
            MakeRunDirectory(atStart ? "noroms" : "no464", atStart ? "" : roms.path.string(), "");
        // Outside a run folder at start: a home of its own, without a user's ROM folder.
        ASSERT_TRUE(StartProgram(program_, {"SDL_AUDIODRIVER=dummy", kLeakSuppressions,
                                            "HOME=" + program_.runDirectory, "XDG_DATA_HOME="}));
        if (!atStart) {
            program_.mainWindow = WaitForWindow(kMainTitle, 10000);
            Keys("key alt+s sleep 0.3 key Return");
            Answer("Return sleep 0.5");
        }
        ASSERT_NE(WaitForWindow("Brallivane", 10000), 0u) << "Unable to start the Emulation.";
        EXPECT_FALSE(WaitForExit(program_, 500)) << "the box waits for its answer";
        Answer("Return");
        ExpectExit(1);
        std::filesystem::remove_all(program_.runDirectory);
    }
}

}  // namespace

// Disk menu: a new blank disk in drive A, which the CPC then writes; the file follows a
// few seconds later. With its folder gone, the next write is told once. Then Write protect
// A, remembered in the settings.
TEST_F(Desktop, NewBlankDiskIsWrittenAndProtected) {
    Start();
    std::filesystem::create_directories(program_.runDirectory + "/disks");
    std::string image = program_.runDirectory + "/disks/blank.dsk";
    SendKeys(program_.mainWindow, {"key", "alt+d", "sleep", "0.3", "key", "Down", "Down", "Down",
                                   "Down", "Down", "Down", "Down", "Down", "Down", "Return"});
    unsigned long dialog = WaitForWindow("New blank disk in drive A", 5000);
    ASSERT_NE(dialog, 0u);
    SendKeys(dialog, {"type", image});
    SendKeys(dialog, {"key", "Return"});
    unsigned long format = WaitForWindow("Format of the new disk", 5000);
    ASSERT_NE(format, 0u);
    SendKeys(format, {"key", "Return"});  // DATA
    ASSERT_TRUE(WaitFor([&] { return Setting("DriveA") == image; }));
    std::string blank = ReadAll(image);
    Type("SAVE\"X\"\n");
    EXPECT_TRUE(WaitFor([&] { return ReadAll(image) != blank; }, 8000));
    std::filesystem::remove_all(program_.runDirectory + "/disks");
    Type("SAVE\"Y\"\n");
    unsigned long told = WaitForWindow("Brallivane", 8000);
    ASSERT_NE(told, 0u) << "the write that failed is told";
    SendKeys(told, {"key", "Return"});
    SendKeys(program_.mainWindow, {"key", "alt+d", "sleep", "0.3", "key", "Down", "Down", "Down",
                                   "Down", "Down", "Return"});
    EXPECT_TRUE(WaitFor([&] { return Setting("WriteProtectA") == "1"; }));
}
