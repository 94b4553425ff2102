// Drive slots in a run directory of their own: finding files (and saying what is wrong with
// one found), remembering them in the settings file, ejecting, swapping, restoring at start,
// and writing changed disks back.
#include "platform/drive_slots.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "dsk_writer.h"
#include "platform/atomic_file.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"
#include "temp_folder.h"

namespace fs = std::filesystem;

namespace {
// Runs check in a child process as an ordinary user (nobody, when the tests run as root, who
// may read and write any file); true when it returns true there.
bool AsOrdinaryUser(bool (*check)()) {
    pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

class DriveSlots : public ::testing::Test {
   protected:
    void SetUp() override {
        root_ = fs::path(::testing::TempDir()) / ("slots_" + std::to_string(getpid()));
        for (const char* dir : {"bin/dir.dsk", "Files", "Test", "gone"})
            fs::create_directories(root_ / dir);
        previous_ = fs::current_path();
        fs::current_path(root_ / "bin");
        settings_ = (root_ / "Brallivane.ini").string();
        PAL_SetSettingsPath(settings_.c_str());
        image_ = BuildDsk(AmsdosDataDisk({}));
        for (const char* name : {"bin/game.dsk", "bin/CAPS.DSK", "bin/notes.txt.dsk",
                                 "Files/far.dsk", "Files/game.dsk", "Test/other.dsk",
                                 "Test/far.dsk", "up.dsk", "gone/lost.dsk", "Test/pipe.dsk"})
            WriteBytes((root_ / name).string(), image_);
        WriteBytes((root_ / "bin/notes.txt").string(), {1, 2, 3});
        WriteBytes((root_ / "bin/broken.dsk").string(), {'M', 'V', ' ', '-'});
        mkfifo((root_ / "bin/pipe.dsk").c_str(), 0644);
        fs::create_symlink("../Files", root_ / "bin/files");
        fs::create_symlink("far.dsk", root_ / "Files/link.dsk");
        fs::create_symlink("nowhere.dsk", root_ / "bin/dangling.dsk");
        fs::create_symlink("/dev/null", root_ / "bin/device.dsk");
        FDC_Init();
    }
    void TearDown() override {
        PAL_EjectAll();
        FDC_Shutdown();
        PAL_SetWriteProtect(0, false, false);
        PAL_SetSettingsPath("");
        fs::current_path(previous_);
        fs::remove_all(root_);
    }
    std::string Key(const char* key) {
        return PAL_GetProfileString("Settings", key, "(none)", settings_.c_str());
    }
    std::string Path(const char* relative) { return (root_ / relative).string(); }
    // Writes sector C1 of track 0 through the controller's ports, every byte value.
    void WriteSector(int drive, uint8_t value) {
        for (uint8_t b : {0x45, drive, 0, 0, 0xC1, 2, 0xC1, 0x2A, 0xFF}) FDC_out(0xFB7F, b);
        while (FDC_in(0xFB7E) == FDC_MSR_WRITING) FDC_out(0xFB7F, value);
        while (FDC_in(0xFB7E) == FDC_MSR_RESULT) FDC_in(0xFB7F);
    }
    uint8_t FileSectorByte(const std::string& path) {
        std::string bytes = ReadAll(path);
        FDC_Disk disk{};
        if (!FDC_LoadDskBytes(&disk, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()))
            return 0;
        uint8_t value = FDC_FindSectorById(&disk, 0, 0xC1)->data[0];
        FDC_FreeDisk(&disk);
        return value;
    }

    fs::path root_, previous_;
    std::string settings_;
    Bytes image_;
};
}  // namespace

// Each name loaded into a drive: the file that is loaded (its real path, also in the
// settings), or what the failure says.
TEST_F(DriveSlots, FindsFilesAndSaysWhatIsWrong) {
    const struct {
        const char* name;
        int drive;
        const char* loaded;  // relative to the run directory
        const char* error;   // part of the message, when nothing loads
    } cases[] = {
        {"game", 0, "bin/game.dsk", nullptr},  // before ../Files/
        {"CAPS.DSK", 1, "bin/CAPS.DSK", nullptr},
        {"notes.txt", 0, "bin/notes.txt.dsk", nullptr},
        {"far", 1, "Files/far.dsk", nullptr},  // before ../Test/
        {"other", 0, "Test/other.dsk", nullptr},
        {"link", 1, "Files/far.dsk", nullptr},      // a link is followed
        {"files/../up.dsk", 0, "up.dsk", nullptr},  // ".." after a link, as resolved
        {"pipe", 1, "Test/pipe.dsk", nullptr},      // the pipe is passed over
        {"dir", 0, nullptr, "dir.dsk is a folder"},
        {"dangling", 1, nullptr, "dangling.dsk is a symbolic link to a file that does not exist"},
        {"device", 0, nullptr, "device.dsk is a device"},
        {"missing", 1, nullptr, "no file missing.dsk here, under ../Files/ or under ../Test/"},
        {"broken", 0, nullptr, "too short"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        bool loaded = PAL_LoadDisk(c.name, c.drive);
        ASSERT_EQ(loaded, c.loaded != nullptr) << PAL_GetDiskLoadError(c.drive);
        if (loaded) {
            EXPECT_EQ(PAL_GetDrivePath(c.drive), Path(c.loaded));
            EXPECT_EQ(Key(c.drive ? "DriveB" : "DriveA"), Path(c.loaded));
        } else {
            EXPECT_NE(PAL_GetDiskLoadError(c.drive).find(c.error), std::string::npos)
                << PAL_GetDiskLoadError(c.drive);
            EXPECT_EQ(FDC_HostDisk(c.drive), nullptr);
            EXPECT_EQ(PAL_GetDrivePath(c.drive), "");
        }
    }
    EXPECT_EQ(Key("DriveA"), Path("up.dsk")) << "a failure keeps the key";
    mkfifo(Path("pipe.ini").c_str(), 0644);  // settings that are a pipe are not waited on
    EXPECT_EQ(PAL_GetProfileString("Settings", "DriveA", "none", Path("pipe.ini").c_str()), "none");
    std::string fullPath;
    EXPECT_EQ(PAL_OpenDiskFile("", std::string(PAL_MAX_PATH, 'a').c_str(), fullPath), nullptr);
    fs::permissions(root_ / "bin/CAPS.DSK", fs::perms::none);
    EXPECT_TRUE(AsOrdinaryUser([] {
        return !PAL_LoadDisk("CAPS.DSK", 0) &&
               PAL_GetDiskLoadError(0).find("CAPS.DSK cannot be read") != std::string::npos;
    }));
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
    EXPECT_EQ(ReadAll(Path("bin/CAPS.DSK")), std::string(image_.begin(), image_.end()))
        << "a disk without changes is not written";
}

// Changes reach the file two seconds after the last one, or when the disk leaves; through a
// link the target is replaced; a file that cannot be written keeps the changes in the drive.
TEST_F(DriveSlots, WritesChangedDisksBack) {
    ASSERT_TRUE(PAL_LoadDisk("../Files/link.dsk", 0));
    ASSERT_TRUE(PAL_LoadDisk("game", 1));
    WriteSector(0, 0x11);
    WriteSector(1, 0x22);
    PAL_FlushDisks(1000, false);
    PAL_FlushDisks(2999, false);
    EXPECT_EQ(FileSectorByte(Path("Files/far.dsk")), 0xE5) << "not yet";
    PAL_FlushDisks(3000, false);
    EXPECT_EQ(FileSectorByte(Path("Files/far.dsk")), 0x11);
    EXPECT_EQ(FileSectorByte(Path("bin/game.dsk")), 0x22);
    EXPECT_TRUE(fs::is_symlink(root_ / "Files/link.dsk"));

    WriteSector(1, 0x33);
    ASSERT_TRUE(PAL_SwapDrives());
    EXPECT_EQ(FileSectorByte(Path("bin/game.dsk")), 0x33) << "written at the swap";
    WriteSector(1, 0x44);  // far.dsk, now in B
    PAL_EjectDisk(1);
    EXPECT_EQ(FileSectorByte(Path("Files/far.dsk")), 0x44) << "written at the eject";

    ASSERT_TRUE(PAL_LoadDisk("../gone/lost", 1));
    fs::remove_all(root_ / "gone");
    WriteSector(1, 0x55);
    PAL_FlushDisks(0, true);
    EXPECT_TRUE(PAL_DiskHasUnsavedChanges(1));
    EXPECT_NE(PAL_TakeDiskSaveError(1).find(Path("gone/lost.dsk")), std::string::npos);
    EXPECT_EQ(PAL_TakeDiskSaveError(1), "") << "told once";
    const FDC_Disk* kept = FDC_HostDisk(1);
    PAL_LoadDrivesFromSettings();  // a restart keeps the changed disk
    EXPECT_EQ(FDC_HostDisk(1), kept);
    std::string error;
    ASSERT_TRUE(PAL_SaveDiskAs(1, Path("saved.dsk").c_str(), error)) << error;
    EXPECT_FALSE(PAL_DiskHasUnsavedChanges(1));
    EXPECT_EQ(Key("DriveB"), Path("saved.dsk"));
    EXPECT_EQ(FileSectorByte(Path("saved.dsk")), 0x55);
}

TEST_F(DriveSlots, WriteProtectionAndBlankDisks) {
    std::string error;
    ASSERT_TRUE(PAL_CreateBlankDisk("system.dsk", FDC_BlankFormat::System, false, error));
    ASSERT_TRUE(PAL_CreateBlankDisk("blank.dsk", FDC_BlankFormat::Data, false, error));
    EXPECT_FALSE(PAL_CreateBlankDisk("blank.dsk", FDC_BlankFormat::System, false, error));
    EXPECT_EQ(error, "the file exists already");
    ASSERT_TRUE(PAL_LoadDisk("system", 1));
    const FDC_Disk* disk = FDC_HostDisk(1);
    ASSERT_EQ(disk->trackCount, 40);
    EXPECT_EQ(disk->tracks[39].sectors[1].R, 0x46);
    EXPECT_EQ(disk->tracks[39].sectors[8].data[511], 0xE5);
    ASSERT_TRUE(PAL_LoadDisk("blank", 0));

    PAL_SetWriteProtect(0, true, true);
    EXPECT_TRUE(FDC_IsWriteProtected(0));
    EXPECT_EQ(Key("WriteProtectA"), "1");
    WriteSector(0, 0x66);
    PAL_EjectDisk(0);
    EXPECT_EQ(FileSectorByte("blank.dsk"), 0xE5);
    PAL_SetWriteProtect(0, false, false);
    fs::permissions("blank.dsk",
                    fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    EXPECT_TRUE(AsOrdinaryUser([] { return PAL_LoadDisk("blank", 0) && FDC_IsWriteProtected(0); }))
        << "a file the user may not write is inserted protected";
    // The settings through a link: the target changes, the link stays.
    fs::rename(settings_, root_ / "real.ini");
    fs::create_symlink("real.ini", settings_);
    PAL_SetWriteProtect(1, true, true);
    EXPECT_TRUE(fs::is_symlink(settings_));
    EXPECT_EQ(PAL_GetProfileString("Settings", "WriteProtectB", "", Path("real.ini").c_str()), "1");
    PAL_SetWriteProtect(1, false, true);
}

TEST_F(DriveSlots, SettingsFileLiesInTheParentOfTheStartDirectory) {
    EXPECT_EQ(PAL_DefaultSettingsPath(), settings_);
    fs::current_path("/");
    EXPECT_EQ(PAL_DefaultSettingsPath(), "/Brallivane.ini");
}
