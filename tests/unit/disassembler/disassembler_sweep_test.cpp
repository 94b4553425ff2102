// Every opcode of every group, with a few operand patterns: lengths follow the Z80's
// own instruction lengths, the byte columns show exactly the instruction's bytes, and
// no line ever writes past Z80_DISASSEMBLY_LINE_SIZE.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "flat_machine.h"

namespace {

const char kSentinel = 0x5A;
const char* const kUnknown = "*** Unknown opcode ***";
const uint16_t kAddress = 0x8000;

// Length of an instruction on the chip itself, for the forms this disassembler decodes.
int UnprefixedLength(uint8_t opcode) {
    static const std::set<int> twoBytes = {0x06, 0x0E, 0x16, 0x1E, 0x26, 0x2E, 0x36, 0x3E,
                                           0x10, 0x18, 0x20, 0x28, 0x30, 0x38, 0xC6, 0xCE,
                                           0xD6, 0xDE, 0xE6, 0xEE, 0xF6, 0xFE, 0xD3, 0xDB};
    static const std::set<int> threeBytes = {0x01, 0x11, 0x21, 0x31, 0x22, 0x2A, 0x32, 0x3A, 0xC2,
                                             0xC3, 0xC4, 0xCA, 0xCC, 0xCD, 0xD2, 0xD4, 0xDA, 0xDC,
                                             0xE2, 0xE4, 0xEA, 0xEC, 0xF2, 0xF4, 0xFA, 0xFC};
    if (twoBytes.count(opcode)) return 2;
    if (threeBytes.count(opcode)) return 3;
    return 1;
}

int IndexedLength(uint8_t opcode) {
    if (opcode == 0x21 || opcode == 0x22 || opcode == 0x2A || opcode == 0x36) return 4;
    if (opcode == 0x26 || opcode == 0x2E) return 3;
    bool memoryOperand = opcode == 0x34 || opcode == 0x35 ||
                         (opcode >= 0x40 && opcode < 0xC0 && opcode != 0x76 &&
                          ((opcode & 7) == 6 || (opcode & 0xF8) == 0x70));
    return memoryOperand ? 3 : 2;
}

struct Result {
    int length;
    std::string line;
    bool decoded;
};

class DisassemblerSweep : public ::testing::Test {
   protected:
    void SetUp() override {
        state_ = Z80_State{};
        state_.machine = FlatMachine_Create();
    }

    // Disassembles the bytes at kAddress into an oversized buffer and checks what
    // holds for every line.
    Result Run(const std::vector<uint8_t>& bytes) {
        FlatMachine_Load(kAddress, bytes);
        char buffer[Z80_DISASSEMBLY_LINE_SIZE + 20];
        std::memset(buffer, kSentinel, sizeof buffer);
        int length = Z80_Disassemble(&state_, kAddress, buffer);
        std::string label = Describe(bytes);

        for (size_t i = Z80_DISASSEMBLY_LINE_SIZE; i < sizeof buffer; ++i)
            EXPECT_EQ(buffer[i], kSentinel) << label << ": wrote past the line at " << i;
        const void* end = std::memchr(buffer, 0, Z80_DISASSEMBLY_LINE_SIZE);
        EXPECT_NE(end, nullptr) << label << ": line not terminated";
        if (!end) return {length, "", false};
        std::string line(buffer);
        EXPECT_GT(line.size(), 19u) << label;
        longestLine = std::max(longestLine, line.size());

        EXPECT_EQ(line.substr(0, 6), "8000: ") << label;
        for (int i = 0; i < 4; ++i) {
            std::string column = line.substr(6 + 3 * i, 2);
            if (i < length) {
                char expected[3];
                std::snprintf(expected, sizeof expected, "%02X", bytes[i]);
                EXPECT_EQ(column, expected) << label << ": byte " << i;
            } else {
                EXPECT_EQ(column, "  ") << label << ": byte " << i;
            }
        }
        EXPECT_EQ(line.substr(17, 2), "  ") << label;
        bool decoded = line.substr(19) != kUnknown;
        return {length, line, decoded};
    }

    static std::string Describe(const std::vector<uint8_t>& bytes) {
        std::string text;
        char hex[4];
        for (uint8_t byte : bytes) {
            std::snprintf(hex, sizeof hex, "%02X ", byte);
            text += hex;
        }
        return text;
    }

    Z80_State state_;
    size_t longestLine = 0;
};

// Operand patterns: zero, the sign boundary and the largest values.
const uint8_t kOperands[][2] = {{0x00, 0x00}, {0x7F, 0x80}, {0x80, 0x7F}, {0xFF, 0xFF}};

TEST_F(DisassemblerSweep, UnprefixedOpcodes) {
    for (int opcode = 0; opcode < 256; ++opcode) {
        if (opcode == 0xCB || opcode == 0xDD || opcode == 0xED || opcode == 0xFD) continue;
        for (const auto& operands : kOperands) {
            Result result = Run({static_cast<uint8_t>(opcode), operands[0], operands[1]});
            EXPECT_TRUE(result.decoded) << result.line;
            EXPECT_EQ(result.length, UnprefixedLength(static_cast<uint8_t>(opcode))) << result.line;
        }
    }
}

TEST_F(DisassemblerSweep, CbOpcodesAreAllTwoBytes) {
    for (int opcode = 0; opcode < 256; ++opcode) {
        Result result = Run({0xCB, static_cast<uint8_t>(opcode), 0xFF, 0xFF});
        EXPECT_TRUE(result.decoded) << result.line;
        EXPECT_EQ(result.length, 2) << result.line;
    }
}

TEST_F(DisassemblerSweep, EdOpcodes) {
    static const std::set<int> withAddress = {0x43, 0x4B, 0x53, 0x5B, 0x73, 0x7B};
    int decodedCount = 0;
    for (int opcode = 0; opcode < 256; ++opcode) {
        for (const auto& operands : kOperands) {
            Result result = Run({0xED, static_cast<uint8_t>(opcode), operands[0], operands[1]});
            EXPECT_EQ(result.length, withAddress.count(opcode) ? 4 : 2) << result.line;
            if (result.decoded && operands[0] == 0) ++decodedCount;
            if (withAddress.count(opcode)) {
                EXPECT_TRUE(result.decoded) << result.line;
            }
        }
    }
    EXPECT_EQ(decodedCount, 44);
}

TEST_F(DisassemblerSweep, IndexedOpcodes) {
    for (uint8_t prefix : {0xDD, 0xFD}) {
        const char* pair = prefix == 0xDD ? "IX" : "IY";
        int decodedCount = 0;
        for (int opcode = 0; opcode < 256; ++opcode) {
            if (opcode == 0xCB) continue;
            for (const auto& operands : kOperands) {
                Result result =
                    Run({prefix, static_cast<uint8_t>(opcode), operands[0], operands[1]});
                if (!result.decoded) {
                    EXPECT_EQ(result.length, 2) << result.line;
                    continue;
                }
                EXPECT_EQ(result.length, IndexedLength(static_cast<uint8_t>(opcode)))
                    << result.line;
                EXPECT_NE(result.line.find(pair, 19), std::string::npos) << result.line;
                if (operands[0] == 0) ++decodedCount;
            }
        }
        EXPECT_EQ(decodedCount, 74) << pair;
    }
}

TEST_F(DisassemblerSweep, IndexedBitOpcodesAreAllFourBytes) {
    for (uint8_t prefix : {0xDD, 0xFD}) {
        for (uint8_t displacement : {0x00, 0x7F, 0x80, 0xFF}) {
            for (int operation = 0; operation < 256; ++operation) {
                Result result = Run({prefix, 0xCB, displacement, static_cast<uint8_t>(operation)});
                EXPECT_EQ(result.length, 4) << result.line;
                EXPECT_EQ(result.decoded, operation >= 0x40 && (operation & 7) == 6) << result.line;
            }
        }
    }
}

// The longest texts, an indexed store of an immediate and the 16-bit indexed store,
// use every character of the line.
TEST_F(DisassemblerSweep, LongestLinesFillTheBufferExactly) {
    Run({0xFD, 0x36, 0x80, 0xFF});
    Run({0xDD, 0x22, 0xFF, 0xFF});
    EXPECT_EQ(longestLine, static_cast<size_t>(Z80_DISASSEMBLY_LINE_SIZE - 1));
}

}  // namespace
