// Disassembly of the DD and FD groups (IX and IY), including the indexed bit
// operations DD CB d o and FD CB d o.
#include "common/monitor/disassembler_internal.h"

namespace {

// Which values fill a text, in order. X is the index pair, XH and XL its halves,
// d the displacement, n an immediate byte and nn an immediate word.
enum IndexedOperands : uint8_t {
    kX,
    kXH,
    kXL,
    kX_X,
    kXH_XH,
    kXH_XL,
    kXL_XH,
    kXL_XL,
    kX_NN_NN,
    kNN_X_NN,
    kXH_N_N,
    kXL_N_N,
    kX_D,
    kX_D_N_N,
};

struct IndexedText {
    uint8_t opcode;
    const char* format;
    IndexedOperands operands;
};

// The decoded second bytes; every other one stays unknown.
const IndexedText kIndexedOpcodes[] = {
    {0x09, "ADD  %s,BC", kX},
    {0x19, "ADD  %s,DE", kX},
    {0x21, "LD   %s,%hXH (%hu)", kX_NN_NN},
    {0x22, "LD   (%hXH), %s (%hu)", kNN_X_NN},
    {0x23, "INC  %s", kX},
    {0x24, "INC  %s", kXH},
    {0x25, "DEC  %s", kXH},
    {0x26, "LD   %s, %hXH (%hu)", kXH_N_N},
    {0x29, "ADD  %s,%s", kX_X},
    {0x2A, "LD   %s,(%hXH) (%hu)", kX_NN_NN},
    {0x2B, "DEC  %s", kX},
    {0x2C, "INC  %s", kXL},
    {0x2D, "DEC  %s", kXL},
    {0x2E, "LD   %s, %hXH (%hu)", kXL_N_N},
    {0x34, "INC  (%s%+dd)", kX_D},
    {0x35, "DEC  (%s%+dd)", kX_D},
    {0x36, "LD   (%s%+dd),%hXH (%hu)", kX_D_N_N},
    {0x39, "ADD  %s,SP", kX},
    {0x44, "LD   B,%s", kXH},
    {0x45, "LD   B,%s", kXL},
    {0x46, "LD   B, (%s%+dd)", kX_D},
    {0x4C, "LD   C,%s", kXH},
    {0x4D, "LD   C,%s", kXL},
    {0x4E, "LD   C, (%s%+dd)", kX_D},
    {0x54, "LD   D,%s", kXH},
    {0x55, "LD   D,%s", kXL},
    {0x56, "LD   D, (%s%+dd)", kX_D},
    {0x5C, "LD   E,%s", kXH},
    {0x5D, "LD   E,%s", kXL},
    {0x5E, "LD   E, (%s%+dd)", kX_D},
    {0x62, "LD   %s,D", kXH},
    {0x64, "LD   %s,%s", kXH_XH},
    {0x65, "LD   %s,%s", kXH_XL},
    {0x66, "LD   H, (%s%+dd)", kX_D},
    {0x67, "LD   %s,A", kXH},
    {0x6B, "LD   %s,E", kXL},
    {0x6C, "LD   %s,%s", kXL_XH},
    {0x6D, "LD   %s,%s", kXL_XL},
    {0x6E, "LD   L, (%s%+dd)", kX_D},
    {0x6F, "LD   %s,A", kXL},
    {0x70, "LD   (%s%+dd), B", kX_D},
    {0x71, "LD   (%s%+dd), C", kX_D},
    {0x72, "LD   (%s%+dd), D", kX_D},
    {0x73, "LD   (%s%+dd), E", kX_D},
    {0x74, "LD   (%s%+dd), H", kX_D},
    {0x75, "LD   (%s%+dd), L", kX_D},
    {0x77, "LD   (%s%+dd), A", kX_D},
    {0x7C, "LD   A,%s", kXH},
    {0x7D, "LD   A,%s", kXL},
    {0x7E, "LD   A, (%s%+dd)", kX_D},
    {0x84, "ADD  A,%s", kXH},
    {0x85, "ADD  A,%s", kXL},
    {0x86, "ADD  A,(%s%+dd)", kX_D},
    {0x8C, "ADC  A,%s", kXH},
    {0x8E, "ADC  A,(%s%+dd)", kX_D},
    {0x94, "SUB  %s", kXH},
    {0x95, "SUB  %s", kXL},
    {0x96, "SUB  (%s%+dd)", kX_D},
    {0x9E, "SBC  (%s%+dd)", kX_D},
    {0xA4, "AND  A,%s", kXH},
    {0xA6, "AND  (%s%+dd)", kX_D},
    {0xAC, "XOR  %s", kXH},
    {0xAD, "XOR  %s", kXL},
    {0xAE, "XOR  (%s%+dd)", kX_D},
    {0xB4, "OR   %s", kXH},
    {0xB5, "OR   %s", kXL},
    {0xB6, "OR   (%s%+dd)", kX_D},
    {0xBC, "CP   %s", kXH},
    {0xBD, "CP   %s", kXL},
    {0xBE, "CP   (%s%+dd)", kX_D},
    {0xE1, "POP  %s", kX},
    {0xE3, "EX   (SP),%s", kX},
    {0xE5, "PUSH %s", kX},
    {0xE9, "JP   (%s)", kX},
};

// DD CB d o: always four bytes long, decoded only for the (X+d) forms of BIT, RES, SET.
uint8_t DisassembleIndexedBit(const Dbg_DisassemblyLine& line, const Dbg_IndexNames& names) {
    Dbg_ShowByte(line, 2);
    Dbg_ShowByte(line, 3);
    int displacement = static_cast<int8_t>(Dbg_InstructionByte(line, 2));
    uint8_t operation = Dbg_InstructionByte(line, 3);
    if ((operation & 7) == 6 && operation >= 0x40)
        Dbg_PrintText(line, "%s  %d,(%s%+dd)", DBG_BIT_OPERATIONS[operation >> 6],
                      (operation >> 3) & 7, names.pair, displacement);
    return 2;
}

// Prints one decoded form; returns the operand bytes it used after the second byte.
uint8_t PrintIndexed(const Dbg_DisassemblyLine& line, const IndexedText& entry,
                     const Dbg_IndexNames& names) {
    uint8_t first = Dbg_InstructionByte(line, 2);
    uint16_t word = static_cast<uint16_t>(first | (Dbg_InstructionByte(line, 3) << 8));
    int displacement = static_cast<int8_t>(first);
    uint8_t immediate = Dbg_InstructionByte(line, 3);
    uint8_t used = 0;
    switch (entry.operands) {
        case kX: Dbg_PrintText(line, entry.format, names.pair); break;
        case kXH: Dbg_PrintText(line, entry.format, names.high); break;
        case kXL: Dbg_PrintText(line, entry.format, names.low); break;
        case kX_X: Dbg_PrintText(line, entry.format, names.pair, names.pair); break;
        case kXH_XH: Dbg_PrintText(line, entry.format, names.high, names.high); break;
        case kXH_XL: Dbg_PrintText(line, entry.format, names.high, names.low); break;
        case kXL_XH: Dbg_PrintText(line, entry.format, names.low, names.high); break;
        case kXL_XL: Dbg_PrintText(line, entry.format, names.low, names.low); break;
        case kX_NN_NN:
            Dbg_PrintText(line, entry.format, names.pair, word, word);
            used = 2;
            break;
        case kNN_X_NN:
            Dbg_PrintText(line, entry.format, word, names.pair, word);
            used = 2;
            break;
        case kXH_N_N:
            Dbg_PrintText(line, entry.format, names.high, first, first);
            used = 1;
            break;
        case kXL_N_N:
            Dbg_PrintText(line, entry.format, names.low, first, first);
            used = 1;
            break;
        case kX_D:
            Dbg_PrintText(line, entry.format, names.pair, displacement);
            used = 1;
            break;
        case kX_D_N_N:
            Dbg_PrintText(line, entry.format, names.pair, displacement, immediate, immediate);
            used = 2;
            break;
    }
    for (uint8_t operand = 0; operand < used; ++operand) Dbg_ShowByte(line, 2 + operand);
    return used;
}

}  // namespace

uint8_t Dbg_DisassembleIndexed(const Dbg_DisassemblyLine& line, const Dbg_IndexNames& names) {
    uint8_t opcode = Dbg_InstructionByte(line, 1);
    if (opcode == 0xCB) return DisassembleIndexedBit(line, names);
    for (const IndexedText& entry : kIndexedOpcodes) {
        if (entry.opcode == opcode) return PrintIndexed(line, entry, names);
    }
    return 0;
}
