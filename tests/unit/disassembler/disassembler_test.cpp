// The disassembler: known instructions to their exact lines and lengths, then every
// opcode of every group with a few operand patterns: lengths follow the Z80's own
// instruction lengths, the byte columns show exactly the instruction's bytes, and no
// line ever writes past Z80_DISASSEMBLY_LINE_SIZE.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "flat_machine.h"

namespace {

struct Example {
    uint16_t address;
    std::vector<uint8_t> bytes;
    const char* text;  // the whole line when it starts with the address, else from column 19
    uint8_t length;
};

// clang-format off
const Example kExamples[] = {
    // Whole lines: address, byte columns and text.
    {0x4000, {0x3E, 0x41}, "4000: 3E 41        LD   A,41H (65)", 2},
    {0x0000, {0xCD, 0x5A, 0xBB}, "0000: CD 5A BB     CALL BB5AH", 3},
    {0xABCD, {0xFD, 0x36, 0xF4, 0x20}, "ABCD: FD 36 F4 20  LD   (IY-12d),20H (32)", 4},
    {0x0010, {0xED, 0x40, 0x99}, "0010: ED 40        *** Unknown opcode ***", 2},
    {0xFFFF, {0x00}, "FFFF: 00           NOP", 1},
    {0x0000, {0xCB, 0xFF}, "0000: CB FF        SET  7,A", 2},
    {0x0000, {0xED, 0x43, 0x34, 0x12}, "0000: ED 43 34 12  LD   (1234H),BC", 4},
    {0x0000, {0xDD, 0x8D, 0x11}, "0000: DD 8D        *** Unknown opcode ***", 2},
    {0x0000, {0xDD, 0xCB, 0x02, 0x46}, "0000: DD CB 02 46  BIT  0,(IX+2d)", 4},
    {0x0000, {0xDD, 0xCB, 0x02, 0x06}, "0000: DD CB 02 06  *** Unknown opcode ***", 4},
    // Immediates, addresses and ports.
    {0, {0x01, 0x00, 0x00}, "LD   BC,0H (0)", 3},
    {0, {0x21, 0xFF, 0xFF}, "LD   HL,FFFFH (65535)", 3},
    {0, {0x36, 0x80}, "LD   (HL),80H (128)", 2}, {0, {0xFE, 0x0A}, "CP   AH (10)", 2},
    {0, {0x22, 0x00, 0xC0}, "LD   (C000H),HL", 3}, {0, {0x3A, 0x05, 0x00}, "LD   A,(5H)", 3},
    {0, {0xC2, 0x34, 0x12}, "JP   NZ,1234H", 3}, {0, {0xDB, 0xFE}, "IN   A, (FEH)", 2},
    {0, {0xD3, 0x0A}, "OUT  (AH),A", 2}, {0, {0xF9}, "LD   SP, HL", 1}, {0, {0xFF}, "RST  38H", 1},
    {0xFFFF, {0xCD}, "CALL 0H", 3},  // operands wrap to the start of memory
    // Relative jumps: target and signed displacement.
    {0x0100, {0x18, 0xFE}, "JR   0100H (-2)", 2}, {0x0000, {0x18, 0x80}, "JR   FF82H (-128)", 2},
    {0xFFF0, {0x20, 0x7F}, "JR   NZ,0071H (127)", 2}, {0x1000, {0x10, 0x00}, "DJNZ 1002H (0)", 2},
    // Register families and the CB group.
    {0, {0x40}, "LD   B,B", 1}, {0, {0x7E}, "LD   A,(HL)", 1}, {0, {0x70}, "LD   (HL),B", 1},
    {0, {0x76}, "HALT", 1}, {0, {0x80}, "ADD  A,B", 1}, {0, {0x9E}, "SBC  A,(HL)", 1},
    {0, {0xA7}, "AND  A", 1}, {0, {0xB8}, "CP   B", 1}, {0, {0xCB, 0x11}, "RL  C", 2},
    {0, {0xCB, 0x7E}, "BIT  7,(HL)", 2}, {0, {0xCB, 0x06}, "RLC  (HL)", 2},
    {0, {0xCB, 0x37}, "SLL  A", 2}, {0, {0xCB, 0x80}, "RES  0,B", 2},
    // ED; ED 63 is LD (nn),HL on the chip, but this listing leaves it undecoded.
    {0, {0xED, 0xB0}, "LDIR", 2}, {0, {0xED, 0x7B, 0x00, 0xC0}, "LD   SP,(C000H)", 4},
    {0, {0xED, 0x71}, "OUT  (C),0", 2}, {0, {0xED, 0x63, 0x34, 0x12}, "*** Unknown opcode ***", 2},
    // DD and FD.
    {0, {0xDD, 0x7E, 0x05}, "LD   A, (IX+5d)", 3},
    {0, {0xDD, 0x21, 0x34, 0x12}, "LD   IX,1234H (4660)", 4},
    {0, {0xFD, 0x22, 0x34, 0x12}, "LD   (1234H), IY (4660)", 4},
    {0, {0xDD, 0x2A, 0x00, 0x80}, "LD   IX,(8000H) (32768)", 4},
    {0, {0xFD, 0x26, 0x7F}, "LD   IYH, 7FH (127)", 3}, {0, {0xFD, 0x6C}, "LD   IYL,IYH", 2},
    {0, {0xDD, 0x29}, "ADD  IX,IX", 2}, {0, {0xDD, 0x34, 0x00}, "INC  (IX+0d)", 3},
    {0, {0xFD, 0x75, 0x80}, "LD   (IY-128d), L", 3}, {0, {0xDD, 0xA4}, "AND  A,IXH", 2},
    {0, {0xFD, 0xE9}, "JP   (IY)", 2}, {0, {0xFD, 0xCB, 0xFE, 0xBE}, "RES  7,(IY-2d)", 4},
    {0, {0xDD, 0xCB, 0x7F, 0xDE}, "SET  3,(IX+127d)", 4},
};
// clang-format on

TEST(Disassembler, Examples) {
    for (const Example& example : kExamples) {
        Z80_State state{};
        state.machine = FlatMachine_Create();
        FlatMachine_Load(example.address, example.bytes);
        char line[Z80_DISASSEMBLY_LINE_SIZE];
        uint8_t length = Z80_Disassemble(&state, example.address, line);
        std::string expected = example.text;
        bool whole = expected.size() > 5 && expected[4] == ':';
        std::string actual = whole ? line : std::string(line).substr(19);
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(length, example.length) << expected;
    }
}

// The step-over command knows the length of calls and of LDIR/LDI only.
TEST(Disassembler, InstructionSizeForStepOver) {
    Z80_State state{};
    state.machine = FlatMachine_Create();
    FlatMachine_Load(0x100, {0xCD, 0xED, 0xB0, 0xED, 0xA0, 0xED, 0x44, 0x3E, 0xC3, 0xFC});
    const uint8_t expected[][2] = {{0x00, 3}, {0x01, 2}, {0x03, 2}, {0x05, 1},
                                   {0x07, 1}, {0x08, 1}, {0x09, 3}};
    for (const auto& [offset, size] : expected)
        EXPECT_EQ(Z80_GetInstructionSize(&state, 0x100 + offset), size) << int(offset);
}

constexpr char kSentinel = 0x5A;
constexpr uint16_t kAddress = 0x8000;

bool In(std::initializer_list<int> list, int value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// Length of an instruction on the chip itself, for the forms this disassembler decodes.
int UnprefixedLength(int op) {
    if ((op & 0xC7) == 0x06 || (op & 0xC7) == 0xC6 || (op >= 0x10 && op < 0x40 && (op & 7) == 0) ||
        op == 0xD3 || op == 0xDB)
        return 2;  // LD r,n; ALU n; DJNZ and JR; OUT (n),A; IN A,(n)
    if ((op & 0xCF) == 0x01 || In({0x22, 0x2A, 0x32, 0x3A, 0xC3, 0xCD}, op) ||
        (op & 0xC7) == 0xC2 || (op & 0xC7) == 0xC4)
        return 3;  // LD rp,nn; LD (nn) forms; JP, CALL
    return 1;
}

int IndexedLength(int op) {
    if (In({0x21, 0x22, 0x2A, 0x36}, op)) return 4;
    if (op == 0x26 || op == 0x2E) return 3;
    bool memoryOperand =
        op == 0x34 || op == 0x35 ||
        (op >= 0x40 && op < 0xC0 && op != 0x76 && ((op & 7) == 6 || (op & 0xF8) == 0x70));
    return memoryOperand ? 3 : 2;
}

struct Result {
    int length;
    std::string line;
    bool decoded;
};

// Disassembles into an oversized buffer and checks what holds for every line.
Result Disassemble(const std::vector<uint8_t>& bytes, size_t& longest) {
    Z80_State state{};
    state.machine = FlatMachine_Create();
    FlatMachine_Load(kAddress, bytes);
    char buffer[Z80_DISASSEMBLY_LINE_SIZE + 20];
    std::memset(buffer, kSentinel, sizeof buffer);
    int length = Z80_Disassemble(&state, kAddress, buffer);
    char label[16];
    std::snprintf(label, sizeof label, "%02X %02X %02X %02X", bytes[0], bytes[1], bytes[2],
                  bytes[3]);

    for (size_t i = Z80_DISASSEMBLY_LINE_SIZE; i < sizeof buffer; ++i)
        EXPECT_EQ(buffer[i], kSentinel) << label << ": wrote past the line at " << i;
    if (!std::memchr(buffer, 0, Z80_DISASSEMBLY_LINE_SIZE)) {
        ADD_FAILURE() << label << ": line not terminated";
        return {length, "", false};
    }
    std::string line(buffer);
    longest = std::max(longest, line.size());
    char columns[20];
    std::snprintf(columns, sizeof columns, "8000: %02X %02X %02X %02X  ", bytes[0], bytes[1],
                  bytes[2], bytes[3]);
    for (int i = length; i < 4; ++i) std::memcpy(columns + 6 + 3 * i, "  ", 2);
    EXPECT_EQ(line.substr(0, 19), columns) << label;
    return {length, line, line.size() > 19 && line.substr(19) != "*** Unknown opcode ***"};
}

}  // namespace

TEST(DisassemblerSweep, EveryOpcodeOfEveryGroup) {
    // Zero, the sign boundary of a displacement and the largest values.
    const uint8_t operands[][2] = {{0x00, 0x00}, {0x7F, 0x80}, {0x80, 0xFF}, {0xFF, 0xFF}};
    size_t longest = 0;
    int edDecoded = 0, indexedDecoded[2] = {0, 0};
    for (int op = 0; op < 256; ++op) {
        for (int pattern = 0; pattern < 4; ++pattern) {
            uint8_t code = static_cast<uint8_t>(op), a = operands[pattern][0],
                    b = operands[pattern][1];
            bool counted = pattern == 0;
            if (!In({0xCB, 0xDD, 0xED, 0xFD}, op)) {
                Result plain = Disassemble({code, a, b, 0xFF}, longest);
                EXPECT_TRUE(plain.decoded) << plain.line;
                EXPECT_EQ(plain.length, UnprefixedLength(op)) << plain.line;
            }
            Result cb = Disassemble({0xCB, code, a, b}, longest);
            EXPECT_TRUE(cb.decoded) << cb.line;
            EXPECT_EQ(cb.length, 2) << cb.line;

            bool withAddress = In({0x43, 0x4B, 0x53, 0x5B, 0x73, 0x7B}, op);
            Result ed = Disassemble({0xED, code, a, b}, longest);
            EXPECT_EQ(ed.length, withAddress ? 4 : 2) << ed.line;
            EXPECT_TRUE(ed.decoded || !withAddress) << ed.line;
            edDecoded += ed.decoded && counted;

            for (int i = 0; i < 2; ++i) {
                uint8_t prefix = i == 0 ? 0xDD : 0xFD;
                Result bit = Disassemble({prefix, 0xCB, a, code}, longest);
                EXPECT_EQ(bit.length, 4) << bit.line;
                EXPECT_EQ(bit.decoded, op >= 0x40 && (op & 7) == 6) << bit.line;
                if (op == 0xCB) continue;
                Result indexed = Disassemble({prefix, code, a, b}, longest);
                EXPECT_EQ(indexed.length, indexed.decoded ? IndexedLength(op) : 2) << indexed.line;
                bool named = indexed.line.find(i == 0 ? "IX" : "IY", 19) != std::string::npos;
                EXPECT_TRUE(named || !indexed.decoded) << indexed.line;
                indexedDecoded[i] += indexed.decoded && counted;
            }
        }
    }
    EXPECT_EQ(edDecoded, 44);
    EXPECT_EQ(indexedDecoded[0], 74);
    EXPECT_EQ(indexedDecoded[1], 74);
    // The longest texts (FD 36 80 FF, DD 22 FF FF) use every character of the line.
    EXPECT_EQ(longest, static_cast<size_t>(Z80_DISASSEMBLY_LINE_SIZE - 1));
}
