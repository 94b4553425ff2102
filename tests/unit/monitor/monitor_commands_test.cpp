// The command language as typed: each line's messages and what the panels show afterwards,
// scripts, the help and the line editor among them.
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
