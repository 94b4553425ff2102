#pragma once
// Instruction times in microseconds (one microsecond is four Z80 clock cycles on the
// CPC, whose Gate Array stretches every memory access to a microsecond boundary).
// Row = high digit of the opcode, column = low digit.
#include <cstdint>

// Unprefixed opcodes. Where the time depends on a condition the table holds the time
// when it fails (for DJNZ: when B reaches 0); the handler adds the rest when it holds:
// DJNZ 3/4, JR cc 2/3, RET cc 2/4, CALL cc 3/5 (a taken CALL is 5 in Z80_CallNN).
// CB, DD, ED and FD are prefixes and cost nothing of their own. OUT (n),A (D3) hands 2
// of its 3 microseconds to the devices ahead of the write.
// clang-format off
constexpr uint8_t kZ80RegularTime[256] = {
//  x0 x1 x2 x3 x4 x5 x6 x7 x8 x9 xA xB xC xD xE xF
    1, 3, 2, 2, 1, 1, 2, 1, 1, 3, 2, 2, 1, 1, 2, 1,  // 0x
    3, 3, 2, 2, 1, 1, 2, 1, 3, 3, 2, 2, 1, 1, 2, 1,  // 1x
    2, 3, 5, 2, 1, 1, 2, 1, 2, 3, 5, 2, 1, 1, 2, 1,  // 2x
    2, 3, 4, 2, 3, 3, 3, 1, 2, 3, 4, 2, 1, 1, 2, 1,  // 3x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // 4x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // 5x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // 6x
    2, 2, 2, 2, 2, 2, 1, 2, 1, 1, 1, 1, 1, 1, 2, 1,  // 7x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // 8x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // 9x
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // Ax
    1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 1, 1, 1, 1, 2, 1,  // Bx
    2, 3, 3, 3, 3, 4, 2, 4, 2, 3, 3, 0, 3, 5, 2, 4,  // Cx
    2, 3, 3, 3, 3, 4, 2, 4, 2, 1, 3, 3, 3, 0, 2, 4,  // Dx
    2, 3, 3, 6, 3, 4, 2, 4, 2, 1, 3, 1, 3, 0, 2, 4,  // Ex
    2, 3, 3, 1, 3, 4, 2, 4, 2, 2, 3, 1, 3, 0, 2, 4,  // Fx
};
// clang-format on

// Extra time of a conditional instruction whose condition holds.
constexpr uint8_t kZ80JumpRelativeTaken = 1;  // DJNZ, JR cc
constexpr uint8_t kZ80ReturnTaken = 2;        // RET cc
constexpr uint8_t kZ80OutAhead = 2;           // OUT (n),A: passed to the devices before the write

// ED xx. U marks the unknown codes, which take 1 microsecond and stop the processor.
// LDIR and LDDR take 1 more on a pass that repeats, CPIR and CPDR 2 more. IN r,(C),
// OUT (C),r (not OUT (C),0), OUTI and OUTD hand 3 microseconds to the devices ahead
// of the port access.
constexpr uint8_t kZ80EdUnknownTime = 1;
// clang-format off
#define U kZ80EdUnknownTime
constexpr uint8_t kZ80EdTime[256] = {
//  x0 x1 x2 x3 x4 x5 x6 x7 x8 x9 xA xB xC xD xE xF
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 0x
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 1x
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 2x
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 3x
    4, 4, 4, 6, 2, U, U, 3, 4, 4, 4, 6, U, 4, U, 3,  // 4x
    4, 4, 4, 6, U, U, 2, 3, 4, 4, 4, 6, U, U, 2, 3,  // 5x
    4, 4, 4, 6, 2, U, U, 5, 4, 4, 4, 6, U, U, U, 5,  // 6x
    U, 4, 4, 6, U, U, U, U, 4, 4, 4, 6, 2, U, U, U,  // 7x
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 8x
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // 9x
    5, 4, 5, 5, U, U, U, U, 5, 4, 5, 5, U, U, U, U,  // Ax
    5, 4, U, U, U, U, U, U, 5, 4, U, U, U, U, U, U,  // Bx
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // Cx
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // Dx
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // Ex
    U, U, U, U, U, U, U, U, U, U, U, U, U, U, U, U,  // Fx
};
#undef U
// clang-format on

constexpr uint8_t kZ80BlockMoveRepeat = 1;     // LDIR, LDDR
constexpr uint8_t kZ80BlockCompareRepeat = 2;  // CPIR, CPDR
constexpr uint8_t kZ80PortAhead = 3;           // IN r,(C), OUT (C),r, OUTI, OUTD

// CB xx by the top two bits of the opcode (rotate/shift, BIT, RES, SET): on a register
// and on (HL).
constexpr uint8_t kZ80CbRegisterTime = 2;
constexpr uint8_t kZ80CbMemoryTime[4] = {4, 3, 4, 4};
// DD CB d op and FD CB d op on (IX+d) or (IY+d), by the top two bits of op.
constexpr uint8_t kZ80IndexedBitTime[4] = {7, 6, 7, 7};
