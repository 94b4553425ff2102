// The settings file module: reading with the Windows profile rules, integer reading, and
// writes that change one line and keep every other byte.
#include "platform/ini_profile.h"

#include <gtest/gtest.h>

#include "temp_folder.h"

TEST(IniProfile, ReadsValues) {
    const std::string text =
        "junk \x01\xff line\n"
        "Orphan=before any section\n"
        "[Other]\nDriveA=wrong section\n"
        " [ settings ] trailing\r\n"
        "; DriveA=commented\n"
        "  drivea =  \"quoted path\"  \r\n"
        "DriveA=second\n"
        "Empty=\n"
        "Single='x'\n"
        "NoEquals\n"
        "[Settings]\nLate=merged";
    const struct {
        const char* key;
        const char* expected;  // none: missing
    } cases[] = {
        {"DriveA", "quoted path"}, {"EMPTY", ""},      {"Single", "x"},      {"NoEquals", nullptr},
        {"Orphan", nullptr},       {"Late", "merged"}, {"Missing", nullptr},
    };
    for (const auto& c : cases) {
        std::string value;
        EXPECT_EQ(PAL_ProfileLookup(text, "Settings", c.key, value), c.expected != nullptr)
            << c.key;
        if (c.expected) {
            EXPECT_EQ(value, c.expected) << c.key;
        }
    }
}

TEST(IniProfile, ReadsIntegersLikeWindows) {
    const struct {
        const char* text;
        unsigned value;
    } cases[] = {
        {"194", 194}, {"  242abc", 242}, {"+7", 7},  {"-1", 0xFFFFFFFFu}, {"0x1F", 31},
        {"0b101", 5}, {"0o17", 15},      {"abc", 0}, {"300", 300},        {"08", 8},
    };
    for (const auto& c : cases) EXPECT_EQ(PAL_ProfileParseInt(c.text), c.value) << c.text;
}

TEST(IniProfile, WritesChangeOneLineAndKeepTheRest) {
    const struct {
        const char* before;
        const char* key;
        const char* after;
    } cases[] = {
        // In place, keeping the key's spelling, CRLF, junk and the missing final newline.
        {"\x01junk\r\n[settings]\r\ndrivea = old \r\n\xfe\xff\r\nType=1", "DriveA",
         "\x01junk\r\n[settings]\r\ndrivea=new\r\n\xfe\xff\r\nType=1"},
        // A new key goes after the section's last entry, before blank lines and the next section.
        {"[Settings]\nType=1\n\n[Other]\nx=1\n", "DriveA",
         "[Settings]\nType=1\nDriveA=new\n\n[Other]\nx=1\n"},
        {"[Settings]", "DriveA", "[Settings]\nDriveA=new\n"},
        {"[Settings]\r\nX=1\r", "DriveA", "[Settings]\r\nX=1\r\nDriveA=new\r\n"},
        {"[Settings\r", "DriveA", "[Settings\r\nDriveA=new\n"},
        // A new section is appended, after a line break the file lacked.
        {"garbage without newline", "DriveA", "garbage without newline\n[Settings]\nDriveA=new\n"},
        {"", "DriveA", "[Settings]\nDriveA=new\n"},
    };
    for (const auto& c : cases) {
        std::string text = c.before;
        EXPECT_TRUE(PAL_ProfileUpdate(text, "Settings", c.key, "new"));
        EXPECT_EQ(text, c.after) << c.before;
    }
    std::string text;
    EXPECT_FALSE(PAL_ProfileUpdate(text, "Settings", "DriveA", "two\nlines"));
    EXPECT_FALSE(PAL_ProfileUpdate(text, "Settings", "A=B", "x"));
    EXPECT_EQ(text, "");
}

TEST(IniProfile, FileIsCreatedByTheFirstWrite) {
    TempFolder folder;
    std::string file = folder.File("a.ini");
    EXPECT_EQ(PAL_GetProfileInt("Settings", "Type", 194, file.c_str()), 194u);
    EXPECT_TRUE(PAL_WriteProfileString("Settings", "Type", "129", file.c_str()));
    EXPECT_TRUE(PAL_WriteProfileString("Settings", "CRTC", "", file.c_str()));
    EXPECT_EQ(PAL_GetProfileInt("SETTINGS", "type", 194, file.c_str()), 129u);
    EXPECT_EQ(PAL_GetProfileInt("Settings", "CRTC", 1, file.c_str()), 1u) << "empty: the default";
    EXPECT_EQ(PAL_GetProfileString("Settings", "Sound", "0", file.c_str()), "0");
    EXPECT_EQ(ReadAll(file), "[Settings]\nType=129\nCRTC=\n");
    EXPECT_FALSE(PAL_WriteProfileString("Settings", "Type", "1", "/nonexistent/dir/x.ini"));
}
