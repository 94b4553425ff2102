#pragma once
// Operand decoding shared by the unprefixed, CB and ED groups: the register code r
// (B, C, D, E, H, L, (HL), A), the pair codes rp (BC, DE, HL, SP) and the PUSH/POP
// pairs (BC, DE, HL, AF), the condition codes, and the stack. Registers are reached
// through byte offsets into the record, so a family of opcodes shares one case.
#include <cstddef>
#include <cstdint>

#include "common/z80/z80_internal.h"

// Byte offsets of the registers inside the record. The pairs keep their low byte
// first, so the high half (B, D, H, A) sits one byte after the pair.
constexpr size_t kZ80OffsetBC = offsetof(Z80_State, BC);
constexpr size_t kZ80OffsetDE = offsetof(Z80_State, DE);
constexpr size_t kZ80OffsetHL = offsetof(Z80_State, HL);
constexpr size_t kZ80OffsetAF = offsetof(Z80_State, AF);
constexpr size_t kZ80OffsetSP = offsetof(Z80_State, SP);

// Register code 6 is (HL); callers handle it before asking for a register.
constexpr uint8_t kZ80CodeMemoryHL = 6;

inline uint8_t& Z80_RegisterByCode(Z80_State* state, unsigned code) {
    static constexpr size_t kOffsets[8] = {kZ80OffsetBC + 1, kZ80OffsetBC,     kZ80OffsetDE + 1,
                                           kZ80OffsetDE,     kZ80OffsetHL + 1, kZ80OffsetHL,
                                           kZ80OffsetHL,     kZ80OffsetAF + 1};
    return reinterpret_cast<uint8_t*>(state)[kOffsets[code]];
}

// rp of LD rr,nn, INC/DEC rr, ADD HL,rr and the ED 16-bit forms.
inline uint16_t& Z80_PairByCode(Z80_State* state, unsigned code) {
    static constexpr size_t kOffsets[4] = {kZ80OffsetBC, kZ80OffsetDE, kZ80OffsetHL, kZ80OffsetSP};
    return *reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(state) + kOffsets[code]);
}

// The pair of PUSH and POP, where code 3 is AF.
inline uint16_t& Z80_StackPairByCode(Z80_State* state, unsigned code) {
    static constexpr size_t kOffsets[4] = {kZ80OffsetBC, kZ80OffsetDE, kZ80OffsetHL, kZ80OffsetAF};
    return *reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(state) + kOffsets[code]);
}

// Condition code cc: true when (F AND mask) equals value.
inline bool Z80_ConditionHolds(const Z80_State* state, unsigned code) {
    static constexpr uint8_t kMasks[8] = {Z80_FLAG_Z,  Z80_FLAG_Z,  Z80_FLAG_C, Z80_FLAG_C,
                                          Z80_FLAG_PV, Z80_FLAG_PV, Z80_FLAG_S, Z80_FLAG_S};
    uint8_t mask = kMasks[code];
    return (state->AF.lo & mask) == ((code & 1) ? mask : 0);
}

inline void Z80_Push(Z80_State* state, uint16_t value) {
    state->SP = static_cast<uint16_t>(state->SP - 1);
    Z80_WriteByte(state, state->SP, static_cast<uint8_t>(value >> 8));
    state->SP = static_cast<uint16_t>(state->SP - 1);
    Z80_WriteByte(state, state->SP, static_cast<uint8_t>(value));
}

inline uint16_t Z80_Pop(Z80_State* state) {
    uint16_t value = Z80_ReadWord(state, state->SP);
    state->SP = static_cast<uint16_t>(state->SP + 2);
    return value;
}

// Part of an instruction's time handed to the devices before its port access; the
// counter grows only by the rest.
inline void Z80_UpdateAhead(Z80_State* state, uint8_t microseconds) {
    state->machine->Update(microseconds);
}

// IFF1 as EI sets it: the step counts it down after each whole instruction, so
// interrupts are taken from the end of the instruction after EI on (IFF1 = 1).
constexpr uint8_t kZ80EnableDelay = 3;

// Bits 5 and 3 of F are never computed: every flag operation carries them over.
constexpr uint8_t kZ80FlagsUndocumented = 0x28;

// ADD, ADC, SUB, SBC, AND, XOR, OR, CP by the operation number in bits 3-5.
void Z80_AluByCode(Z80_State* state, unsigned operation, uint8_t value, uint8_t time);
// DAA; its time comes from the caller's table.
void Z80_Daa(Z80_State* state);
// Fills g_Z80ShiftOperations; called by Z80_Init.
void Z80_InstallShiftOperations();
