// The shell on the real firmware: settings read with their defaults, the status fields,
// the menu commands with their restarts, questions and settings writes, frames for the
// window and audio output on SDL's dummy driver.
#include "desktop/shell.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"
#include "common/video/renderer.h"
#include "desktop/audio_output.h"
#include "desktop/frame_exchange.h"
#include "desktop/status_line.h"
#include "desktop/window_placement.h"
#include "platform/ini_profile.h"
#include "platform/memory_console.h"
#include "platform/settings_path.h"

namespace {

std::string RomDirectory() {
    return std::string(BRALLIVANE_SHARED_DIR) + "/roms/";
}

struct FakeUi {
    bool answer = true;
    int questions = 0;
    std::vector<std::string> messages;
    bool quit = false;
};
FakeUi g_ui;

void Pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class Shell : public ::testing::Test {
   protected:
    void SetUp() override {
        settings_ = ::testing::TempDir() + "brallivane_shell_" + std::to_string(getpid()) + ".ini";
        std::filesystem::remove(settings_);
        PAL_SetSettingsPath(settings_.c_str());
        g_ui = FakeUi{};
        // As in a fresh process: a test may end paused, or muted by a start with Sound off.
        g_Shell.control.pauseRequest.store(0);
        PSG_Unmute();
        g_Shell.ui = {
            [] { return ++g_ui.questions, g_ui.answer; },
            [](const char* text, const char*, ShellMessage) { g_ui.messages.push_back(text); },
            [] {}, [](bool) {}, [] { g_ui.quit = true; }};
        setenv("SDL_AUDIODRIVER", "dummy", 1);
    }
    void TearDown() override {
        Win32_StopEmulation();
        PAL_SetConsole(nullptr);
        PAL_SetSettingsPath(nullptr);
        std::filesystem::remove(settings_);
    }
    void Write(const std::string& text) { std::ofstream(settings_) << text; }
    std::string Setting(const char* key) {
        return PAL_GetProfileString(PAL_SETTINGS_SECTION, key, "(none)", settings_.c_str());
    }
    // Starts the machine from the settings and sets it running, as F5 in the monitor does.
    void StartRunning() {
        if (!std::filesystem::exists(RomDirectory() + "CPC6128.rom"))
            GTEST_SKIP() << "no firmware images in " << RomDirectory();
        PAL_SetRomDirectory(RomDirectory().c_str());
        PAL_SetConsole(console_.Operations());
        Shell_ReadSettings();
        ASSERT_TRUE(Win32_StartEmulation());
        console_.PushKeys({PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5});
        ASSERT_TRUE(console_.WaitUntilIdle(10000));
    }
    // CPC time, read while the Pause command holds the machine (so no instruction runs).
    static uint64_t HeldTime() {
        EXPECT_EQ(g_Shell.control.paused.load(std::memory_order_acquire), 1);
        return g_Machine.deviceTime;
    }

    std::string settings_;
    MemoryConsole console_;
};

TEST_F(Shell, SettingsAndTheirDefaults) {
    // type, speed, CRTC, sound, zoom, fastest, auto start
    using Values = std::vector<unsigned>;
    const std::pair<const char*, Values> cases[] = {
        {nullptr, {194, 1, 1, 0, 1, 0, 0}},
        {"[Settings]\nType=242\nZoom=3\nSound=1\nAutoStart=1\n", {242, 1, 1, 1, 3, 1, 1}},
        {"[Settings]\nType=abc\nCRTC=7\nSound=x\nZoom=9\nSpeed=0\nAutoStart=2\n",
         {194, 0, 1, 0, 1, 0, 0}},
        {"[Settings]\nType=450\nCRTC=0\n", {194, 1, 0, 0, 1, 0, 0}},
        {"\x01\xFF garbage without sections\n", {194, 1, 1, 0, 1, 0, 0}},
    };
    for (const auto& [text, expected] : cases) {
        std::filesystem::remove(settings_);
        if (text) Write(text);
        Shell_ReadSettings();
        const EmulControl& c = g_Shell.control;
        EXPECT_EQ((Values{c.Type, c.actualSpeed.load(), c.crtcType, g_Shell.soundEnabled,
                          g_Shell.zoom, g_Shell.fastest, g_Shell.autoStart}),
                  expected)
            << (text ? text : "no file");
    }
}

TEST_F(Shell, StatusFields) {
    g_Shell.control.Type = CPC_MODEL_6128;
    g_Shell.control.paused.store(0);
    g_PsgSound.bufferHighIndicator = 1;
    g_PsgSound.bufferLowIndicator = 2;
    g_PsgSound.correctionSum = 30;
    g_PsgSound.correctionCount = 3;
    StatusFields fields = Win32_StatusFields(1, 100, 50);
    EXPECT_EQ(fields.mouse, "(50, 31)");
    EXPECT_TRUE(fields.drives);
    EXPECT_EQ(fields.full, StatusBox::Orange);
    EXPECT_EQ(fields.empty, StatusBox::Red);
    EXPECT_EQ(fields.correction, "10");

    g_Shell.control.Type = CPC_MODEL_464;
    g_Shell.control.paused.store(1);
    fields = Win32_StatusFields(2, 100, 50);
    EXPECT_EQ(fields.mouse, "(25, 18)");
    EXPECT_EQ(fields.speed, "PAUSE");
    EXPECT_FALSE(fields.drives);
    EXPECT_EQ(fields.full, StatusBox::Grey) << "a paint starts a new interval";
    EXPECT_EQ(fields.empty, StatusBox::Grey);
    EXPECT_EQ(fields.correction, "0");
    g_Shell.control.paused.store(0);
    g_Shell.control.running.store(0);
    EXPECT_EQ(Win32_StatusFields(1, 0, 0).speed, "STOP");

    EXPECT_EQ(Win32_DrawDriveName(1, ""), "") << "named drives: the desktop tests";
}

// The monitor (600 x 660) goes right of the main window, else left, else below, else over
// it at the screen's bottom right; always on the screen.
TEST(WindowPlacement, MonitorGoesWhereItFits) {
    const struct {
        PlaceRect screen, main;
        int x, y;
    } placements[] = {
        {{0, 0, 1280, 1024}, {0, 0, 600, 500}, 600, 0},
        {{0, 0, 1280, 1024}, {680, 500, 576, 300}, 80, 364},
        {{0, 0, 1280, 1024}, {0, 0, 1000, 300}, 0, 300},
        {{0, 0, 1280, 1024}, {0, 0, 1536, 1100}, 680, 364},
        {{0, 0, 800, 600}, {0, 0, 300, 200}, 200, 0},
    };
    for (const auto& p : placements) {
        int x = -1, y = -1;
        Place_Monitor(p.screen, p.main, 600, 660, &x, &y);
        EXPECT_EQ(std::make_pair(x, y), std::make_pair(p.x, p.y)) << "main at " << p.main.x;
    }
}

// An unknown model in the settings: the box and standard error name the file and the key.
TEST_F(Shell, UnknownModelIsNamedWithItsSettingsFile) {
    Write("[Settings]\nType=5\n");
    Shell_ReadSettings();
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(Win32_StartEmulation());
    std::string error = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_ui.messages, std::vector<std::string>{"Unable to start the Emulation."});
    for (const std::string& text : {std::string(Shell_StartProblem()), error}) {
        EXPECT_NE(text.find("Type=5"), std::string::npos) << text;
        EXPECT_NE(text.find(settings_), std::string::npos) << text;
    }
    EXPECT_TRUE(g_Shell.startFailed);
    g_Shell.startFailed = false;
}

TEST_F(Shell, CommandsOnTheRunningMachine) {
    StartRunning();
    Shell_Command(CMD_PAUSE);  // waits until the run loop holds
    uint64_t held = HeldTime();
    Pause(50);
    EXPECT_EQ(HeldTime(), held);
    Shell_Command(CMD_PAUSE);
    Pause(50);
    Shell_Command(CMD_PAUSE);
    EXPECT_GT(HeldTime(), held) << "running again in between";
    Shell_Command(CMD_PAUSE);

    Shell_Command(CMD_CRTC_0);
    EXPECT_EQ(g_Machine.crtcType.load(), 0) << "the running machine switches at once";
    Shell_Command(CMD_ACTUAL_SPEED);
    EXPECT_EQ(Setting("Speed"), "0");

    // Cancelled: nothing changes, and a cancelled Fastest leaves Best for the next model.
    g_ui.answer = false;
    Shell_Command(CMD_FASTEST);
    Shell_Command(CMD_MODEL_464);
    Shell_Command(CMD_MODEL_6128);  // the running model: no question
    EXPECT_EQ(g_ui.questions, 2);
    EXPECT_EQ(g_Shell.control.Type, CPC_MODEL_6128);
    EXPECT_EQ(g_Shell.fastest, 0u);
    EXPECT_EQ(Setting("Type"), "(none)");

    g_ui.answer = true;
    Shell_Command(CMD_MODEL_464);
    EXPECT_EQ(g_Machine.Type, CPC_MODEL_464) << "restarted as a 464";
    // The new machine's status row starts blank, with no run rate left from the old one.
    ASSERT_TRUE(console_.WaitUntilIdle(10000));
    EXPECT_EQ(console_.Text(0, 40, 75), std::string(75, ' '));
    EXPECT_EQ(Setting("Type"), "0");
    Shell_Command(CMD_FASTEST);
    EXPECT_EQ(Setting("Type"), "48");
    EXPECT_EQ(g_Shell.fastest, 1u);
    EXPECT_TRUE(g_ui.messages.empty());
}

TEST_F(Shell, FramesAndSoundOfTheRunningMachine) {
    std::vector<uint8_t> frameBuffer(PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
    PAL_InitVideoTables();
    PAL_SetFrameBuffer(frameBuffer.data());
    Frame_Clear();
    PAL_SetRepaintHandler([] { Frame_Publish(PAL_GetFrameBuffer()); });
    Write("[Settings]\nSound=1\n");
    StartRunning();
    // Complete frames reach the window side: the firmware paints its blue paper within the
    // first frames.
    bool painted = false;
    for (int i = 0; i < 300 && !painted; ++i, Pause(10)) {
        bool fresh = false;
        const uint8_t* frame = Frame_Latest(&fresh);
        painted = fresh && frame[PAL_FRAME_ROW_BYTES * 135 + 384] != PAL_BLACK;
        EXPECT_EQ(frame[PAL_FRAME_ROW_BYTES * 135 + PAL_SCREEN_WIDTH], PAL_BLACK)
            << "the odd rows stay black";
    }
    EXPECT_TRUE(painted);

    // SDL's dummy driver is kept six buffers ahead.
    Pause(400);
    SndStatus status = Snd_GetStatus();
    ASSERT_TRUE(status.open);
    EXPECT_EQ(status.queuedBuffers, 6u);
    EXPECT_GE(status.refills, 6u) << "about 17 buffers play in 400 ms";
    EXPECT_LT(status.silentRefills, status.refills) << "the running machine makes sound samples";
    // A held machine produces nothing: refills give whole buffers of silence.
    Shell_Command(CMD_PAUSE);
    Shell_Command(CMD_SOUND);  // the device plays on with Sound on while paused
    Shell_Command(CMD_SOUND);
    uint64_t silentBefore = Snd_GetStatus().silentRefills;
    Pause(300);
    status = Snd_GetStatus();
    EXPECT_GT(status.silentRefills, silentBefore);
    EXPECT_EQ(status.lastLength, SND_BUFFER_BYTES);
    // Closed, it is refilled no more.
    Win32_StopEmulation();
    uint64_t refills = Snd_GetStatus().refills;
    Pause(100);
    EXPECT_EQ(Snd_GetStatus().refills, refills);
    EXPECT_FALSE(Snd_GetStatus().open);
    PAL_SetRepaintHandler(nullptr);
    PAL_SetFrameBuffer(nullptr);

    // A frame like the last one costs the window nothing, except after the slots were
    // cleared for a restart.
    frameBuffer[PAL_FRAME_ROW_BYTES * 20 + 5] ^= 1;
    EXPECT_TRUE(Frame_Publish(frameBuffer.data()));
    EXPECT_FALSE(Frame_Publish(frameBuffer.data()));
    Frame_Clear();
    EXPECT_TRUE(Frame_Publish(frameBuffer.data()));
}

}  // namespace

TEST_F(Shell, SnapshotsOfAnotherModelAskAndSwitch) {
    StartRunning();
    const std::string path = ::testing::TempDir() + "shell_" + std::to_string(getpid()) + ".sna";
    Shell_Command(CMD_PAUSE);
    g_Machine.baseRam[1][0x1234] = 0x5A;  // held: no instruction runs
    EXPECT_EQ(Shell_SaveSnapshot(path.c_str()), "");
    Shell_Command(CMD_PAUSE);
    Shell_Command(CMD_MODEL_464);
    g_ui.answer = false;
    EXPECT_EQ(Shell_LoadSnapshot(path.c_str()), "");
    EXPECT_EQ(g_Shell.control.Type, CPC_MODEL_464) << "cancelled";
    g_ui.answer = true;
    EXPECT_EQ(Shell_LoadSnapshot(path.c_str()), "");
    EXPECT_EQ(g_Shell.control.Type, CPC_MODEL_6128);
    EXPECT_EQ(g_ui.questions, 3);
    Shell_Command(CMD_PAUSE);
    EXPECT_EQ(g_Machine.baseRam[1][0x1234], 0x5A);
    std::ofstream(path, std::ios::trunc) << "MV - SNA";
    EXPECT_EQ(Shell_LoadSnapshot(path.c_str()),
              path + ": truncated: 8 bytes, where a snapshot's header alone has 256");
    std::filesystem::remove(path);
}
