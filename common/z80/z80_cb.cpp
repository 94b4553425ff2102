// The CB group: rotates and shifts, BIT, RES and SET on a register or on (HL). The top
// two bits of the opcode choose the operation, bits 3-5 the shift or the bit number,
// bits 0-2 the operand. There are no unknown codes.
#include "common/z80/z80_operands.h"
#include "common/z80/z80_timing.h"

namespace {
enum CbOperation : uint8_t { kRotateShift = 0, kBit = 1, kReset = 2, kSet = 3 };
}  // namespace

bool Z80_BitOperation(Z80_State* state, unsigned operation, unsigned selector, uint8_t& value,
                      uint8_t time) {
    uint8_t mask = static_cast<uint8_t>(1u << selector);
    switch (operation) {
        case kRotateShift: g_Z80ShiftOperations[selector](state, value, time); return true;
        case kBit: {  // S, P/V and C stay as they were
            uint8_t flags =
                static_cast<uint8_t>((Z80_F(state) & ~(Z80_FLAG_Z | Z80_FLAG_N)) | Z80_FLAG_H);
            if ((value & mask) == 0) flags |= Z80_FLAG_Z;
            Z80_F(state) = flags;
            state->time += time;
            return false;
        }
        case kReset: value = static_cast<uint8_t>(value & ~mask); break;
        default: value = static_cast<uint8_t>(value | mask); break;
    }
    state->time += time;
    return true;
}

void Z80_Step_CB(Z80_State* state, uint8_t opcode) {
    unsigned operation = opcode >> 6;
    unsigned selector = (opcode >> 3) & 7;
    unsigned code = opcode & 7;
    if (code == kZ80CodeMemoryHL) {
        uint8_t value = Z80_ReadMem(state, state->HL.w);
        if (Z80_BitOperation(state, operation, selector, value, kZ80CbMemoryTime[operation]))
            Z80_WriteByte(state, state->HL.w, value);
        return;
    }
    Z80_BitOperation(state, operation, selector, Z80_RegisterByCode(state, code),
                     kZ80CbRegisterTime);
}
