// Drive slots in a run directory of their own: finding files, remembering them in the
// settings file, failing, ejecting, swapping and restoring at start.
#include "platform/drive_slots.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "dsk_writer.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"

namespace fs = std::filesystem;

namespace {
class DriveSlots : public ::testing::Test {
   protected:
    void SetUp() override {
        root_ = fs::path(::testing::TempDir()) / ("slots_" + std::to_string(getpid()));
        for (const char* dir : {"bin/dir.dsk", "Files", "Test"})
            fs::create_directories(root_ / dir);
        previous_ = fs::current_path();
        fs::current_path(root_ / "bin");
        settings_ = (root_ / "Brallivane.ini").string();
        PAL_SetSettingsPath(settings_.c_str());
        std::vector<uint8_t> image = BuildDsk(AmsdosDataDisk({}));
        for (const char* name : {"bin/game.dsk", "bin/CAPS.DSK", "bin/notes.txt.dsk",
                                 "Files/far.dsk", "Test/other.dsk"})
            WriteBytes((root_ / name).string(), image);
        WriteBytes((root_ / "bin/notes.txt").string(), {1, 2, 3});
        WriteBytes((root_ / "bin/broken.dsk").string(), {'M', 'V', ' ', '-'});
    }
    void TearDown() override {
        PAL_EjectAll();
        PAL_SetSettingsPath("");
        fs::current_path(previous_);
        fs::remove_all(root_);
    }
    std::string Key(const char* key) {
        return PAL_GetProfileString("Settings", key, "(none)", settings_.c_str());
    }
    std::string Path(const char* relative) { return (root_ / relative).string(); }

    fs::path root_, previous_;
    std::string settings_;
};
}  // namespace

TEST_F(DriveSlots, FileNamesGetTheDskExtension) {
    const struct {
        const char* name;
        const char* opened;  // relative to the run directory, or none
    } cases[] = {
        {"game", "bin/game.dsk"}, {"CAPS.DSK", "bin/CAPS.DSK"}, {"notes.txt", "bin/notes.txt.dsk"},
        {"missing", nullptr},     {"dir.dsk", nullptr},  // a folder
    };
    for (const auto& c : cases) {
        std::string fullPath;
        std::FILE* file = PAL_OpenDiskFile("", c.name, fullPath);
        EXPECT_EQ(file != nullptr, c.opened != nullptr) << c.name;
        if (file) {
            EXPECT_EQ(fullPath, Path(c.opened));
            std::fclose(file);
        }
    }
    std::string fullPath;
    EXPECT_EQ(PAL_OpenDiskFile("", std::string(PAL_MAX_PATH, 'a').c_str(), fullPath), nullptr);
}

TEST_F(DriveSlots, SearchesTheFoldersAndAFailureKeepsTheKey) {
    EXPECT_TRUE(PAL_LoadDisk("other", 1));
    EXPECT_EQ(Key("DriveB"), Path("Test/other.dsk"));
    EXPECT_FALSE(PAL_LoadDisk("game", 2));
    ASSERT_TRUE(PAL_LoadDisk("far", 0));
    EXPECT_EQ(PAL_GetDrivePath(0), Path("Files/far.dsk"));
    for (const char* bad : {"missing", "broken"}) {
        EXPECT_FALSE(PAL_LoadDisk(bad, 0)) << bad;
        EXPECT_EQ(FDC_HostDisk(0), nullptr);
        EXPECT_EQ(PAL_GetDrivePath(0), "");
        EXPECT_NE(PAL_GetDiskLoadError(0), "");
        EXPECT_EQ(Key("DriveA"), Path("Files/far.dsk"));
    }
}

TEST_F(DriveSlots, EjectForgetsExitRemembers) {
    PAL_WriteProfileString("Settings", "DriveB", "kept", settings_.c_str());
    PAL_EjectDisk(1);  // empty drive: nothing changes
    EXPECT_EQ(Key("DriveB"), "kept");

    ASSERT_TRUE(PAL_LoadDisk("game", 0));
    ASSERT_TRUE(PAL_LoadDisk("CAPS.DSK", 1));
    ASSERT_TRUE(PAL_SwapDrives());
    EXPECT_EQ(Key("DriveA"), Path("bin/CAPS.DSK"));
    EXPECT_EQ(PAL_GetDrivePath(1), Path("bin/game.dsk"));

    PAL_EjectAll();  // program end: the next start loads both again
    EXPECT_EQ(FDC_HostDisk(0), nullptr);
    PAL_LoadDrivesFromSettings();
    EXPECT_NE(FDC_HostDisk(0), nullptr);
    EXPECT_NE(FDC_HostDisk(1), nullptr);
    EXPECT_EQ(PAL_GetDrivePath(0), Path("bin/CAPS.DSK"));

    PAL_EjectDisk(0);
    EXPECT_EQ(FDC_HostDisk(0), nullptr);
    EXPECT_EQ(Key("DriveA"), "");
    EXPECT_EQ(PAL_GetDrivePath(0), "");
}

TEST_F(DriveSlots, SettingsFileLiesInTheParentOfTheStartDirectory) {
    EXPECT_EQ(PAL_DefaultSettingsPath(), settings_);
    fs::current_path("/");
    EXPECT_EQ(PAL_DefaultSettingsPath(), "/Brallivane.ini");
}
