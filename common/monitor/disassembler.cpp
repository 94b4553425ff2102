// Z80 disassembler for the monitor: one instruction as one text line, and the length
// of the instructions that step-over needs. Memory is read through the machine's read
// operation, so the listing follows the current ROM and RAM banking.
#include <cstdarg>
#include <cstdio>

#include "common/machine/machine.h"
#include "common/monitor/disassembler_internal.h"
#include "common/xtools/xtools.h"

namespace {

// How the operand bytes after an unprefixed or ED opcode fill its text. Decimal values
// in parentheses carry no suffix; only the displacement of (IX+d) ends in the letter d.
enum OperandKind : uint8_t {
    kNoOperand,
    kImmediate8,   // "%hXH (%hu)": n, n
    kImmediate16,  // "%hXH (%hu)": nn, nn
    kAddress16,    // "%hXH": nn
    kPort8,        // "%hXH": n
    kRelative,     // "%04XH (%hi)": target, displacement
};

struct OpcodeText {
    const char* format;
    OperandKind operands;
};

const char* const kRegisters[8] = {"B", "C", "D", "E", "H", "L", "(HL)", "A"};
const char* const kArithmetic[8] = {"ADD  A,", "ADC  A,", "SUB  ", "SBC  A,",
                                    "AND  ",   "XOR  ",   "OR   ", "CP   "};
const char* const kShifts[8] = {"RLC", "RRC", "RL", "RR", "SLA", "SRA", "SLL", "SRL"};

const Dbg_IndexNames kIX = {"IX", "IXH", "IXL"};
const Dbg_IndexNames kIY = {"IY", "IYH", "IYL"};

// Opcodes 0x00-0x3F.
const OpcodeText kLowOpcodes[64] = {
    {"NOP", kNoOperand},
    {"LD   BC,%hXH (%hu)", kImmediate16},
    {"LD   (BC),A", kNoOperand},
    {"INC  BC", kNoOperand},
    {"INC  B", kNoOperand},
    {"DEC  B", kNoOperand},
    {"LD   B,%hXH (%hu)", kImmediate8},
    {"RLCA", kNoOperand},
    {"EX   AF,AF'", kNoOperand},
    {"ADD  HL,BC", kNoOperand},
    {"LD   A,(BC)", kNoOperand},
    {"DEC  BC", kNoOperand},
    {"INC  C", kNoOperand},
    {"DEC  C", kNoOperand},
    {"LD   C,%hXH (%hu)", kImmediate8},
    {"RRCA", kNoOperand},
    // 0x10
    {"DJNZ %04XH (%hi)", kRelative},
    {"LD   DE,%hXH (%hu)", kImmediate16},
    {"LD   (DE),A", kNoOperand},
    {"INC  DE", kNoOperand},
    {"INC  D", kNoOperand},
    {"DEC  D", kNoOperand},
    {"LD   D,%hXH (%hu)", kImmediate8},
    {"RLA", kNoOperand},
    {"JR   %04XH (%hi)", kRelative},
    {"ADD  HL,DE", kNoOperand},
    {"LD   A,(DE)", kNoOperand},
    {"DEC  DE", kNoOperand},
    {"INC  E", kNoOperand},
    {"DEC  E", kNoOperand},
    {"LD   E,%hXH (%hu)", kImmediate8},
    {"RRA", kNoOperand},
    // 0x20
    {"JR   NZ,%04XH (%hi)", kRelative},
    {"LD   HL,%hXH (%hu)", kImmediate16},
    {"LD   (%hXH),HL", kAddress16},
    {"INC  HL", kNoOperand},
    {"INC  H", kNoOperand},
    {"DEC  H", kNoOperand},
    {"LD   H,%hXH (%hu)", kImmediate8},
    {"DAA", kNoOperand},
    {"JR   Z,%04XH (%hi)", kRelative},
    {"ADD  HL,HL", kNoOperand},
    {"LD   HL,(%hXH)", kAddress16},
    {"DEC  HL", kNoOperand},
    {"INC  L", kNoOperand},
    {"DEC  L", kNoOperand},
    {"LD   L,%hXH (%hu)", kImmediate8},
    {"CPL", kNoOperand},
    // 0x30
    {"JR   NC,%04XH (%hi)", kRelative},
    {"LD   SP,%hXH (%hu)", kImmediate16},
    {"LD   (%hXH),A", kAddress16},
    {"INC  SP", kNoOperand},
    {"INC  (HL)", kNoOperand},
    {"DEC  (HL)", kNoOperand},
    {"LD   (HL),%hXH (%hu)", kImmediate8},
    {"SCF", kNoOperand},
    {"JR   C,%04XH (%hi)", kRelative},
    {"ADD  HL,SP", kNoOperand},
    {"LD   A,(%hXH)", kAddress16},
    {"DEC  SP", kNoOperand},
    {"INC  A", kNoOperand},
    {"DEC  A", kNoOperand},
    {"LD   A,%hXH (%hu)", kImmediate8},
    {"CCF", kNoOperand},
};

// Opcodes 0xC0-0xFF. The prefix bytes CB, DD, ED and FD never reach this table.
const OpcodeText kHighOpcodes[64] = {
    {"RET  NZ", kNoOperand},
    {"POP  BC", kNoOperand},
    {"JP   NZ,%hXH", kAddress16},
    {"JP   %hXH", kAddress16},
    {"CALL NZ,%hXH", kAddress16},
    {"PUSH BC", kNoOperand},
    {"ADD  A,%hXH (%hu)", kImmediate8},
    {"RST  0H", kNoOperand},
    {"RET  Z", kNoOperand},
    {"RET", kNoOperand},
    {"JP   Z,%hXH", kAddress16},
    {nullptr, kNoOperand},
    {"CALL Z,%hXH", kAddress16},
    {"CALL %hXH", kAddress16},
    {"ADC  A,%hXH (%hu)", kImmediate8},
    {"RST  8H", kNoOperand},
    // 0xD0
    {"RET  NC", kNoOperand},
    {"POP  DE", kNoOperand},
    {"JP   NC,%hXH", kAddress16},
    {"OUT  (%hXH),A", kPort8},
    {"CALL NC,%hXH", kAddress16},
    {"PUSH DE", kNoOperand},
    {"SUB  %hXH (%hu)", kImmediate8},
    {"RST  10H", kNoOperand},
    {"RET  C", kNoOperand},
    {"EXX", kNoOperand},
    {"JP   C,%hXH", kAddress16},
    {"IN   A, (%hXH)", kPort8},
    {"CALL C,%hXH", kAddress16},
    {nullptr, kNoOperand},
    {"SBC  A,%hXH (%hu)", kImmediate8},
    {"RST  18H", kNoOperand},
    // 0xE0
    {"RET  PO", kNoOperand},
    {"POP  HL", kNoOperand},
    {"JP   PO,%hXH", kAddress16},
    {"EX   (SP),HL", kNoOperand},
    {"CALL PO,%hXH", kAddress16},
    {"PUSH HL", kNoOperand},
    {"AND  %hXH (%hu)", kImmediate8},
    {"RST  20H", kNoOperand},
    {"RET  PE", kNoOperand},
    {"JP   (HL)", kNoOperand},
    {"JP   PE,%hXH", kAddress16},
    {"EX   DE,HL", kNoOperand},
    {"CALL PE,%hXH", kAddress16},
    {nullptr, kNoOperand},
    {"XOR  %hXH (%hu)", kImmediate8},
    {"RST  28H", kNoOperand},
    // 0xF0
    {"RET  P", kNoOperand},
    {"POP  AF", kNoOperand},
    {"JP   P,%hXH", kAddress16},
    {"DI", kNoOperand},
    {"CALL P,%hXH", kAddress16},
    {"PUSH AF", kNoOperand},
    {"OR   %hXH (%hu)", kImmediate8},
    {"RST  30H", kNoOperand},
    {"RET  M", kNoOperand},
    {"LD   SP, HL", kNoOperand},
    {"JP   M,%hXH", kAddress16},
    {"EI", kNoOperand},
    {"CALL M,%hXH", kAddress16},
    {nullptr, kNoOperand},
    {"CP   %hXH (%hu)", kImmediate8},
    {"RST  38H", kNoOperand},
};

struct EdOpcodeText {
    uint8_t opcode;
    const char* format;
    OperandKind operands;
};

// The decoded second bytes after ED; every other one stays unknown.
const EdOpcodeText kEdOpcodes[] = {
    {0x41, "OUT  (C),B", kNoOperand},
    {0x42, "SBC  HL,BC", kNoOperand},
    {0x43, "LD   (%hXH),BC", kAddress16},
    {0x44, "NEG", kNoOperand},
    {0x47, "LD   I,A", kNoOperand},
    {0x48, "IN   C,(C)", kNoOperand},
    {0x49, "OUT  (C),C", kNoOperand},
    {0x4A, "ADC  HL,BC", kNoOperand},
    {0x4B, "LD   BC,(%hXH)", kAddress16},
    {0x4D, "RETI", kNoOperand},
    {0x4F, "LD   R,A", kNoOperand},
    {0x51, "OUT  (C),D", kNoOperand},
    {0x52, "SBC  HL,DE", kNoOperand},
    {0x53, "LD   (%hXH),DE", kAddress16},
    {0x56, "IM   1", kNoOperand},
    {0x57, "LD   A,I", kNoOperand},
    {0x59, "OUT  (C),E", kNoOperand},
    {0x5A, "ADC  HL,DE", kNoOperand},
    {0x5B, "LD   DE,(%hXH)", kAddress16},
    {0x5E, "IM   2", kNoOperand},
    {0x5F, "LD   A,R", kNoOperand},
    {0x61, "OUT  (C),H", kNoOperand},
    {0x64, "NEG", kNoOperand},
    {0x67, "RRD", kNoOperand},
    {0x69, "OUT  (C),L", kNoOperand},
    {0x6A, "ADC  HL,HL", kNoOperand},
    {0x6F, "RLD", kNoOperand},
    {0x71, "OUT  (C),0", kNoOperand},
    {0x73, "LD   (%hXH),SP", kAddress16},
    {0x78, "IN   A,(C)", kNoOperand},
    {0x79, "OUT  (C),A", kNoOperand},
    {0x7B, "LD   SP,(%hXH)", kAddress16},
    {0x7C, "NEG", kNoOperand},
    {0xA0, "LDI", kNoOperand},
    {0xA1, "CPI", kNoOperand},
    {0xA2, "INI", kNoOperand},
    {0xA3, "OUTI", kNoOperand},
    {0xA8, "LDD", kNoOperand},
    {0xA9, "CPD", kNoOperand},
    {0xAA, "IND", kNoOperand},
    {0xAB, "OUTD", kNoOperand},
    {0xB0, "LDIR", kNoOperand},
    {0xB1, "CPIR", kNoOperand},
    {0xB8, "LDDR", kNoOperand},
};

// Prints an opcode's text with its operands, which start at `offset` in the
// instruction; returns the number of operand bytes used.
uint8_t PrintWithOperands(const Dbg_DisassemblyLine& line, const OpcodeText& entry,
                          uint8_t offset) {
    uint8_t low = Dbg_InstructionByte(line, offset);
    uint16_t word = static_cast<uint16_t>(low | (Dbg_InstructionByte(line, offset + 1) << 8));
    switch (entry.operands) {
        case kNoOperand: Dbg_PrintText(line, "%s", entry.format); return 0;
        case kImmediate8: Dbg_PrintText(line, entry.format, low, low); break;
        case kPort8: Dbg_PrintText(line, entry.format, low); break;
        case kRelative: {
            int displacement = static_cast<int8_t>(low);
            uint16_t target = static_cast<uint16_t>(line.address + offset + 1 + displacement);
            Dbg_PrintText(line, entry.format, target, displacement);
            break;
        }
        case kImmediate16:
            Dbg_PrintText(line, entry.format, word, word);
            Dbg_ShowByte(line, offset);
            Dbg_ShowByte(line, offset + 1);
            return 2;
        case kAddress16:
            Dbg_PrintText(line, entry.format, word);
            Dbg_ShowByte(line, offset);
            Dbg_ShowByte(line, offset + 1);
            return 2;
    }
    Dbg_ShowByte(line, offset);
    return 1;
}

uint8_t DisassembleUnprefixed(const Dbg_DisassemblyLine& line, uint8_t opcode) {
    if (opcode >= 0x40 && opcode < 0x80 && opcode != 0x76) {
        Dbg_PrintText(line, "LD   %s,%s", kRegisters[(opcode >> 3) & 7], kRegisters[opcode & 7]);
        return 0;
    }
    if (opcode >= 0x80 && opcode < 0xC0) {
        Dbg_PrintText(line, "%s%s", kArithmetic[(opcode >> 3) & 7], kRegisters[opcode & 7]);
        return 0;
    }
    if (opcode == 0x76) {
        Dbg_PrintText(line, "HALT");
        return 0;
    }
    const OpcodeText& entry = opcode < 0x40 ? kLowOpcodes[opcode] : kHighOpcodes[opcode - 0xC0];
    if (!entry.format) return 0;  // a prefix byte; not reached
    return PrintWithOperands(line, entry, 1);
}

uint8_t DisassembleCB(const Dbg_DisassemblyLine& line, uint8_t opcode) {
    if (opcode >= 0x40)
        Dbg_PrintText(line, "%s  %d,%s", DBG_BIT_OPERATIONS[opcode >> 6], (opcode >> 3) & 7,
                      kRegisters[opcode & 7]);
    else
        Dbg_PrintText(line, "%s  %s", kShifts[opcode >> 3], kRegisters[opcode & 7]);
    return 0;
}

uint8_t DisassembleED(const Dbg_DisassemblyLine& line, uint8_t opcode) {
    for (const EdOpcodeText& entry : kEdOpcodes) {
        if (entry.opcode == opcode)
            return PrintWithOperands(line, {entry.format, entry.operands}, 2);
    }
    return 0;
}

}  // namespace

const char* const DBG_BIT_OPERATIONS[4] = {nullptr, "BIT", "RES", "SET"};

uint8_t Dbg_InstructionByte(const Dbg_DisassemblyLine& line, uint8_t offset) {
    return line.state->machine->ReadMem(static_cast<uint16_t>(line.address + offset));
}

void Dbg_ShowByte(const Dbg_DisassemblyLine& line, uint8_t offset) {
    static const char kDigits[] = "0123456789ABCDEF";
    uint8_t value = Dbg_InstructionByte(line, offset);
    char* column = line.text + 6 + 3 * offset;
    column[0] = kDigits[value >> 4];
    column[1] = kDigits[value & 15];
}

void Dbg_PrintText(const Dbg_DisassemblyLine& line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.text + DBG_TEXT_COLUMN, Z80_DISASSEMBLY_LINE_SIZE - DBG_TEXT_COLUMN, format,
                   arguments);
    va_end(arguments);
}

uint8_t Z80_Disassemble(Z80_State* state, uint16_t address, char* text) {
    Dbg_DisassemblyLine line = {state, address, text};
    uint8_t opcode = Dbg_InstructionByte(line, 0);
    std::snprintf(text, Z80_DISASSEMBLY_LINE_SIZE, "%04X: %02X           *** Unknown opcode ***",
                  address, opcode);
    switch (opcode) {
        case 0xCB:
            Dbg_ShowByte(line, 1);
            return static_cast<uint8_t>(2 + DisassembleCB(line, Dbg_InstructionByte(line, 1)));
        case 0xED:
            Dbg_ShowByte(line, 1);
            return static_cast<uint8_t>(2 + DisassembleED(line, Dbg_InstructionByte(line, 1)));
        case 0xDD:
            Dbg_ShowByte(line, 1);
            return static_cast<uint8_t>(2 + Dbg_DisassembleIndexed(line, kIX));
        case 0xFD:
            Dbg_ShowByte(line, 1);
            return static_cast<uint8_t>(2 + Dbg_DisassembleIndexed(line, kIY));
        default: return static_cast<uint8_t>(1 + DisassembleUnprefixed(line, opcode));
    }
}

uint8_t Z80_GetInstructionSize(Z80_State* state, uint16_t address) {
    uint8_t opcode = state->machine->ReadMem(address);
    switch (opcode) {
        case 0xC2:
        case 0xC4:
        case 0xCC:
        case 0xCD:
        case 0xD4:
        case 0xDC:
        case 0xE4:
        case 0xEC:
        case 0xF4:
        case 0xFC: return 3;
        case 0xED: {
            uint8_t second = state->machine->ReadMem(static_cast<uint16_t>(address + 1));
            if (second == 0xA0 || second == 0xB0) return 2;
            XT_Trace("Z80_GetInstructionSize(): Addr %04XH, Unknown opcode ED %02X", address,
                     second);
            return 1;
        }
        default:
            XT_Trace("Z80_GetInstructionSize(): Addr %04XH, Unknown opcode %02X", address, opcode);
            return 1;
    }
}
