// The disassembler against listing.txt, the text and length of every instruction it
// decodes; then the lines whose operands need particular values, and the lengths that
// step-over asks for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "flat_machine.h"
#include "trace_log.h"

namespace {

constexpr size_t kCallerBuffer = 44;  // what a caller must provide for the longest line
constexpr uint16_t kListingAddress = 0x8000;

// The line for the bytes at the address, written into the caller's 44 characters; a
// failure if it writes past them or leaves them unterminated. Length -1 on failure.
std::pair<std::string, int> Disassemble(uint16_t address, const std::vector<uint8_t>& bytes) {
    Z80_State state{};
    state.machine = FlatMachine_Create();
    FlatMachine_Load(address, bytes);
    char buffer[kCallerBuffer + 16];
    std::memset(buffer, '#', sizeof buffer);
    int length = Z80_Disassemble(&state, address, buffer);
    bool guarded =
        std::all_of(buffer + kCallerBuffer, std::end(buffer), [](char c) { return c == '#'; });
    EXPECT_TRUE(guarded) << "wrote past the line: " << std::string(buffer, sizeof buffer);
    if (!guarded || !std::memchr(buffer, 0, kCallerBuffer)) return {"", -1};
    return {buffer, length};
}

// Bytes shown in the byte columns (6 to 18) of a line.
int ShownBytes(const std::string& line) {
    int shown = 0;
    while (shown < 4 && line.size() > 7u + 3 * shown && line[6 + 3 * shown] != ' ') ++shown;
    return shown;
}

}  // namespace

TEST(Disassembler, EveryOpcodeOfEveryGroupAsListed) {
    struct Group {
        std::vector<uint8_t> prefix;
        bool displacementFirst;  // DD CB d o
        int unknownLength;
        bool prefixBytesElsewhere;  // CB, DD, ED and FD here start another group, or nothing
    };
    const Group groups[] = {{{}, false, 1, true},           {{0xCB}, false, 2, false},
                            {{0xED}, false, 2, false},      {{0xDD}, false, 2, true},
                            {{0xDD, 0xCB}, true, 4, false}, {{0xFD}, false, 2, true},
                            {{0xFD, 0xCB}, true, 4, false}};
    std::vector<std::string> listing;
    for (const Group& group : groups) {
        for (int code = 0; code < 256; ++code) {
            uint8_t op = static_cast<uint8_t>(code);
            if (group.prefixBytesElsewhere &&
                (op == 0xCB || op == 0xDD || op == 0xED || op == 0xFD))
                continue;
            std::vector<uint8_t> bytes = group.prefix;
            if (group.displacementFirst)
                bytes.insert(bytes.end(), {0xF4, op});
            else
                bytes.insert(bytes.end(), {op, 0xF4, 0x5A, 0xBB});
            auto [line, length] = Disassemble(kListingAddress, bytes);
            if (length < 0) continue;
            EXPECT_EQ(ShownBytes(line), length) << line;
            if (line.compare(19, std::string::npos, "*** Unknown opcode ***") == 0)
                EXPECT_EQ(length, group.unknownLength) << line;
            else
                listing.push_back(line.substr(6));
        }
    }

    std::ifstream file(UNIT_TEST_DIR "/listing.txt");
    std::vector<std::string> expected;
    for (std::string line; std::getline(file, line);)
        if (line.rfind('#', 0) != 0) expected.push_back(line);
    ASSERT_FALSE(expected.empty()) << "listing.txt not found";
    for (size_t i = 0, shown = 0; i < std::min(listing.size(), expected.size()) && shown < 10;
         ++i) {
        if (listing[i] == expected[i]) continue;
        ++shown;
        EXPECT_EQ(listing[i], expected[i]) << "entry " << i << " of listing.txt";
    }
    EXPECT_EQ(listing.size(), expected.size());
}

TEST(Disassembler, AddressesSignsAndWidestOperands) {
    const struct {
        uint16_t address;
        std::vector<uint8_t> bytes;
        const char* line;
    } cases[] = {
        {0x4000, {0x3E, 0x41}, "4000: 3E 41        LD   A,41H (65)"},
        {0x0100, {0x18, 0xFE}, "0100: 18 FE        JR   0100H (-2)"},
        {0x0000, {0x18, 0x80}, "0000: 18 80        JR   FF82H (-128)"},
        {0xFFF0, {0x20, 0x7F}, "FFF0: 20 7F        JR   NZ,0071H (127)"},
        {0xFFFF, {0xCD, 0x5A, 0xBB}, "FFFF: CD 5A BB     CALL BB5AH"},  // operands wrap round
        {0x0000, {0xDD, 0x7E, 0x05}, "0000: DD 7E 05     LD   A, (IX+5d)"},
        {0x0000, {0xDD, 0xCB, 0x7F, 0xDE}, "0000: DD CB 7F DE  SET  3,(IX+127d)"},
        {0x0000, {0xFD, 0x36, 0x80, 0xFF}, "0000: FD 36 80 FF  LD   (IY-128d),FFH (255)"},
        {0x0000, {0xDD, 0x22, 0xFF, 0xFF}, "0000: DD 22 FF FF  LD   (FFFFH), IX (65535)"},
    };
    for (const auto& c : cases) EXPECT_EQ(Disassemble(c.address, c.bytes).first, c.line);
}

// Step-over needs the length of calls and of LDI and LDIR only; all else counts 1.
TEST(Disassembler, InstructionSizeForStepOver) {
    const std::vector<int> calls = {0xC2, 0xC4, 0xCC, 0xCD, 0xD4, 0xDC, 0xE4, 0xEC, 0xF4, 0xFC};
    Z80_State state{};
    state.machine = FlatMachine_Create();
    for (int first = 0; first < 256; ++first) {
        for (uint8_t second : {0xA0, 0xB0, 0xB1}) {
            FlatMachine_Load(0x1234, {static_cast<uint8_t>(first), second});
            bool call = std::find(calls.begin(), calls.end(), first) != calls.end();
            bool blockMove = first == 0xED && second != 0xB1;
            EXPECT_EQ(Z80_GetInstructionSize(&state, 0x1234), call        ? 3
                                                              : blockMove ? 2
                                                                          : 1)
                << first << " " << int(second);
        }
    }
    TraceLog::Take();
    FlatMachine_Load(0x1234, {0xED, 0x44});
    Z80_GetInstructionSize(&state, 0x1234);
    FlatMachine_Load(0x1234, {0x3E});
    Z80_GetInstructionSize(&state, 0x1234);
    EXPECT_EQ(TraceLog::Take(), (std::vector<std::string>{
                                    "Z80_GetInstructionSize(): Addr 1234H, Unknown opcode ED 44",
                                    "Z80_GetInstructionSize(): Addr 1234H, Unknown opcode 3E"}));
}
