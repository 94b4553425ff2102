#pragma once
// Operations shared by the instruction groups of the processor. Not for use outside
// common/z80 and its tests.
#include "common/machine/machine.h"
#include "common/z80/z80.h"

// The accumulator and the flags: the high and low halves of AF.
inline uint8_t& Z80_A(Z80_State* state) {
    return state->AF.hi;
}
inline uint8_t& Z80_F(Z80_State* state) {
    return state->AF.lo;
}

// --- Memory and fetch helpers -------------------------------------------------------
// Reads go through the read map, which every machine keeps equal to what its ReadMem
// returns: a call per byte was a quarter of the processor's time.
inline uint8_t Z80_ReadMem(Z80_State* state, uint16_t address) {
    return state->machine->readMap[address >> 14][address & 0x3FFF];
}
// Z80_WriteMem, inline for the instruction groups.
inline void Z80_WriteByte(Z80_State* state, uint16_t address, uint8_t value) {
    state->machine->WriteMem(address, value);
}
inline uint16_t Z80_ReadWord(Z80_State* state, uint16_t address) {
    uint8_t low = Z80_ReadMem(state, address);
    return static_cast<uint16_t>(low |
                                 (Z80_ReadMem(state, static_cast<uint16_t>(address + 1)) << 8));
}
inline uint8_t Z80_FetchByte(Z80_State* state) {
    return Z80_ReadMem(state, state->PC++);
}
inline uint16_t Z80_FetchWord(Z80_State* state) {
    uint16_t word = Z80_ReadWord(state, state->PC);
    state->PC = static_cast<uint16_t>(state->PC + 2);
    return word;
}
// R counts in bits 0-6 only; bit 7 keeps the value last loaded. STEPS steps at once.
inline void Z80_CountR(Z80_State* state, unsigned steps = 1) {
    state->R = static_cast<uint8_t>((state->R & 0x80) | ((state->R + steps) & 0x7F));
}

// --- Shared arithmetic (each adds its time argument to the counter) ------------------
void Z80_SetSZP(Z80_State* state, uint8_t value);
void Z80_Add8(Z80_State* state, uint8_t value, bool withCarry, uint8_t time);
void Z80_Sub8(Z80_State* state, uint8_t value, bool withCarry, bool store, uint8_t time);
void Z80_And(Z80_State* state, uint8_t value, uint8_t time);
void Z80_Xor(Z80_State* state, uint8_t value, uint8_t time);
void Z80_Or(Z80_State* state, uint8_t value, uint8_t time);
void Z80_Inc8(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_Dec8(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_Add16(Z80_State* state, uint16_t& pair, uint16_t value, bool withCarry, uint8_t time);
void Z80_Sbc16(Z80_State* state, uint16_t& pair, uint16_t value);
void Z80_Rst(Z80_State* state, uint16_t address, uint8_t time);
void Z80_CallNN(Z80_State* state);
void Z80_ExSP(Z80_State* state, uint16_t& pair, uint8_t time);

// --- Rotate and shift table, indexed by bits 3-5 of a CB opcode ----------------------
using Z80_ShiftOperation = void (*)(Z80_State* state, uint8_t& value, uint8_t time);
extern Z80_ShiftOperation g_Z80ShiftOperations[8];
void Z80_RLC(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_RRC(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_RL(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_RR(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_SLA(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_SRA(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_SLL(Z80_State* state, uint8_t& value, uint8_t time);
void Z80_SRL(Z80_State* state, uint8_t& value, uint8_t time);
// What Z80_InstallShiftOperations puts into the table, for code that indexes it by a
// number known where it is compiled.
constexpr Z80_ShiftOperation kZ80ShiftOperations[8] = {Z80_RLC, Z80_RRC, Z80_RL,  Z80_RR,
                                                       Z80_SLA, Z80_SRA, Z80_SLL, Z80_SRL};

// CB operation by the top two bits of a CB opcode: rotate/shift, BIT, RES or SET, with
// the shift or bit number in selector. Adds time; returns true when value changed and
// must be written back. Shared by the CB group and the indexed bit group.
bool Z80_BitOperation(Z80_State* state, unsigned operation, unsigned selector, uint8_t& value,
                      uint8_t time);

// --- Instruction groups ---------------------------------------------------------------
void Z80_SetPrefix(Z80_State* state, uint8_t byte);
// After an instruction has handed its time to the devices: takes interrupts while
// enabled, from the machine's ACKNOWLEDGE result on.
void Z80_TakeInterrupts(Z80_State* state, uint8_t acknowledge);
// The end of a whole instruction begun at NOTED_TIME: the EI delay counts down, the
// devices get the instruction's time and interrupts are taken while enabled.
inline void Z80_EndInstruction(Z80_State* state, uint32_t notedTime) {
    if (state->IFF1 > 1) --state->IFF1;
    state->machine->Update(static_cast<uint8_t>(state->time - notedTime));
    if (state->IFF1 == 1) {
        uint8_t acknowledge = state->machine->IntAck();
        if (acknowledge != 0) Z80_TakeInterrupts(state, acknowledge);
    }
}
// The opcode byte after the collected prefixes (in state->prefix, cleared here): counts
// R and runs the instruction in its group.
void Z80_Dispatch(Z80_State* state, uint8_t byte);
// A step that set a stop reason ends the run; an unknown instruction is shown,
// prefixes included, as if it had not begun (R as it was when its opcode's step began).
inline void Z80_EndRunOnStop(Z80_State* state, uint8_t notedR) {
    if (state->stopReason == Z80_STOP_UNKNOWN_INSTRUCTION) {
        state->PC = state->startPC;
        state->R = notedR;
    }
    state->running = 0;
}
void Z80_Step_Regular(Z80_State* state, uint8_t opcode);
void Z80_Step_CB(Z80_State* state, uint8_t opcode);
void Z80_Step_ED(Z80_State* state, uint8_t opcode);
// Called with the byte after DD/FD, or with the displacement for DD CB / FD CB.
void Z80_Step_DD_FD(Z80_State* state, uint8_t byte);
