// Arithmetic, logic, rotate and shift operations shared by every instruction group.
// Bits 5 and 3 of F are never computed here: each operation carries them over.
#include <array>

#include "common/z80/z80_operands.h"

namespace {

constexpr uint8_t kFlagsSZ = Z80_FLAG_S | Z80_FLAG_Z;
constexpr uint8_t kFlagsSZP = Z80_FLAG_S | Z80_FLAG_Z | Z80_FLAG_PV;

// S, Z and even parity of every byte value.
constexpr std::array<uint8_t, 256> MakeSZPTable() {
    std::array<uint8_t, 256> table{};
    for (int value = 0; value < 256; ++value) {
        int bits = 0;
        for (int bit = 0; bit < 8; ++bit) bits += (value >> bit) & 1;
        uint8_t flags = static_cast<uint8_t>(value & Z80_FLAG_S);
        if (value == 0) flags |= Z80_FLAG_Z;
        if ((bits & 1) == 0) flags |= Z80_FLAG_PV;
        table[value] = flags;
    }
    return table;
}
constexpr std::array<uint8_t, 256> kSZP = MakeSZPTable();

inline uint8_t CarryIn(Z80_State* state, bool withCarry) {
    return withCarry ? (Z80_F(state) & Z80_FLAG_C) : 0;
}

// Common tail of the eight rotates and shifts: C from the bit moved out, H and N
// cleared, S, Z and parity from the result.
inline void SetShiftResult(Z80_State* state, uint8_t& value, unsigned result, uint8_t carry,
                           uint8_t time) {
    value = static_cast<uint8_t>(result);
    Z80_F(state) =
        static_cast<uint8_t>((Z80_F(state) & kZ80FlagsUndocumented) | kSZP[value] | carry);
    state->time += time;
}

}  // namespace

Z80_ShiftOperation g_Z80ShiftOperations[8];

// Called by Z80_Init.
void Z80_InstallShiftOperations() {
    for (int index = 0; index < 8; ++index)
        g_Z80ShiftOperations[index] = kZ80ShiftOperations[index];
}

void Z80_SetSZP(Z80_State* state, uint8_t value) {
    Z80_F(state) = static_cast<uint8_t>((Z80_F(state) & ~kFlagsSZP) | kSZP[value]);
}

void Z80_Add8(Z80_State* state, uint8_t value, bool withCarry, uint8_t time) {
    uint8_t a = Z80_A(state);
    uint8_t carry = CarryIn(state, withCarry);
    unsigned sum = a + value + carry;
    uint8_t result = static_cast<uint8_t>(sum);
    uint8_t flags = (Z80_F(state) & kZ80FlagsUndocumented) | (kSZP[result] & kFlagsSZ);
    if ((a & 0x0F) + (value & 0x0F) + carry >= 0x10) flags |= Z80_FLAG_H;
    if (sum > 0xFF) flags |= Z80_FLAG_C;
    if (~(a ^ value) & (a ^ result) & 0x80) flags |= Z80_FLAG_PV;
    Z80_A(state) = result;
    Z80_F(state) = flags;
    state->time += time;
}

void Z80_Sub8(Z80_State* state, uint8_t value, bool withCarry, bool store, uint8_t time) {
    uint8_t a = Z80_A(state);
    uint8_t carry = CarryIn(state, withCarry);
    uint8_t result = static_cast<uint8_t>(a - value - carry);
    uint8_t flags = (Z80_F(state) & kZ80FlagsUndocumented) | (kSZP[result] & kFlagsSZ) | Z80_FLAG_N;
    if ((a & 0x0F) < (value & 0x0F) + carry) flags |= Z80_FLAG_H;
    if (a < value + carry) flags |= Z80_FLAG_C;
    if ((a ^ value) & (a ^ result) & 0x80) flags |= Z80_FLAG_PV;
    if (store) Z80_A(state) = result;
    Z80_F(state) = flags;
    state->time += time;
}

void Z80_And(Z80_State* state, uint8_t value, uint8_t time) {
    Z80_A(state) &= value;
    Z80_F(state) = (Z80_F(state) & kZ80FlagsUndocumented) | kSZP[Z80_A(state)] | Z80_FLAG_H;
    state->time += time;
}

void Z80_Xor(Z80_State* state, uint8_t value, uint8_t time) {
    Z80_A(state) ^= value;
    Z80_F(state) = (Z80_F(state) & kZ80FlagsUndocumented) | kSZP[Z80_A(state)];
    state->time += time;
}

void Z80_Or(Z80_State* state, uint8_t value, uint8_t time) {
    Z80_A(state) |= value;
    Z80_F(state) = (Z80_F(state) & kZ80FlagsUndocumented) | kSZP[Z80_A(state)];
    state->time += time;
}

void Z80_AluByCode(Z80_State* state, unsigned operation, uint8_t value, uint8_t time) {
    switch (operation) {
        case 0: Z80_Add8(state, value, false, time); break;
        case 1: Z80_Add8(state, value, true, time); break;
        case 2: Z80_Sub8(state, value, false, true, time); break;
        case 3: Z80_Sub8(state, value, true, true, time); break;
        case 4: Z80_And(state, value, time); break;
        case 5: Z80_Xor(state, value, time); break;
        case 6: Z80_Or(state, value, time); break;
        default: Z80_Sub8(state, value, false, false, time); break;  // CP
    }
}

void Z80_Inc8(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t old = value;
    value = static_cast<uint8_t>(old + 1);
    uint8_t flags =
        (Z80_F(state) & (Z80_FLAG_C | kZ80FlagsUndocumented)) | (kSZP[value] & kFlagsSZ);
    if ((old & 0x0F) == 0x0F) flags |= Z80_FLAG_H;
    if (old == 0x7F) flags |= Z80_FLAG_PV;
    Z80_F(state) = flags;
    state->time += time;
}

void Z80_Dec8(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t old = value;
    value = static_cast<uint8_t>(old - 1);
    uint8_t flags = (Z80_F(state) & (Z80_FLAG_C | kZ80FlagsUndocumented)) |
                    (kSZP[value] & kFlagsSZ) | Z80_FLAG_N;
    if ((old & 0x0F) == 0) flags |= Z80_FLAG_H;
    if (old == 0x80) flags |= Z80_FLAG_PV;
    Z80_F(state) = flags;
    state->time += time;
}

void Z80_Add16(Z80_State* state, uint16_t& pair, uint16_t value, bool withCarry, uint8_t time) {
    uint16_t old = pair;
    uint8_t carry = CarryIn(state, withCarry);
    uint32_t sum = static_cast<uint32_t>(old) + value + carry;
    uint16_t result = static_cast<uint16_t>(sum);
    uint8_t flags = Z80_F(state) & ~(Z80_FLAG_H | Z80_FLAG_N | Z80_FLAG_C);
    if (sum > 0xFFFF) flags |= Z80_FLAG_C;
    if ((old & 0x0FFF) + (value & 0x0FFF) + carry > 0x0FFF) flags |= Z80_FLAG_H;
    if (withCarry) {
        flags &= ~kFlagsSZP;
        if (result == 0) flags |= Z80_FLAG_Z;
        if (result & 0x8000) flags |= Z80_FLAG_S;
        if (~(old ^ value) & (old ^ result) & 0x8000) flags |= Z80_FLAG_PV;
    }
    pair = result;
    Z80_F(state) = flags;
    state->time += time;
}

void Z80_Sbc16(Z80_State* state, uint16_t& pair, uint16_t value) {
    uint16_t old = pair;
    uint8_t carry = Z80_F(state) & Z80_FLAG_C;
    uint16_t result = static_cast<uint16_t>(old - value - carry);
    uint8_t flags = (Z80_F(state) & kZ80FlagsUndocumented) | Z80_FLAG_N;
    if (old < value + carry) flags |= Z80_FLAG_C;
    if ((old & 0x0FFF) < (value & 0x0FFF) + carry) flags |= Z80_FLAG_H;
    if ((old ^ value) & (old ^ result) & 0x8000) flags |= Z80_FLAG_PV;
    if (result & 0x8000) flags |= Z80_FLAG_S;
    if (result == 0) flags |= Z80_FLAG_Z;
    pair = result;
    Z80_F(state) = flags;
}

void Z80_Rst(Z80_State* state, uint16_t address, uint8_t time) {
    Z80_Push(state, state->PC);
    state->PC = address;
    state->time += time;
}

void Z80_CallNN(Z80_State* state) {
    uint16_t target = Z80_FetchWord(state);
    Z80_Rst(state, target, 5);
}

void Z80_ExSP(Z80_State* state, uint16_t& pair, uint8_t time) {
    uint16_t stacked = Z80_ReadWord(state, state->SP);
    Z80_WriteByte(state, state->SP, static_cast<uint8_t>(pair));
    Z80_WriteByte(state, static_cast<uint16_t>(state->SP + 1), static_cast<uint8_t>(pair >> 8));
    pair = stacked;
    state->intExtra = 0;
    state->time += time;
}

// Decimal adjust after an addition (N = 0) or a subtraction (N = 1), by the published
// rule: a low-digit correction of 6 when H is set or the digit is above 9, a high
// correction of 0x60 when C is set or A is above 0x99 (which also sets C).
void Z80_Daa(Z80_State* state) {
    uint8_t a = Z80_A(state);
    uint8_t flags = Z80_F(state);
    bool subtract = flags & Z80_FLAG_N;
    uint8_t correction = 0;
    uint8_t carry = flags & Z80_FLAG_C;
    if ((flags & Z80_FLAG_H) || (a & 0x0F) > 9) correction |= 0x06;
    if (carry || a > 0x99) {
        correction |= 0x60;
        carry = Z80_FLAG_C;
    }
    bool halfCarry = subtract ? ((flags & Z80_FLAG_H) && (a & 0x0F) < 6) : (a & 0x0F) > 9;
    a = static_cast<uint8_t>(subtract ? a - correction : a + correction);
    Z80_A(state) = a;
    Z80_F(state) = static_cast<uint8_t>(kSZP[a] | (halfCarry ? Z80_FLAG_H : 0) |
                                        (subtract ? Z80_FLAG_N : 0) | carry);
}

// --- Rotates and shifts (CB group and the indexed bit group) -----------------------

void Z80_RLC(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t out = value >> 7;
    SetShiftResult(state, value, (value << 1) | out, out, time);
}

void Z80_RRC(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t out = value & 1;
    SetShiftResult(state, value, (value >> 1) | (out << 7), out, time);
}

void Z80_RL(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t out = value >> 7;
    SetShiftResult(state, value, (value << 1) | (Z80_F(state) & Z80_FLAG_C), out, time);
}

void Z80_RR(Z80_State* state, uint8_t& value, uint8_t time) {
    uint8_t out = value & 1;
    SetShiftResult(state, value, (value >> 1) | ((Z80_F(state) & Z80_FLAG_C) << 7), out, time);
}

void Z80_SLA(Z80_State* state, uint8_t& value, uint8_t time) {
    SetShiftResult(state, value, value << 1, value >> 7, time);
}

void Z80_SRA(Z80_State* state, uint8_t& value, uint8_t time) {
    SetShiftResult(state, value, (value >> 1) | (value & 0x80), value & 1, time);
}

void Z80_SLL(Z80_State* state, uint8_t& value, uint8_t time) {
    SetShiftResult(state, value, (value << 1) | 1, value >> 7, time);
}

void Z80_SRL(Z80_State* state, uint8_t& value, uint8_t time) {
    SetShiftResult(state, value, value >> 1, value & 1, time);
}
