// The ED group: port I/O through C, 16-bit arithmetic with carry, 16-bit loads through
// memory, NEG, I and R transfers, RETI, IM 1 and 2, RRD and RLD, and the block
// instructions. Everything else (IM 0, RETN, the repeating I/O blocks and the mirror
// codes) is reported and stops the processor, so software that needs it is noticed.
#include "common/xtools/xtools.h"
#include "common/z80/z80_operands.h"
#include "common/z80/z80_timing.h"

namespace {

constexpr uint8_t kKeepCarry = Z80_FLAG_C | kZ80FlagsUndocumented;

inline void Step(uint16_t& pair, bool down) {
    pair = static_cast<uint16_t>(down ? pair - 1 : pair + 1);
}

// LD A,I and LD A,R: S and Z from A, P/V from IFF2, H and N cleared.
void LoadAFromSpecial(Z80_State* state, uint8_t value) {
    Z80_A(state) = value;
    Z80_F(state) &= kKeepCarry;
    Z80_SetSZP(state, value);
    Z80_F(state) =
        static_cast<uint8_t>((Z80_F(state) & ~Z80_FLAG_PV) | (state->IFF2 ? Z80_FLAG_PV : 0));
    state->intExtra = 0;
}

// LDI, LDD, LDIR, LDDR. Returns true when a repeating form must run again.
bool BlockMove(Z80_State* state, bool down, bool repeat) {
    Z80_WriteByte(state, state->DE.w, Z80_ReadMem(state, state->HL.w));
    Step(state->HL.w, down);
    Step(state->DE.w, down);
    --state->BC.w;
    uint8_t flags = Z80_F(state) & ~(Z80_FLAG_H | Z80_FLAG_N | Z80_FLAG_PV);
    if (state->BC.w != 0) flags |= Z80_FLAG_PV;
    Z80_F(state) = flags;
    state->intExtra = 0;
    return repeat && state->BC.w != 0;
}

// CPI, CPD, CPIR, CPDR. Returns true when a repeating form must run again.
bool BlockCompare(Z80_State* state, bool down, bool repeat) {
    uint8_t value = Z80_ReadMem(state, state->HL.w);
    Step(state->HL.w, down);
    --state->BC.w;
    uint8_t difference = static_cast<uint8_t>(Z80_A(state) - value);
    uint8_t flags = (Z80_F(state) & kKeepCarry) | Z80_FLAG_N | (difference & Z80_FLAG_S);
    if (difference == 0) flags |= Z80_FLAG_Z;
    if ((Z80_A(state) & 0x0F) < (value & 0x0F)) flags |= Z80_FLAG_H;
    if (state->BC.w != 0) flags |= Z80_FLAG_PV;
    Z80_F(state) = flags;
    return repeat && difference != 0 && state->BC.w != 0;
}

// Z from the decremented B and N set by INI, IND, OUTI, OUTD; the rest stays.
inline void SetBlockPortFlags(Z80_State* state) {
    uint8_t flags = Z80_F(state) & ~Z80_FLAG_Z;
    if (state->BC.hi == 0) flags |= Z80_FLAG_Z;
    Z80_F(state) = flags | Z80_FLAG_N;
}

void Unknown(Z80_State* state, uint8_t opcode) {
    XT_Trace("* Z80_Step_ED(): PC=%04XH, UNKNOWN INSTRUCTION: ED %02X",
             static_cast<uint16_t>(state->PC - 1), opcode);
    Z80_SetStopReason(state, Z80_STOP_UNKNOWN_INSTRUCTION);
}

}  // namespace

void Z80_Step_ED(Z80_State* state, uint8_t opcode) {
    const uint8_t time = kZ80EdTime[opcode];
    switch (opcode) {
        case 0x40:
        case 0x48:
        case 0x50:
        case 0x58:
        case 0x60:
        case 0x68:
        case 0x78: {
            Z80_UpdateAhead(state, kZ80PortAhead);  // IN r,(C)
            uint8_t value = state->machine->In(state->BC.w);
            Z80_RegisterByCode(state, (opcode >> 3) & 7) = value;
            Z80_F(state) &= kKeepCarry;
            Z80_SetSZP(state, value);
            state->time += time - kZ80PortAhead;
            return;
        }
        case 0x41:
        case 0x49:
        case 0x51:
        case 0x59:
        case 0x61:
        case 0x69:
        case 0x79:
            Z80_UpdateAhead(state, kZ80PortAhead);  // OUT (C),r
            state->machine->Out(state->BC.w, Z80_RegisterByCode(state, (opcode >> 3) & 7));
            state->time += time - kZ80PortAhead;
            return;
        case 0x71: state->machine->Out(state->BC.w, 0); break;  // OUT (C),0

        case 0x42:
        case 0x52:
        case 0x62:
        case 0x72: Z80_Sbc16(state, state->HL.w, Z80_PairByCode(state, (opcode >> 4) & 3)); break;
        case 0x4A:
        case 0x5A:
        case 0x6A:
        case 0x7A:
            Z80_Add16(state, state->HL.w, Z80_PairByCode(state, (opcode >> 4) & 3), true, time);
            return;

        case 0x43:
        case 0x53:
        case 0x63:
        case 0x73: {  // LD (nn),rp
            uint16_t address = Z80_FetchWord(state);
            uint16_t value = Z80_PairByCode(state, (opcode >> 4) & 3);
            Z80_WriteByte(state, address, static_cast<uint8_t>(value));
            Z80_WriteByte(state, static_cast<uint16_t>(address + 1),
                          static_cast<uint8_t>(value >> 8));
            break;
        }
        case 0x4B:
        case 0x5B:
        case 0x6B:
        case 0x7B:  // LD rp,(nn)
            Z80_PairByCode(state, (opcode >> 4) & 3) = Z80_ReadWord(state, Z80_FetchWord(state));
            break;

        case 0x44:
        case 0x64:
        case 0x7C: {  // NEG
            uint8_t old = Z80_A(state);
            Z80_A(state) = 0;
            Z80_Sub8(state, old, false, true, time);
            return;
        }

        case 0x47:
            state->I = Z80_A(state);
            state->intExtra = 0;
            break;
        case 0x4F:
            state->R = Z80_A(state);
            state->intExtra = 0;
            break;
        case 0x57: LoadAFromSpecial(state, state->I); break;
        case 0x5F: LoadAFromSpecial(state, state->R); break;

        case 0x4D:  // RETI
            state->PC = Z80_Pop(state);
            state->machine->RetI();
            break;
        case 0x56: state->IM = 1; break;
        case 0x5E: state->IM = 2; break;

        case 0x67: {  // RRD
            uint8_t memory = Z80_ReadMem(state, state->HL.w);
            Z80_WriteByte(state, state->HL.w,
                          static_cast<uint8_t>((memory >> 4) | (Z80_A(state) << 4)));
            Z80_A(state) = static_cast<uint8_t>((Z80_A(state) & 0xF0) | (memory & 0x0F));
            Z80_F(state) &= kKeepCarry;
            Z80_SetSZP(state, Z80_A(state));
            break;
        }
        case 0x6F: {  // RLD
            uint8_t memory = Z80_ReadMem(state, state->HL.w);
            Z80_WriteByte(state, state->HL.w,
                          static_cast<uint8_t>((memory << 4) | (Z80_A(state) & 0x0F)));
            Z80_A(state) = static_cast<uint8_t>((Z80_A(state) & 0xF0) | (memory >> 4));
            Z80_F(state) &= kKeepCarry;
            Z80_SetSZP(state, Z80_A(state));
            break;
        }

        case 0xA0:
        case 0xA8:
        case 0xB0:
        case 0xB8:  // LDI, LDD, LDIR, LDDR
            if (BlockMove(state, opcode & 0x08, opcode & 0x10)) {
                state->PC = static_cast<uint16_t>(state->PC - 2);
                state->time += kZ80BlockMoveRepeat;
            }
            break;
        case 0xA1:
        case 0xA9:
        case 0xB1:
        case 0xB9:  // CPI, CPD, CPIR, CPDR
            if (BlockCompare(state, opcode & 0x08, opcode & 0x10)) {
                state->PC = static_cast<uint16_t>(state->PC - 2);
                state->time += kZ80BlockCompareRepeat;
                state->intExtra = 0;
            }
            break;
        case 0xA2:
        case 0xAA:  // INI, IND
            Z80_WriteByte(state, state->HL.w, state->machine->In(state->BC.w));
            Step(state->HL.w, opcode & 0x08);
            --state->BC.hi;
            SetBlockPortFlags(state);
            break;
        case 0xA3:
        case 0xAB:  // OUTI, OUTD: the port is addressed with B already decremented
            Z80_UpdateAhead(state, kZ80PortAhead);
            --state->BC.hi;
            SetBlockPortFlags(state);
            state->machine->Out(state->BC.w, Z80_ReadMem(state, state->HL.w));
            Step(state->HL.w, opcode & 0x08);
            state->time += time - kZ80PortAhead;
            return;

        default: Unknown(state, opcode); break;
    }
    state->time += time;
}
