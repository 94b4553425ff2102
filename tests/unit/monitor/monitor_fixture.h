#pragma once
// A 464 whose lower ROM is the assembled test program (tests/z80asm/monitor.asm), run on
// the emulation thread with the monitor on an in-memory console, in a run folder of its
// own with Files/ beside it. Commands and keys go in as typed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "common/host_console.h"
#include "common/machine/machine.h"
#include "flat_machine.h"
#include "temp_folder.h"
#include "tools/runner/runner_machine.h"

class MonitorTest : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_FALSE(temp_.path.empty());
        folder_ = temp_.path;
        for (const char* sub : {"roms", "run", "Files"})
            std::filesystem::create_directory(folder_ / sub);
        std::vector<uint8_t> rom = LoadTestProgram("monitor");
        ASSERT_FALSE(rom.empty());
        rom.resize(CPC_PAGE_SIZE, 0x00);
        rom.resize(2 * CPC_PAGE_SIZE, 0xC9);
        WriteFile(folder_ / "roms" / "CPC464.rom", std::string(rom.begin(), rom.end()));
        previous_ = std::filesystem::current_path();
        std::filesystem::current_path(folder_ / "run");
        std::string error;
        ASSERT_TRUE(
            Runner_StartMachine(machine_, CPC_MODEL_464, 1, (folder_ / "roms").string(), error))
            << error;
    }
    void TearDown() override {
        Runner_ShutdownMachine(machine_);
        std::filesystem::current_path(previous_);
    }

    static void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    // A command line as typed; returns the messages it produced, its echo first.
    std::vector<std::string> Enter(const std::string& line) {
        std::vector<std::string> messages;
        EXPECT_TRUE(Runner_Monitor(machine_, line, &messages)) << line;
        return messages;
    }
    void Keys(const std::vector<uint8_t>& keys) { EXPECT_TRUE(Runner_Keys(machine_, keys)); }
    void F11() { Keys({PAL_KEY_EXTENDED_PREFIX, PAL_KEY_F11}); }

    // The text of a console row from a column, trailing blanks removed.
    std::string Row(int row, int column = 0) {
        return Trimmed(machine_.console.Row(row).substr(static_cast<size_t>(column)));
    }
    static std::string Trimmed(std::string text) {
        return text.erase(text.find_last_not_of(' ') + 1);
    }
    // The seven message rows above the input line, oldest first, trailing blanks removed.
    std::vector<std::string> Messages() {
        std::vector<std::string> rows;
        for (int row = 31; row < 38; ++row)
            rows.push_back(Trimmed(machine_.console.Text(1, row, 54)));
        return rows;
    }
    // Plays a session file of this folder. An unindented line is typed as a command, or
    // pressed as keys when it names one (<F1>, <F5>, <F10>, <F11>, <UP>, <DOWN>, <PGUP>,
    // <PGDN>, <CR>, <BS>; its other characters are typed as they are). The indented lines
    // below it check what follows: "@row,column text" a console cell that must start with
    // the text; "=row,column text" the cells up to the next frame that must hold just that
    // (trailing blanks left out); "%FILE text" a file of the run folder that must hold the
    // text ("\n" a line break, trailing blanks left out); any other line the messages: a
    // command's, after its echo, all of them; after keys, the last rows of the message area
    // ("(none)": all seven empty). '#' starts a comment line.
    void PlaySession(const std::string& name) {
        static const std::map<std::string, std::vector<uint8_t>> kKeys = {
            {"F1", {PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1}},
            {"F5", {PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5}},
            {"F10", {PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F10}},
            {"F11", {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_F11}},
            {"UP", {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_UP}},
            {"DOWN", {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_DOWN}},
            {"PGUP", {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_UP}},
            {"PGDN", {PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_DOWN}},
            {"CR", {PAL_KEY_ENTER}},
            {"BS", {PAL_KEY_BACKSPACE}}};
        std::ifstream file(std::string(UNIT_TEST_DIR) + "/" + name);
        ASSERT_TRUE(file) << name;
        std::string line, typed = "<start>";
        bool pressed = true;
        std::vector<std::string> messages, expected;
        auto compare = [&] {
            if (pressed) {
                if (expected == std::vector<std::string>{"(none)"}) expected.assign(7, "");
                messages = Messages();
                messages.erase(messages.begin(),
                               messages.end() - std::min(expected.size(), messages.size()));
            }
            EXPECT_EQ(messages, expected) << "after " << typed;
        };
        for (int number = 1; std::getline(file, line); ++number) {
            SCOPED_TRACE(name + ":" + std::to_string(number));
            if (line.empty() || line[0] == '#') continue;
            if (line[0] != ' ') {
                compare();
                typed = line;
                expected.clear();
                pressed = false;
                std::vector<uint8_t> keys;
                for (size_t at = 0; at < line.size(); ++at) {
                    size_t end = line[at] == '<' ? line.find('>', at) : std::string::npos;
                    auto key = kKeys.find(line.substr(at + 1, end - at - 1));
                    if (end == std::string::npos || key == kKeys.end()) {
                        keys.push_back(static_cast<uint8_t>(line[at]));
                        continue;
                    }
                    keys.insert(keys.end(), key->second.begin(), key->second.end());
                    at = end;
                    pressed = true;
                }
                if (pressed) {
                    Keys(keys);
                    continue;
                }
                messages = Enter(line);
                ASSERT_FALSE(messages.empty());
                EXPECT_EQ(messages.front(), line);
                messages.erase(messages.begin());
                for (std::string& message : messages) message = Trimmed(message);
            } else if (line[4] == '@' || line[4] == '=') {
                int row = 0, column = 0, length = 0;
                ASSERT_EQ(std::sscanf(line.c_str() + 5, "%d,%d%n", &row, &column, &length), 2);
                std::string text = line.substr(std::min(line.size(), size_t{6} + length));
                std::string shown = Row(row, column);
                if (line[4] == '@')
                    shown = shown.substr(0, text.size());
                else
                    shown = Trimmed(shown.substr(0, shown.find('|', text.size())));
                EXPECT_EQ(shown, text) << "after " << typed;
            } else if (line[4] == '%') {
                size_t space = line.find(' ', 5);
                std::ifstream in(line.substr(5, space - 5), std::ios::binary);
                std::string text = line.substr(space + 1),
                            content(std::istreambuf_iterator<char>(in), {});
                for (size_t at; (at = text.find("\\n")) != std::string::npos;)
                    text.replace(at, 2, "\n");
                EXPECT_EQ(Trimmed(content), Trimmed(text)) << "after " << typed;
            } else {
                expected.push_back(line.substr(4));
            }
        }
        compare();
    }
    // The processor, read while the machine is held.
    const Z80_State& Cpu() const { return *g_Machine.processor; }

    RunnerMachine machine_;
    TempFolder temp_;
    std::filesystem::path folder_;
    std::filesystem::path previous_;
};
