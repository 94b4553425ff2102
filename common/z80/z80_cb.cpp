// The CB group: rotates and shifts, BIT, RES and SET on a register or on (HL), through
// the rotate and shift table.
#include "common/z80/z80_cb.h"

bool Z80_BitOperation(Z80_State* state, unsigned operation, unsigned selector, uint8_t& value,
                      uint8_t time) {
    return Z80_BitOperationWith(g_Z80ShiftOperations, state, operation, selector, value, time);
}

void Z80_Step_CB(Z80_State* state, uint8_t opcode) {
    Z80_CbInstructionWith(g_Z80ShiftOperations, state, opcode);
}
