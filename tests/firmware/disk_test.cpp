// AMSDOS on the real firmware reading disks through the controller: a disk the test builds,
// the third-party disks in ../shared/testdata/dsk, and disks changed by another thread
// while the firmware reads.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "dsk_writer.h"
#include "firmware_support.h"
#include "platform/settings_path.h"
#include "temp_folder.h"
#include "tools/runner/runner_disks.h"

namespace {
std::string ThirdPartyDisk(const char* name) {
    return std::string(BRALLIVANE_SHARED_DIR) + "/testdata/dsk/" + name;
}

class DiskFirmware : public FirmwareTest {
   protected:
    void SetUp() override {
        FirmwareTest::SetUp();
        if (IsSkipped()) return;
        PAL_SetSettingsPath("");
        WriteBytes(hello_, HelloDiskImage());
        Start(CPC_MODEL_6128);
    }
    void TearDown() override {
        FirmwareTest::TearDown();
        PAL_EjectAll();
    }
    TempFolder folder_;
    const std::string hello_ = folder_.File("hello.dsk");
};
}  // namespace

TEST_F(DiskFirmware, ThirdPartyDisksListAndAutorun) {
    const struct {
        const char* image;
        const char* catalog;  // one line of CAT
        const char* command;  // what --autorun types
        const char* shows;    // what the program shows, if text
    } disks[] = {
        {"std_cpcrogue_basic_rogue.dsk", "ROGUE   .BAS   4K", "RUN\"ROGUE\"",
         "PRESS ENTER TO START"},
        {"ext_graphics_basic.dsk", "BOUNCE  .BAS   1K   PLASMA  .BAS   1K", "RUN\"PLASMA\"",
         nullptr},
        {"std_sphere3d.dsk", "LOADER  .BAS   1K   SPHERE3D.BIN   3K", "RUN\"LOADER\"", nullptr},
    };
    if (!std::filesystem::exists(ThirdPartyDisk(disks[0].image)))
        GTEST_SKIP() << "no third-party disks in " << ThirdPartyDisk("");
    for (const auto& disk : disks) {
        SCOPED_TRACE(disk.image);
        Runner_ShutdownMachine(machine_);
        Start(CPC_MODEL_6128);
        ASSERT_TRUE(PAL_LoadDisk(ThirdPartyDisk(disk.image).c_str(), 0));
        TypeAndExpect("", "Ready");
        TypeAndExpect("CAT\\n", "K free");
        EXPECT_TRUE(PAL_ScreenShows(Runner_ScreenText(), disk.catalog)) << ScreenDump();
        TypeAndExpect("CLS\\n", "Ready");
        std::string typed;
        ASSERT_EQ(Runner_Autorun(machine_, 1000000, typed), AutorunResult::Typed) << typed;
        EXPECT_EQ(typed, disk.command);
        if (disk.shows) TypeAndExpect("", disk.shows, 30000);
        ASSERT_TRUE(Runner_Run(machine_, 3000000));
        EXPECT_FALSE(PAL_ScreenShows(Runner_ScreenText(), "not found")) << ScreenDump();
        int drawn = 0;  // screen bytes set since the CLS
        for (size_t i = 0; i < CPC_PAGE_SIZE; ++i) drawn += g_Machine.baseRam[3][i] != 0;
        EXPECT_GT(drawn, 20) << ScreenDump();
    }
}

// Another thread inserts, ejects and swaps while the firmware reads; afterwards the machine
// still lists the disk and runs its program. Run under ThreadSanitizer, this checks the
// disk handover.
TEST_F(DiskFirmware, DiskChangesFromAnotherThread) {
    ASSERT_TRUE(PAL_LoadDisk(hello_.c_str(), 0));
    TypeAndExpect("", "Ready");
    std::atomic<bool> done{false};
    std::thread host([&] {
        for (int i = 0; !done.load(); ++i) {
            if (i % 3 == 0) PAL_EjectDisk(0);
            if (i % 3 == 1) PAL_LoadDisk(hello_.c_str(), i % 2);
            if (i % 3 == 2) PAL_SwapDrives();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    for (int i = 0; i < 4; ++i) {
        std::vector<KeyStroke> strokes;
        std::string error;
        ASSERT_TRUE(Runner_ParseTypedText("CAT\\nC", strokes, error));
        ASSERT_TRUE(Runner_Type(machine_, strokes));
        ASSERT_TRUE(Runner_Run(machine_, 300000));
    }
    done.store(true);
    host.join();
    ASSERT_TRUE(PAL_LoadDisk(hello_.c_str(), 0));
    TypeAndExpect("\\e\\e\\nCLS\\nCAT\\n", "176K free");
    EXPECT_TRUE(PAL_ScreenShows(Runner_ScreenText(), "HELLO   .BAS   1K   README  .TXT   1K"))
        << ScreenDump();
    TypeAndExpect("RUN\"hello\"\\n", "LINE 20", 10000);
    EXPECT_TRUE(PAL_ScreenShows(Runner_ScreenText(), "DISK OK")) << ScreenDump();
}
