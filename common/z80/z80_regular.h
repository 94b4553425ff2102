#pragma once
// The unprefixed instructions, inline for the step's dispatch (z80_step.cpp) and for the
// instruction loop (z80_run.cpp). One switch on the opcode; opcode families share a
// case and take their registers, pairs and conditions from the operand fields. A case
// that ends with break gets its time from kZ80RegularTime after the switch; a case that
// hands its time to a shared operation returns instead.
#include "common/xtools/xtools.h"
#include "common/z80/z80_operands.h"
#include "common/z80/z80_timing.h"

namespace {

// Register r of bits 0-2 or 3-5, or the byte at HL for code 6.
inline uint8_t ReadOperand(Z80_State* state, unsigned code) {
    if (code == kZ80CodeMemoryHL) return Z80_ReadMem(state, state->HL.w);
    return Z80_RegisterByCode(state, code);
}

inline void WriteOperand(Z80_State* state, unsigned code, uint8_t value) {
    if (code == kZ80CodeMemoryHL)
        Z80_WriteByte(state, state->HL.w, value);
    else
        Z80_RegisterByCode(state, code) = value;
}

// The unprefixed group reaches PC through a reference: the step's own PC, or a copy the
// instruction loop keeps in a register between instructions.
inline uint8_t FetchByte(Z80_State* state, uint16_t& pc) {
    return Z80_ReadMem(state, pc++);
}
inline uint16_t FetchWord(Z80_State* state, uint16_t& pc) {
    uint16_t word = Z80_ReadWord(state, pc);
    pc = static_cast<uint16_t>(pc + 2);
    return word;
}

inline void JumpRelative(uint16_t& pc, uint8_t displacement) {
    pc = static_cast<uint16_t>(pc + static_cast<int8_t>(displacement));
}

// DJNZ and JR cc when they jump.
inline void TakeJumpRelative(Z80_State* state, uint16_t& pc, uint8_t displacement) {
    JumpRelative(pc, displacement);
    state->time += kZ80JumpRelativeTaken;
}

// The shared call operations work on the record's PC.
inline void CallNN(Z80_State* state, uint16_t& pc) {
    state->PC = pc;
    Z80_CallNN(state);
    pc = state->PC;
}
inline void Rst(Z80_State* state, uint16_t& pc, uint16_t address, uint8_t time) {
    state->PC = pc;
    Z80_Rst(state, address, time);
    pc = state->PC;
}

// RLCA, RRCA, RLA, RRA: S, Z and P/V stay; H and N clear; C is the bit moved out.
inline void SetAccumulatorRotate(Z80_State* state, unsigned result, uint8_t carry) {
    Z80_A(state) = static_cast<uint8_t>(result);
    Z80_F(state) = static_cast<uint8_t>(
        (Z80_F(state) & (Z80_FLAG_S | Z80_FLAG_Z | Z80_FLAG_PV | kZ80FlagsUndocumented)) | carry);
}

inline void Exchange(uint16_t& first, uint16_t& second) {
    uint16_t kept = first;
    first = second;
    second = kept;
}

inline void Halt(Z80_State* state) {
    state->halted = 1;
    if (state->IFF1 == 0) {
        XT_Trace("* Z80_Step_Regular(): HALT entered while INT DISABLED. Processor hung...");
        state->running = 0;
    }
}

// The unprefixed instruction of OPCODE, written once for the step's dispatch and for the
// loop of Z80_RunInstructions, into which it is inlined.
inline __attribute__((always_inline)) void RegularInstruction(Z80_State* state, uint8_t opcode,
                                                              uint16_t& pc) {
    switch (opcode) {
        case 0x00: break;  // NOP

        case 0x01:
        case 0x11:
        case 0x21:
        case 0x31:  // LD rp,nn
            Z80_PairByCode(state, opcode >> 4) = FetchWord(state, pc);
            break;

        case 0x02: Z80_WriteByte(state, state->BC.w, Z80_A(state)); break;
        case 0x12: Z80_WriteByte(state, state->DE.w, Z80_A(state)); break;
        case 0x0A: Z80_A(state) = Z80_ReadMem(state, state->BC.w); break;
        case 0x1A: Z80_A(state) = Z80_ReadMem(state, state->DE.w); break;

        case 0x03:
        case 0x13:
        case 0x23:
        case 0x33: {  // INC rp
            uint16_t& pair = Z80_PairByCode(state, opcode >> 4);
            pair = static_cast<uint16_t>(pair + 1);
            state->intExtra = 0;
            break;
        }
        case 0x0B:
        case 0x1B:
        case 0x2B:
        case 0x3B: {  // DEC rp
            uint16_t& pair = Z80_PairByCode(state, opcode >> 4);
            pair = static_cast<uint16_t>(pair - 1);
            state->intExtra = 0;
            break;
        }

        case 0x04:
        case 0x0C:
        case 0x14:
        case 0x1C:
        case 0x24:
        case 0x2C:
        case 0x3C:
            Z80_Inc8(state, Z80_RegisterByCode(state, opcode >> 3), kZ80RegularTime[opcode]);
            return;
        case 0x05:
        case 0x0D:
        case 0x15:
        case 0x1D:
        case 0x25:
        case 0x2D:
        case 0x3D:
            Z80_Dec8(state, Z80_RegisterByCode(state, opcode >> 3), kZ80RegularTime[opcode]);
            return;
        case 0x34:
        case 0x35: {  // INC (HL), DEC (HL)
            uint8_t value = Z80_ReadMem(state, state->HL.w);
            if (opcode == 0x34)
                Z80_Inc8(state, value, kZ80RegularTime[opcode]);
            else
                Z80_Dec8(state, value, kZ80RegularTime[opcode]);
            Z80_WriteByte(state, state->HL.w, value);
            return;
        }

        case 0x06:
        case 0x0E:
        case 0x16:
        case 0x1E:
        case 0x26:
        case 0x2E:
        case 0x36:
        case 0x3E:
            WriteOperand(state, opcode >> 3, FetchByte(state, pc));  // LD r,n
            break;

        case 0x07:
            SetAccumulatorRotate(state, (Z80_A(state) << 1) | (Z80_A(state) >> 7),
                                 Z80_A(state) >> 7);
            break;
        case 0x0F:
            SetAccumulatorRotate(state, (Z80_A(state) >> 1) | (Z80_A(state) << 7),
                                 Z80_A(state) & 1);
            break;
        case 0x17:
            SetAccumulatorRotate(state, (Z80_A(state) << 1) | (Z80_F(state) & Z80_FLAG_C),
                                 Z80_A(state) >> 7);
            break;
        case 0x1F:
            SetAccumulatorRotate(state, (Z80_A(state) >> 1) | ((Z80_F(state) & Z80_FLAG_C) << 7),
                                 Z80_A(state) & 1);
            break;

        case 0x08: Exchange(state->AF.w, state->AF_.w); break;

        case 0x09:
        case 0x19:
        case 0x29:
        case 0x39:  // ADD HL,rp
            Z80_Add16(state, state->HL.w, Z80_PairByCode(state, opcode >> 4), false,
                      kZ80RegularTime[opcode]);
            return;

        case 0x10: {  // DJNZ d
            uint8_t displacement = FetchByte(state, pc);
            if (--state->BC.hi != 0) TakeJumpRelative(state, pc, displacement);
            break;
        }
        case 0x18: JumpRelative(pc, FetchByte(state, pc)); break;  // JR d
        case 0x20:
        case 0x28:
        case 0x30:
        case 0x38: {  // JR cc,d
            uint8_t displacement = FetchByte(state, pc);
            if (Z80_ConditionHolds(state, (opcode >> 3) & 3))
                TakeJumpRelative(state, pc, displacement);
            break;
        }

        case 0x22: {  // LD (nn),HL
            uint16_t address = FetchWord(state, pc);
            Z80_WriteByte(state, address, state->HL.lo);
            Z80_WriteByte(state, static_cast<uint16_t>(address + 1), state->HL.hi);
            break;
        }
        case 0x2A: state->HL.w = Z80_ReadWord(state, FetchWord(state, pc)); break;
        case 0x32: Z80_WriteByte(state, FetchWord(state, pc), Z80_A(state)); break;
        case 0x3A: Z80_A(state) = Z80_ReadMem(state, FetchWord(state, pc)); break;

        case 0x27: Z80_Daa(state); break;
        case 0x2F:  // CPL
            Z80_A(state) = static_cast<uint8_t>(~Z80_A(state));
            Z80_F(state) |= Z80_FLAG_H | Z80_FLAG_N;
            break;
        case 0x37:  // SCF
            Z80_F(state) =
                static_cast<uint8_t>((Z80_F(state) & ~(Z80_FLAG_H | Z80_FLAG_N)) | Z80_FLAG_C);
            break;
        case 0x3F: {  // CCF: H takes the old carry
            uint8_t carry = Z80_F(state) & Z80_FLAG_C;
            Z80_F(state) =
                static_cast<uint8_t>((Z80_F(state) & ~(Z80_FLAG_H | Z80_FLAG_N | Z80_FLAG_C)) |
                                     (carry ? Z80_FLAG_H : Z80_FLAG_C));
            break;
        }

        case 0x76: Halt(state); break;

        case 0xC0:
        case 0xC8:
        case 0xD0:
        case 0xD8:
        case 0xE0:
        case 0xE8:
        case 0xF0:
        case 0xF8:
            if (Z80_ConditionHolds(state, (opcode >> 3) & 7)) {  // RET cc
                pc = Z80_Pop(state);
                state->time += kZ80ReturnTaken;
            } else {
                state->intExtra = 0;
            }
            break;
        case 0xC9: pc = Z80_Pop(state); break;

        case 0xC1:
        case 0xD1:
        case 0xE1:
        case 0xF1:  // POP
            Z80_StackPairByCode(state, (opcode >> 4) & 3) = Z80_Pop(state);
            break;
        case 0xC5:
        case 0xD5:
        case 0xE5:
        case 0xF5:  // PUSH
            Z80_Push(state, Z80_StackPairByCode(state, (opcode >> 4) & 3));
            break;

        case 0xC2:
        case 0xCA:
        case 0xD2:
        case 0xDA:
        case 0xE2:
        case 0xEA:
        case 0xF2:
        case 0xFA: {
            uint16_t target = FetchWord(state, pc);  // JP cc,nn
            if (Z80_ConditionHolds(state, (opcode >> 3) & 7)) pc = target;
            break;
        }
        case 0xC3: pc = FetchWord(state, pc); break;
        case 0xE9: pc = state->HL.w; break;

        case 0xC4:
        case 0xCC:
        case 0xD4:
        case 0xDC:
        case 0xE4:
        case 0xEC:
        case 0xF4:
        case 0xFC:
            if (!Z80_ConditionHolds(state, (opcode >> 3) & 7)) {  // CALL cc,nn
                pc = static_cast<uint16_t>(pc + 2);
                break;
            }
            CallNN(state, pc);
            return;
        case 0xCD: CallNN(state, pc); return;

        case 0xC6:
        case 0xCE:
        case 0xD6:
        case 0xDE:
        case 0xE6:
        case 0xEE:
        case 0xF6:
        case 0xFE:
            Z80_AluByCode(state, (opcode >> 3) & 7, FetchByte(state, pc), kZ80RegularTime[opcode]);
            return;

        case 0xC7:
        case 0xCF:
        case 0xD7:
        case 0xDF:
        case 0xE7:
        case 0xEF:
        case 0xF7:
        case 0xFF: Rst(state, pc, opcode & 0x38, kZ80RegularTime[opcode]); return;

        case 0xD3: {  // OUT (n),A: the device sees the write 2 microseconds in
            uint16_t port = static_cast<uint16_t>((Z80_A(state) << 8) | FetchByte(state, pc));
            Z80_UpdateAhead(state, kZ80OutAhead);
            state->machine->Out(port, Z80_A(state));
            state->time += kZ80RegularTime[opcode] - kZ80OutAhead;
            return;
        }
        case 0xDB: {  // IN A,(n)
            uint16_t port = static_cast<uint16_t>((Z80_A(state) << 8) | FetchByte(state, pc));
            Z80_A(state) = state->machine->In(port);
            break;
        }

        case 0xD9:  // EXX
            Exchange(state->BC.w, state->BC_.w);
            Exchange(state->DE.w, state->DE_.w);
            Exchange(state->HL.w, state->HL_.w);
            break;
        case 0xE3: Z80_ExSP(state, state->HL.w, kZ80RegularTime[opcode]); return;
        case 0xEB: Exchange(state->DE.w, state->HL.w); break;

        case 0xF3: state->IFF1 = state->IFF2 = 0; break;  // DI
        case 0xFB:                                        // EI
            state->IFF1 = kZ80EnableDelay;
            state->IFF2 = 1;
            break;
        case 0xF9:  // LD SP,HL
            state->SP = state->HL.w;
            state->intExtra = 0;
            break;

        case 0xCB:
        case 0xDD:
        case 0xED:
        case 0xFD: break;  // prefixes: the step never hands them here

        default:
            if (opcode < 0x80) {  // 40-7F: LD r,r'
                WriteOperand(state, (opcode >> 3) & 7, ReadOperand(state, opcode & 7));
                break;
            }
            // 80-BF: ADD, ADC, SUB, SBC, AND, XOR, OR, CP with r
            Z80_AluByCode(state, (opcode >> 3) & 7, ReadOperand(state, opcode & 7),
                          kZ80RegularTime[opcode]);
            return;
    }
    state->time += kZ80RegularTime[opcode];
}

}  // namespace
