// The desktop program as a Linux user meets it: a disk named on the command line (by the
// file manager, to the installed program using the user's folders) or dropped on the
// window, full screen and a resized window, a gamepad.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QGuiApplication>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "dsk_writer.h"
#include "platform/ini_profile.h"
#include "screen_reading.h"
#include "tape_writer.h"
#include "x11_session.h"
#include "x11_test_base.h"

namespace {

const std::string kMainTitle = "Brallivane - Amstrad CPC Emulation - DEBUG";
const std::string kRogue = std::filesystem::weakly_canonical(
    std::string(BRALLIVANE_SHARED_DIR) + "/testdata/dsk/std_cpcrogue_basic_rogue.dsk");
const std::string kRoms = std::string(BRALLIVANE_SHARED_DIR) + "/roms";
constexpr double kCpcRatio = 768.0 / 540.0;

class LinuxDesktop : public X11Test {
   protected:
    void SetUp() override {
        if (display_.empty()) GTEST_SKIP() << why_;
        if (!std::filesystem::exists(kRoms + "/CPC6128.rom") || !std::filesystem::exists(kRogue))
            GTEST_SKIP() << "no firmware images or test disks in " << BRALLIVANE_SHARED_DIR;
        charset_ = LoadCharset(kRoms + "/CPC6128.rom");
        RunTool({"setxkbmap", "us"});
    }
    void TearDown() override {
        StopProgram(program_);
        if (!program_.runDirectory.empty()) std::filesystem::remove_all(program_.runDirectory);
    }
    // Starts the program; without a file to start, sets it running with F5 in the monitor.
    // Outside a run folder the firmware is in the user's data folder under home/.
    void Start(const std::vector<std::string>& arguments, std::vector<std::string> environment = {},
               bool runFolder = true) {
        program_.runDirectory =
            MakeRunDirectory(::testing::UnitTest::GetInstance()->current_test_info()->name(),
                             runFolder ? kRoms : "", runFolder ? "[Settings]\n" : "");
        std::string home = program_.runDirectory + "/home";
        settings_ = runFolder ? program_.runDirectory + "/Brallivane.ini"
                              : home + "/.config/brallivane/Brallivane.ini";
        std::filesystem::create_directories(home + "/.local/share/brallivane");
        std::filesystem::create_directory_symlink(kRoms, home + "/.local/share/brallivane/ROM");
        environment.insert(environment.end(),
                           {"HOME=" + home, "XDG_CONFIG_HOME=", "XDG_DATA_HOME="});
        environment.push_back("SDL_AUDIODRIVER=dummy");
        ASSERT_TRUE(StartProgram(program_, environment, arguments));
        program_.mainWindow = WaitForWindow(kMainTitle, 10000);
        ASSERT_NE(program_.mainWindow, 0u);
        unsigned long monitor = WaitForWindow("Brallivane - Amstrad CPC emulation", 10000);
        if (!arguments.empty()) return;
        SendKeys(monitor, {"key", "F5"});
        RunTool({"xdotool", "windowunmap", "--sync", std::to_string(monitor)});  // off the picture
        ASSERT_TRUE(WaitForCpcText("Ready"));
    }
    template <typename Check>
    bool WaitFor(Check check, int milliseconds = 8000) {
        for (int waited = 0; waited < milliseconds; waited += 100) {
            if (check()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    bool WaitForCpcText(const std::string& text, bool shown = true) {
        return WaitFor([&] {
            return ShowsCpcText(CaptureWindow(program_.mainWindow), charset_, text) == shown;
        });
    }
    std::string Setting(const char* key) {
        return PAL_GetProfileString("Settings", key, "(none)", settings_.c_str());
    }
    // The picture: the box of the CPC's blue border pixels.
    QRect Picture() {
        Capture capture = CaptureWindow(program_.mainWindow);
        QRect box;
        for (int y = 0; y < capture.height(); ++y) {
            for (int x = 0; x < capture.width(); ++x) {
                QColor pixel = capture.pixelColor(x, y);
                if (pixel.blue() > 0x40 && pixel.red() < 0x40 && pixel.green() < 0x40)
                    box |= QRect(x, y, 1, 1);
            }
        }
        return box;
    }

    std::vector<uint8_t> charset_;
    std::string settings_;
    DesktopProgram program_;
};

TEST_F(LinuxDesktop, AFileNamedOnTheCommandLineStartsWithoutAKey) {
    // A tape of a BASIC program: 10 PRINT "TAPE OK".
    std::vector<uint8_t> program = {16,  0,   10,  0,   0xBF, ' ', '"', 'T', 'A',
                                    'P', 'E', ' ', 'O', 'K',  '"', 0,   0,   0};
    std::string folder = MakeRunDirectory("tape", "", ""), tape = folder + "/hello.cdt";
    std::ofstream(tape, std::ios::binary) << TestTapeCdt(TestTapeFile("HELLO", 0, 0x170, program));
    struct Case {
        std::string file, shows, gone;  // the disk's program clears the screen, and is recent
    };
    for (const Case& c : {Case{kRogue, "RUN\"ROGUE\"", "Ready"}, Case{tape, "TAPE OK", ""}}) {
        Start({c.file}, {}, false);
        EXPECT_TRUE(WaitForCpcText(c.shows)) << c.file << ": started once Ready showed";
        if (!c.gone.empty()) {
            EXPECT_TRUE(WaitForCpcText(c.gone, false)) << c.file;
            EXPECT_EQ(Setting("Recent1"), kRogue) << "in the user's configuration folder";
        }
        TearDown();
    }
    std::filesystem::remove_all(folder);
}

TEST_F(LinuxDesktop, ABadFileNamedOnTheCommandLineGetsTheInsertMenusMessage) {
    Start({"/no/such/game.dsk"});
    EXPECT_NE(WaitForWindow("Brallivane", 5000), 0u);
}

TEST_F(LinuxDesktop, ADroppedDiskGoesToTheDriveUnderThePointer) {
    Start({});
    pid_t source = fork();
    if (source == 0) {
        execl(DRAG_SOURCE, DRAG_SOURCE, kRogue.c_str(), nullptr);
        _exit(127);
    }
    ASSERT_NE(WaitForWindow("drag source", 10000), 0u);
    // Pressed on the source, moved over the lower half of the screen, released.
    RunTool({"sh", "-c",
             "xdotool mousemove --sync 1470 870 mousedown 1 sleep 0.3 mousemove --sync 300 400 "
             "sleep 0.3 mousemove --sync 400 420 sleep 0.5 mouseup 1"});
    EXPECT_TRUE(WaitFor([&] { return Setting("DriveB") == kRogue; }));
    kill(source, SIGTERM);
    waitpid(source, nullptr, 0);
}

TEST_F(LinuxDesktop, FullScreenAndAResizedWindowKeepThePicturesRatio) {
    Start({});
    SendKeys(program_.mainWindow, {"key", "F12"});
    QRect full;
    // The picture's last line may be a dark scan line.
    EXPECT_TRUE(WaitFor([&] { return (full = Picture()).height() >= 996; })) << "fills the screen";
    EXPECT_NEAR(double(full.width()) / full.height(), kCpcRatio, 0.01);
    EXPECT_EQ(full.left(), (1600 - full.width()) / 2) << "black bars at the sides";
    EXPECT_EQ(Setting("FullScreen"), "1");
    SendKeys(program_.mainWindow, {"key", "Escape", "key", "F12"});  // Esc stays the CPC's
    EXPECT_TRUE(WaitFor([&] { return Setting("FullScreen") == "0"; }));

    RunTool({"xdotool", "windowsize", "--sync", std::to_string(program_.mainWindow), "900", "500"});
    QRect scaled;
    EXPECT_TRUE(WaitFor([&] { return (scaled = Picture()).width() < 768; }));
    EXPECT_NEAR(double(scaled.width()) / scaled.height(), kCpcRatio, 0.01);
}

TEST_F(LinuxDesktop, AGamepadIsTheCpcsJoystick) {
    std::string fifo = std::filesystem::temp_directory_path() / ("pad_" + std::to_string(getpid()));
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Start({}, {"BRALLIVANE_SCRIPTED_GAMEPAD=" + fifo});
    int pad = open(fifo.c_str(), O_WRONLY);
    // The joystick is read a moment after it first moves: all its lines are down by then.
    SendKeys(program_.mainWindow,
             TypeCommands("WHILE JOY(0)=0:WEND:FOR I=1 TO 300:NEXT:?JOY(0)*2\n"));
    // The left stick right, the direction pad up and B: right, up and fire 2.
    const char step[] = "axis 0 32000\nbutton 11 1\nbutton 1 1\n";
    ASSERT_GT(write(pad, step, strlen(step)), 0);
    EXPECT_TRUE(WaitForCpcText(" 50")) << "JOY(0) = 25";
    close(pad);
    unlink(fifo.c_str());
}

}  // namespace
