// The DD and FD groups: instructions on IX or IY, their halves and (IX+d)/(IY+d),
// and the indexed bit group DD CB d op / FD CB d op. Forms this processor does not
// implement run as their unprefixed counterpart and then stop the machine.
#include "common/xtools/xtools.h"
#include "common/z80/z80_operands.h"
#include "common/z80/z80_timing.h"

namespace {

// The prefix byte that selected the index register, for traces.
uint8_t PrefixByte(const Z80_State* state) {
    return (state->prefix & Z80_PREFIX_DD) ? 0xDD : 0xFD;
}

Z80_Pair& IndexRegister(Z80_State* state) {
    return (state->prefix & Z80_PREFIX_DD) ? state->IX : state->IY;
}

// Reads the displacement at PC and returns the address it selects.
uint16_t IndexedAddress(Z80_State* state, const Z80_Pair& index) {
    int8_t displacement = static_cast<int8_t>(Z80_FetchByte(state));
    return static_cast<uint16_t>(index.w + displacement);
}

// The register table of the indexed forms: the index register's halves in place of H
// and L. Code 6 never comes here: every form that names it uses (IX+d).
uint8_t& IndexedRegister(Z80_State* state, Z80_Pair& index, unsigned code) {
    switch (code & 7) {
        case 4: return index.hi;
        case 5: return index.lo;
        default: return Z80_RegisterByCode(state, code & 7);
    }
}

// DD CB d op / FD CB d op; the displacement has already been fetched by the step.
void StepIndexedBit(Z80_State* state, uint8_t displacement) {
    uint16_t address =
        static_cast<uint16_t>(IndexRegister(state).w + static_cast<int8_t>(displacement));
    uint8_t op = Z80_FetchByte(state);
    if ((op & 7) != 6) {
        XT_Trace("* Z80_Step_DD_FD(): PC=%04XH, UNKNOWN INSTRUCTION: %02X CB %02X",
                 static_cast<uint16_t>(state->PC - 3), PrefixByte(state), op);
        Z80_SetStopReason(state, Z80_STOP_UNKNOWN_INSTRUCTION);
        return;
    }
    uint8_t value = Z80_ReadMem(state, address);
    unsigned operation = op >> 6;
    if (Z80_BitOperation(state, operation, (op >> 3) & 7, value, kZ80IndexedBitTime[operation]))
        Z80_WriteByte(state, address, value);
}

// A DD/FD form this processor does not implement: run it without the prefix, then
// stop so the user sees it.
void StepUnknown(Z80_State* state, uint8_t opcode) {
    XT_Trace("* Z80_Step_DD_FD(): PC=%04XH, UNKNOWN INSTRUCTION: %02X %02X",
             static_cast<uint16_t>(state->PC - 2), PrefixByte(state), opcode);
    state->time += 1;
    Z80_Step_Regular(state, opcode);
    Z80_SetStopReason(state, Z80_STOP_INVALID_PREFIX);
}

}  // namespace

void Z80_Step_DD_FD(Z80_State* state, uint8_t byte) {
    if (state->prefix & Z80_PREFIX_CB) {
        StepIndexedBit(state, byte);
        return;
    }
    Z80_Pair& index = IndexRegister(state);
    const uint8_t opcode = byte;
    switch (opcode) {
        case 0x09: Z80_Add16(state, index.w, state->BC.w, false, 4); break;
        case 0x19: Z80_Add16(state, index.w, state->DE.w, false, 4); break;
        case 0x29: Z80_Add16(state, index.w, index.w, false, 4); break;
        case 0x39: Z80_Add16(state, index.w, state->SP, false, 4); break;

        case 0x21:  // LD IX,nn
            index.w = Z80_FetchWord(state);
            state->time += 4;
            break;
        case 0x22: {  // LD (nn),IX
            uint16_t address = Z80_FetchWord(state);
            Z80_WriteByte(state, address, index.lo);
            Z80_WriteByte(state, static_cast<uint16_t>(address + 1), index.hi);
            state->time += 6;
            break;
        }
        case 0x2A:  // LD IX,(nn)
            index.w = Z80_ReadWord(state, Z80_FetchWord(state));
            state->time += 6;
            break;
        case 0x23:
        case 0x2B:  // INC IX, DEC IX
            index.w = static_cast<uint16_t>(opcode == 0x23 ? index.w + 1 : index.w - 1);
            state->intExtra = 0;
            state->time += 3;
            break;
        case 0x24: Z80_Inc8(state, index.hi, 2); break;
        case 0x2C: Z80_Inc8(state, index.lo, 2); break;
        case 0x25: Z80_Dec8(state, index.hi, 2); break;
        case 0x2D: Z80_Dec8(state, index.lo, 2); break;
        case 0x26:
        case 0x2E:  // LD IXH,n; LD IXL,n
            IndexedRegister(state, index, opcode >> 3) = Z80_FetchByte(state);
            state->time += 3;
            break;

        case 0x34:
        case 0x35: {  // INC (IX+d), DEC (IX+d)
            uint16_t address = IndexedAddress(state, index);
            uint8_t value = Z80_ReadMem(state, address);
            if (opcode == 0x34)
                Z80_Inc8(state, value, 6);
            else
                Z80_Dec8(state, value, 6);
            Z80_WriteByte(state, address, value);
            break;
        }
        case 0x36: {  // LD (IX+d),n: the displacement comes first
            uint16_t address = IndexedAddress(state, index);
            Z80_WriteByte(state, address, Z80_FetchByte(state));
            state->time += 6;
            break;
        }

        // LD r,r' where r or r' names IXH or IXL (neither is (HL)).
        case 0x44:
        case 0x4C:
        case 0x54:
        case 0x5C:
        case 0x64:
        case 0x6C:
        case 0x7C:
        case 0x45:
        case 0x4D:
        case 0x55:
        case 0x5D:
        case 0x65:
        case 0x6D:
        case 0x7D:
        case 0x60:
        case 0x61:
        case 0x62:
        case 0x63:
        case 0x67:
        case 0x68:
        case 0x69:
        case 0x6A:
        case 0x6B:
        case 0x6F:
            IndexedRegister(state, index, opcode >> 3) = IndexedRegister(state, index, opcode);
            state->time += 2;
            break;

        // LD r,(IX+d) and LD (IX+d),r with the real H and L.
        case 0x46:
        case 0x4E:
        case 0x56:
        case 0x5E:
        case 0x66:
        case 0x6E:
        case 0x7E:
            Z80_RegisterByCode(state, (opcode >> 3) & 7) =
                Z80_ReadMem(state, IndexedAddress(state, index));
            state->time += 5;
            break;
        case 0x70:
        case 0x71:
        case 0x72:
        case 0x73:
        case 0x74:
        case 0x75:
        case 0x77:
            Z80_WriteByte(state, IndexedAddress(state, index),
                          Z80_RegisterByCode(state, opcode & 7));
            state->time += 5;
            break;

        // Arithmetic with IXH or IXL; the other half-register forms are left unknown.
        case 0x84:
        case 0x85:
        case 0x8C:
        case 0x94:
        case 0x95:
        case 0xA4:
        case 0xAC:
        case 0xAD:
        case 0xB4:
        case 0xB5:
        case 0xBC:
        case 0xBD:
            Z80_AluByCode(state, (opcode >> 3) & 7, IndexedRegister(state, index, opcode), 2);
            break;
        case 0x86:
        case 0x8E:
        case 0x96:
        case 0x9E:
        case 0xA6:
        case 0xAE:
        case 0xB6:
        case 0xBE:
            Z80_AluByCode(state, (opcode >> 3) & 7,
                          Z80_ReadMem(state, IndexedAddress(state, index)), 5);
            break;

        case 0xE1:  // POP IX: as POP HL, plus one microsecond
            index.w = Z80_Pop(state);
            state->time += 4;
            break;
        case 0xE5:  // PUSH IX: as PUSH HL, plus one microsecond
            Z80_Push(state, index.w);
            state->time += 5;
            break;
        case 0xE3: Z80_ExSP(state, index.w, 7); break;
        case 0xE9:  // JP (IX)
            state->PC = index.w;
            state->time += 2;
            break;
        case 0xF9:  // LD SP,IX
            state->SP = index.w;
            state->intExtra = 0;
            state->time += 3;
            break;

        default: StepUnknown(state, opcode); break;
    }
}
