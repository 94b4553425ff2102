// Known instructions disassembled to their exact lines and lengths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "flat_machine.h"

namespace {

struct Disassembly {
    uint8_t length;
    std::string line;
    std::string text;  // from column 19
};

Disassembly DisassembleAt(uint16_t address, const std::vector<uint8_t>& bytes) {
    static Z80_State state;
    state = Z80_State{};
    state.machine = FlatMachine_Create();
    FlatMachine_Load(address, bytes);
    char line[Z80_DISASSEMBLY_LINE_SIZE];
    uint8_t length = Z80_Disassemble(&state, address, line);
    std::string whole(line);
    return {length, whole, whole.size() > 19 ? whole.substr(19) : std::string()};
}

const char* const kUnknown = "*** Unknown opcode ***";

TEST(Disassembler, WholeLinesShowAddressBytesAndText) {
    Disassembly ld = DisassembleAt(0x4000, {0x3E, 0x41});
    EXPECT_EQ(ld.line, "4000: 3E 41        LD   A,41H (65)");
    EXPECT_EQ(ld.length, 2);

    Disassembly call = DisassembleAt(0x0000, {0xCD, 0x5A, 0xBB});
    EXPECT_EQ(call.line, "0000: CD 5A BB     CALL BB5AH");
    EXPECT_EQ(call.length, 3);

    Disassembly indexed = DisassembleAt(0xABCD, {0xFD, 0x36, 0xF4, 0x20});
    EXPECT_EQ(indexed.line, "ABCD: FD 36 F4 20  LD   (IY-12d),20H (32)");
    EXPECT_EQ(indexed.length, 4);

    Disassembly unknown = DisassembleAt(0x0010, {0xED, 0x40, 0x99});
    EXPECT_EQ(unknown.line, "0010: ED 40        *** Unknown opcode ***");
    EXPECT_EQ(unknown.length, 2);

    Disassembly nop = DisassembleAt(0xFFFF, {0x00});
    EXPECT_EQ(nop.line, "FFFF: 00           NOP");
    EXPECT_EQ(nop.length, 1);
}

TEST(Disassembler, ImmediatesAddressesAndPorts) {
    EXPECT_EQ(DisassembleAt(0, {0x01, 0x00, 0x00}).text, "LD   BC,0H (0)");
    EXPECT_EQ(DisassembleAt(0, {0x21, 0xFF, 0xFF}).text, "LD   HL,FFFFH (65535)");
    EXPECT_EQ(DisassembleAt(0, {0x36, 0x80}).text, "LD   (HL),80H (128)");
    EXPECT_EQ(DisassembleAt(0, {0xFE, 0x0A}).text, "CP   AH (10)");
    EXPECT_EQ(DisassembleAt(0, {0x22, 0x00, 0xC0}).text, "LD   (C000H),HL");
    EXPECT_EQ(DisassembleAt(0, {0x3A, 0x05, 0x00}).text, "LD   A,(5H)");
    EXPECT_EQ(DisassembleAt(0, {0xC2, 0x34, 0x12}).text, "JP   NZ,1234H");
    EXPECT_EQ(DisassembleAt(0, {0xDB, 0xFE}).text, "IN   A, (FEH)");
    EXPECT_EQ(DisassembleAt(0, {0xD3, 0x0A}).text, "OUT  (AH),A");
    EXPECT_EQ(DisassembleAt(0, {0xF9}).text, "LD   SP, HL");
    EXPECT_EQ(DisassembleAt(0, {0xFF}).text, "RST  38H");
    // Operands that wrap past the end of memory are read from the start.
    Disassembly wrapped = DisassembleAt(0xFFFF, {0xCD});
    EXPECT_EQ(wrapped.length, 3);
    EXPECT_EQ(wrapped.text, "CALL 0H");
}

TEST(Disassembler, RelativeJumpsShowTargetAndDisplacement) {
    EXPECT_EQ(DisassembleAt(0x0100, {0x18, 0xFE}).text, "JR   0100H (-2)");
    EXPECT_EQ(DisassembleAt(0x0000, {0x18, 0x80}).text, "JR   FF82H (-128)");
    EXPECT_EQ(DisassembleAt(0xFFF0, {0x20, 0x7F}).text, "JR   NZ,0071H (127)");
    EXPECT_EQ(DisassembleAt(0x1000, {0x10, 0x00}).text, "DJNZ 1002H (0)");
    EXPECT_EQ(DisassembleAt(0x1000, {0x38, 0x10}).length, 2);
}

TEST(Disassembler, RegisterFamilies) {
    EXPECT_EQ(DisassembleAt(0, {0x40}).text, "LD   B,B");
    EXPECT_EQ(DisassembleAt(0, {0x7E}).text, "LD   A,(HL)");
    EXPECT_EQ(DisassembleAt(0, {0x70}).text, "LD   (HL),B");
    EXPECT_EQ(DisassembleAt(0, {0x76}).text, "HALT");
    EXPECT_EQ(DisassembleAt(0, {0x80}).text, "ADD  A,B");
    EXPECT_EQ(DisassembleAt(0, {0x9E}).text, "SBC  A,(HL)");
    EXPECT_EQ(DisassembleAt(0, {0xA7}).text, "AND  A");
    EXPECT_EQ(DisassembleAt(0, {0xB8}).text, "CP   B");
}

TEST(Disassembler, CbGroup) {
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0x11}).text, "RL  C");
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0x7E}).text, "BIT  7,(HL)");
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0x06}).text, "RLC  (HL)");
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0x37}).text, "SLL  A");
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0x80}).text, "RES  0,B");
    EXPECT_EQ(DisassembleAt(0, {0xCB, 0xFF}).line, "0000: CB FF        SET  7,A");
}

TEST(Disassembler, EdGroup) {
    EXPECT_EQ(DisassembleAt(0, {0xED, 0xB0}).text, "LDIR");
    Disassembly store = DisassembleAt(0, {0xED, 0x43, 0x34, 0x12});
    EXPECT_EQ(store.line, "0000: ED 43 34 12  LD   (1234H),BC");
    EXPECT_EQ(store.length, 4);
    EXPECT_EQ(DisassembleAt(0, {0xED, 0x7B, 0x00, 0xC0}).text, "LD   SP,(C000H)");
    EXPECT_EQ(DisassembleAt(0, {0xED, 0x71}).text, "OUT  (C),0");
    // ED 63 is LD (nn),HL on the chip, but this listing leaves it undecoded.
    Disassembly undecoded = DisassembleAt(0, {0xED, 0x63, 0x34, 0x12});
    EXPECT_EQ(undecoded.text, kUnknown);
    EXPECT_EQ(undecoded.length, 2);
}

TEST(Disassembler, IndexedGroups) {
    Disassembly load = DisassembleAt(0, {0xDD, 0x7E, 0x05});
    EXPECT_EQ(load.text, "LD   A, (IX+5d)");
    EXPECT_EQ(load.length, 3);
    EXPECT_EQ(load.line.substr(0, 19), "0000: DD 7E 05     ");

    Disassembly pair = DisassembleAt(0, {0xDD, 0x21, 0x34, 0x12});
    EXPECT_EQ(pair.text, "LD   IX,1234H (4660)");
    EXPECT_EQ(pair.length, 4);
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0x22, 0x34, 0x12}).text, "LD   (1234H), IY (4660)");
    EXPECT_EQ(DisassembleAt(0, {0xDD, 0x2A, 0x00, 0x80}).text, "LD   IX,(8000H) (32768)");
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0x26, 0x7F}).text, "LD   IYH, 7FH (127)");
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0x6C}).text, "LD   IYL,IYH");
    EXPECT_EQ(DisassembleAt(0, {0xDD, 0x29}).text, "ADD  IX,IX");
    EXPECT_EQ(DisassembleAt(0, {0xDD, 0x34, 0x00}).text, "INC  (IX+0d)");
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0x75, 0x80}).text, "LD   (IY-128d), L");
    EXPECT_EQ(DisassembleAt(0, {0xDD, 0xA4}).text, "AND  A,IXH");
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0xE9}).text, "JP   (IY)");

    Disassembly unknown = DisassembleAt(0, {0xDD, 0x8D, 0x11});
    EXPECT_EQ(unknown.line, "0000: DD 8D        *** Unknown opcode ***");
    EXPECT_EQ(unknown.length, 2);
}

TEST(Disassembler, IndexedBitGroup) {
    Disassembly bit = DisassembleAt(0, {0xDD, 0xCB, 0x02, 0x46});
    EXPECT_EQ(bit.line, "0000: DD CB 02 46  BIT  0,(IX+2d)");
    EXPECT_EQ(bit.length, 4);
    EXPECT_EQ(DisassembleAt(0, {0xFD, 0xCB, 0xFE, 0xBE}).text, "RES  7,(IY-2d)");
    EXPECT_EQ(DisassembleAt(0, {0xDD, 0xCB, 0x7F, 0xDE}).text, "SET  3,(IX+127d)");

    Disassembly rotate = DisassembleAt(0, {0xDD, 0xCB, 0x02, 0x06});
    EXPECT_EQ(rotate.line, "0000: DD CB 02 06  *** Unknown opcode ***");
    EXPECT_EQ(rotate.length, 4);
}

TEST(Disassembler, InstructionSizeForStepOver) {
    static Z80_State state;
    state = Z80_State{};
    state.machine = FlatMachine_Create();
    FlatMachine_Load(0x100, {0xCD, 0xED, 0xB0, 0xED, 0xA0, 0xED, 0x44, 0x3E, 0xC3, 0xFC});
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x100), 3);  // CALL nn
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x101), 2);  // LDIR
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x103), 2);  // LDI
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x105), 1);  // NEG is not known here
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x107), 1);  // LD A,n is not known here
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x108), 1);  // JP nn is not in the list
    EXPECT_EQ(Z80_GetInstructionSize(&state, 0x109), 3);  // CALL M,nn
}

}  // namespace
