#pragma once
// Pieces shared by the disassembler's instruction groups. Not for use outside
// common/monitor and its tests.
#include <cstdint>

#include "common/z80/z80.h"

// Column where the instruction text starts; the byte columns come before it.
constexpr int DBG_TEXT_COLUMN = 19;

// The line being built: where the instruction starts and the caller's buffer of
// Z80_DISASSEMBLY_LINE_SIZE characters.
struct Dbg_DisassemblyLine {
    Z80_State* state;
    uint16_t address;
    char* text;
};

// Register names of one index prefix: "IX", "IXH", "IXL" or "IY", "IYH", "IYL".
struct Dbg_IndexNames {
    const char* pair;
    const char* high;
    const char* low;
};

// Names of BIT, RES and SET by the top two bits of a CB operation byte (1-3).
extern const char* const DBG_BIT_OPERATIONS[4];

// The instruction byte at address + offset (wrapping at 64 KB), as the processor sees it.
uint8_t Dbg_InstructionByte(const Dbg_DisassemblyLine& line, uint8_t offset);
// Shows the instruction byte at address + offset in its byte column (offset 0-3).
void Dbg_ShowByte(const Dbg_DisassemblyLine& line, uint8_t offset);
// Prints the instruction text from DBG_TEXT_COLUMN, cut to the buffer's end.
void Dbg_PrintText(const Dbg_DisassemblyLine& line, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// The DD and FD groups, including DD CB and FD CB. The second byte is at offset 1.
// Returns the number of operand bytes used after it.
uint8_t Dbg_DisassembleIndexed(const Dbg_DisassemblyLine& line, const Dbg_IndexNames& names);
