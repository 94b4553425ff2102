// The command language as typed: each line's messages and what the panels show afterwards,
// scripts among them; the help and the line editor.
#include "monitor_fixture.h"

namespace {

// A program file: the 128-byte header with load address, length and entry, then data.
std::string ProgramFile(uint16_t load, uint16_t length, uint16_t entry, const std::string& data) {
    std::string file(128, '\0');
    auto word = [&file](int offset, uint16_t value) {
        file[offset] = static_cast<char>(value & 0xFF);
        file[offset + 1] = static_cast<char>(value >> 8);
    };
    word(21, load);
    word(24, length);
    word(26, entry);
    return file + data;
}

using MonitorCommands = MonitorTest;

}  // namespace

// The session in commands.txt.
TEST_F(MonitorCommands, AnswerAndChangeTheMachine) {
    WriteFile(folder_ / "Files" / "good.bin", ProgramFile(0x4000, 3, 0x4001, "\x3E\x01\xC9"));
    WriteFile(folder_ / "Files" / "big.bin",
              ProgramFile(0xF000, 0x2000, 0, std::string(0x2000, 1)));
    WriteFile(folder_ / "Files" / "small.bin", ProgramFile(0x4000, 10, 0, "12345"));
    WriteFile(folder_ / "Files" / "script.txt",
              "# set A\nREG A 42\n   # indented comment\n\nPLAY script.txt\nunknownword\r\n"
              "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\tIL 0010\r\n# the end\n");
    PlaySession("commands.txt");
    EXPECT_EQ(Cpu().running, 0);
}

TEST_F(MonitorCommands, HelpAndVidShowTheirLastSevenLines) {
    EXPECT_EQ(Enter("HELPME").size(), 13u);  // the echo and twelve lines
    // The message area keeps the last seven: from the sixth line to the last.
    EXPECT_EQ(Messages().front(), "BR, BRC, BRD, BRNOW, RB (ram|rom)");
    EXPECT_EQ(Messages().back(), "VID: Display current Video registers");
    std::vector<std::string> vid = Enter("VID");
    ASSERT_EQ(vid.size(), 19u);
    EXPECT_EQ(vid[1], " 0(H. TOTAL)    : 3FH");
    EXPECT_EQ(Messages().back(), "17(LP ADDR L)   : 00H");
}

TEST_F(MonitorCommands, LineEditorAndHistory) {
    auto typed = [](const std::string& text) {
        return std::vector<uint8_t>(text.begin(), text.end());
    };
    const std::vector<uint8_t> up = {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_UP};
    const std::vector<uint8_t> down = {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_DOWN};
    Keys(up);
    EXPECT_EQ(InputLine(), "");  // no history: an empty input line
    Keys(typed("REG A 1X\b1~\r"));
    EXPECT_EQ(Messages().back(), "REG A 11");
    Keys(typed("IL 20\r"));
    Keys(up);
    Keys(up);
    EXPECT_EQ(InputLine(), "REG A 11");
    Keys(down);
    EXPECT_EQ(InputLine(), "IL 20");
    Keys(down);
    EXPECT_EQ(InputLine(), "");
    Keys(typed(std::string(60, 'Q') + "\r"));  // the input line holds 54
    EXPECT_EQ(Messages(), (std::vector<std::string>{"", "", "", "REG A 11", "IL 20",
                                                    std::string(54, 'Q'), "### Syntax Error"}));
    Keys({PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1});
    EXPECT_EQ(Messages().back(), "HELP");
    Keys({PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_DOWN});
    EXPECT_EQ(Row(1, 1).substr(0, 5), " 003F");  // the last line listed from 0020
    Keys({PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_UP});
    EXPECT_EQ(Row(1, 1).substr(0, 5), " 001F");
}
