#pragma once
// The CB group's operations, inline so that the instruction loop can compile each CB
// opcode on its own; the group's functions in z80_cb.cpp are these with the rotate and
// shift table. The top two bits of the opcode choose the operation, bits 3-5 the shift
// or the bit number, bits 0-2 the operand. There are no unknown codes.
#include "common/z80/z80_operands.h"
#include "common/z80/z80_timing.h"

enum Z80_CbOperation : uint8_t { kZ80RotateShift = 0, kZ80Bit = 1, kZ80Reset = 2, kZ80Set = 3 };

// Z80_BitOperation with the rotates and shifts taken from SHIFTS.
inline __attribute__((always_inline)) bool Z80_BitOperationWith(const Z80_ShiftOperation* shifts,
                                                                Z80_State* state,
                                                                unsigned operation,
                                                                unsigned selector, uint8_t& value,
                                                                uint8_t time) {
    uint8_t mask = static_cast<uint8_t>(1u << selector);
    switch (operation) {
        case kZ80RotateShift: shifts[selector](state, value, time); return true;
        case kZ80Bit: {  // S, P/V and C stay as they were
            uint8_t flags =
                static_cast<uint8_t>((Z80_F(state) & ~(Z80_FLAG_Z | Z80_FLAG_N)) | Z80_FLAG_H);
            if ((value & mask) == 0) flags |= Z80_FLAG_Z;
            Z80_F(state) = flags;
            state->time += time;
            return false;
        }
        case kZ80Reset: value = static_cast<uint8_t>(value & ~mask); break;
        default: value = static_cast<uint8_t>(value | mask); break;
    }
    state->time += time;
    return true;
}

// Z80_Step_CB with the rotates and shifts taken from SHIFTS.
inline __attribute__((always_inline)) void Z80_CbInstructionWith(const Z80_ShiftOperation* shifts,
                                                                 Z80_State* state, uint8_t opcode) {
    unsigned operation = opcode >> 6;
    unsigned selector = (opcode >> 3) & 7;
    unsigned code = opcode & 7;
    if (code == kZ80CodeMemoryHL) {
        uint8_t value = Z80_ReadMem(state, state->HL.w);
        if (Z80_BitOperationWith(shifts, state, operation, selector, value,
                                 kZ80CbMemoryTime[operation]))
            Z80_WriteByte(state, state->HL.w, value);
        return;
    }
    Z80_BitOperationWith(shifts, state, operation, selector, Z80_RegisterByCode(state, code),
                         kZ80CbRegisterTime);
}
