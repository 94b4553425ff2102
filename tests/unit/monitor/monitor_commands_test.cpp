// The command language as typed: each line's messages (its echo left out) and what the
// panels show afterwards, in one session on the stopped machine.
#include "monitor_fixture.h"

namespace {

struct Step {
    const char* line;
    std::vector<std::string> messages;  // after the echo
    int row = -1;                       // a console cell that must then start with text
    int column = 0;
    const char* text = "";
};

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

TEST_F(MonitorCommands, AnswerAndChangeTheMachine) {
    WriteFile(folder_ / "Files" / "good.bin", ProgramFile(0x4000, 3, 0x4001, "\x3E\x01\xC9"));
    WriteFile(folder_ / "Files" / "big.bin",
              ProgramFile(0xF000, 0x2000, 0, std::string(0x2000, 1)));
    WriteFile(folder_ / "Files" / "small.bin", ProgramFile(0x4000, 10, 0, "12345"));
    const std::string syntax = "### Syntax Error";
    const Step steps[] = {
        // Registers and the number syntax.
        {"REG bc 0BC", {}, 5, 57, "BC 00BC"},
        {"REG BC c000", {syntax}},
        {"REG BC 0bc", {syntax}},
        {"REG AF2 1234", {}, 4, 66, "AF' 1234"},
        {"REG A 7E", {}, 4, 57, "AF 7EFF"},
        {"REG F 28", {}, 2, 57, "00.0.000"},
        {"REG A 1d", {}, 4, 60, "0128"},
        {"REG SP BC", {}, 11, 57, "SP 00BC"},
        {"IL 10000", {syntax}},
        {"IL 0006", {}, 1, 1, " 0006: DD 21 34 12  LD   IX,1234H (4660)"},
        {"IL PC", {}, 1, 1, "*0000: 31 00 C0"},
        {"PC 000B", {}, 5, 1, "*000B: 3C"},  // listed already: only the marker moves
        // Memory, through the dump view.
        {"SB 4000 3E01C9", {}},
        {"DM 4000", {}, 26, 2, "4000: 3E 01 C9 00 "},
        {"SB 4000 3E XY", {"### Syntax Error - Some values have been put in memory"}},
        {"SB 12345 67", {}},
        {"DM 1230", {}, 26, 2, "1230: 00 00 00 00 05 67 00"},
        {"FILL 8000 0 FF", {}},
        {"FILL FFFF 2 AA", {}},
        {"DM FFF8", {}, 26, 2, "FFF8: 00 00 00 00 00 00 00 AA AA 00"},
        {"DM FFF8", {}, 27, 2, "0008: "},
        {"DM hirom C000", {}, 26, 2, "C000: C9 C9"},
        {"DM LOROMX", {syntax}},  // the view changes all the same
        {"DM 0", {}, 26, 2, "0000: 31 00 C0 CD 0E 00 DD 21 34 12 AF 3C 18 FD 0E 03  1."},
        {"DM", {syntax}},
        {"MEM LOROM X", {syntax}, 22, 57, "Lo: ROM   Hi: ROM"},
        {"MEM HIRAM LORAM", {}, 22, 57, "Lo: RAM   Hi: RAM"},
        // Searching, across the end of memory and with too long a pattern.
        {"FB FFFF AA AA", {"Found at address: FFFFH"}},
        {"FB 0 \"AB", {syntax}},
        {"FB 0 1 2 3 4 5 6 7 8 9",
         {"Too many values entered, using only the first 8", "Not Found."}},
        {"FB 0 \"ABCDEFGHI\"", {"Too many values entered, using only the first 8", "Not Found."}},
        {"FB 0 3E 01 C9", {"Found at address: 4000H"}},
        {"FB 0", {syntax}},
        // Real numbers.
        {"DR 00 00 00 00 81", {"1"}},
        {"DR 00 00 00 80 81", {"-1"}},
        {"DR 00 00 00 20 82", {"2.5"}},
        {"DR 00 00 00 81", {syntax}},
        // Breakpoints: duplicates, newest first, BRC removes the newest.
        {"BRD", {"No BP set."}},
        {"BR 4000", {}},
        {"BR 4000", {}},
        {"BR 10", {}},
        {"BRD", {"0010", "4000", "4000"}},
        {"BRC 4000", {}},
        {"BRC 1234", {}},
        {"BRD", {"0010", "4000"}},
        // Traces, drives, scripts and words that are no command.
        {"TR OFF", {"Traces are: Off"}},
        {"TR", {"Traces are: Off"}},
        {"TR ON", {"Traces are: On"}},
        {"LD 1 game.dsk", {"Loading ERROR"}},
        {"LD", {syntax}},
        {"PLAY nosuch.txt", {"Script not found"}},
        {"SW 4000 1234", {syntax}},
        {"PCLOG MAYBE", {syntax}},
        {"VID X", {syntax}},
        // Program files: found under ../Files/, checked, loaded with the ROMs off.
        {"LOAD none.bin", {"File not found"}},
        {"LOAD big.bin", {"File too big"}},
        {"LOAD small.bin", {"File too small"}},
        {"LOAD good.bin,", {syntax}},
        {"MEM LOROM HIROM", {}},
        {"LOAD good.bin,5000", {"File loaded."}, 22, 57, "Lo: RAM   Hi: RAM"},
        {"DM 5000", {}, 26, 2, "5000: 3E 01 C9 00"},
        {"LOAD good.bin", {"File loaded."}, 12, 57, "PC 4001"},
        // Reset: the ROM state asked for, PC 0, breakpoints kept.
        {"RB RAMX", {syntax}},
        {"RB ROM", {}, 22, 57, "Lo: ROM   Hi: ROM"},
        {"BRD", {"0010", "4000"}, 12, 57, "PC 0000"},
    };
    for (const Step& step : steps) {
        std::vector<std::string> messages = Enter(step.line);
        ASSERT_FALSE(messages.empty()) << step.line;
        EXPECT_EQ(messages.front(), step.line);
        EXPECT_EQ(std::vector<std::string>(messages.begin() + 1, messages.end()), step.messages)
            << step.line;
        if (step.row >= 0) {
            EXPECT_EQ(Row(step.row, step.column).substr(0, std::string(step.text).size()),
                      step.text)
                << step.line;
        }
    }
    EXPECT_EQ(Cpu().running, 0);
}

TEST_F(MonitorCommands, HelpAndVidShowTheirLastSevenLines) {
    EXPECT_EQ(Enter("HELPME").size(), 13u);  // the echo and twelve lines
    EXPECT_EQ(Messages(), (std::vector<std::string>{
                              "BR, BRC, BRD, BRNOW, RB (ram|rom)",
                              "IL aaaa",
                              "PCLOG on|off, MEM hiram | hirom | loram | lorom",
                              "SAMPLER, LD DriveNum filename, ED DriveNum",
                              "LOAD filename[,aaaa], PLAY filename: commands script",
                              "DR (Display Real) b0 b1 b2 b3 b4",
                              "VID: Display current Video registers",
                          }));
    std::vector<std::string> vid = Enter("VID");
    ASSERT_EQ(vid.size(), 19u);
    EXPECT_EQ(vid[1], " 0(H. TOTAL)    : 3FH");
    EXPECT_EQ(Messages().back(), "17(LP ADDR L)   : 00H");
}

TEST_F(MonitorCommands, ScriptsRunLineByLine) {
    WriteFile(folder_ / "Files" / "script.txt",
              "# set A\nREG A 42\n   # indented comment\n\nPLAY script.txt\nunknownword\r\n"
              "IL 0010\r\n");
    EXPECT_EQ(Enter("PLAY script.txt"),
              (std::vector<std::string>{"PLAY script.txt", "REG A 42", "PLAY script.txt",
                                        "Script already in progress", "unknownword",
                                        "Script already in progress", "IL 0010"}));
    EXPECT_EQ(Row(4, 57), "AF 42FF  AF' FFFF|");
    EXPECT_EQ(Row(1, 1).substr(0, 5), " 0010");
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
