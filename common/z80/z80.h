#pragma once
// The Z80 processor record and its public operations. Time is counted in whole
// microseconds of CPC time.
#include <cstdint>

struct CPC_Machine;
struct Z80_Breakpoint;  // owned by the monitor

// A register pair stored low byte first, so the pair and its halves share storage.
union Z80_Pair {
    uint16_t w;
    struct {
        uint8_t lo;
        uint8_t hi;
    };
};

// Flag bits of F. Bits 5 and 3 are never computed.
constexpr uint8_t Z80_FLAG_S = 0x80;
constexpr uint8_t Z80_FLAG_Z = 0x40;
constexpr uint8_t Z80_FLAG_H = 0x10;
constexpr uint8_t Z80_FLAG_PV = 0x04;
constexpr uint8_t Z80_FLAG_N = 0x02;
constexpr uint8_t Z80_FLAG_C = 0x01;

// Prefix bits collected by the step.
constexpr uint8_t Z80_PREFIX_CB = 1;
constexpr uint8_t Z80_PREFIX_DD = 2;
constexpr uint8_t Z80_PREFIX_ED = 4;
constexpr uint8_t Z80_PREFIX_FD = 8;

// Stop reasons.
constexpr uint8_t Z80_STOP_NONE = 0;
constexpr uint8_t Z80_STOP_BREAKPOINT = 1;
constexpr uint8_t Z80_STOP_TEMP_BREAKPOINT = 2;
constexpr uint8_t Z80_STOP_UNKNOWN_INSTRUCTION = 3;
constexpr uint8_t Z80_STOP_UNSUPPORTED_PORT = 4;
constexpr uint8_t Z80_STOP_INVALID_PREFIX = 5;
constexpr uint8_t Z80_STOP_WATCHPOINT = 6;  // the monitor's watch list

struct Z80_State {
    Z80_Pair AF, BC, DE, HL;
    Z80_Pair AF_, BC_, DE_, HL_;  // alternate set
    Z80_Pair IX, IY;
    uint16_t PC, SP;
    uint8_t I;
    uint8_t R;     // bits 0-6 count, bit 7 keeps its value
    uint8_t IM;    // 0, 1 or 2
    uint8_t IFF1;  // 0 disabled, 1 enabled, 2 and 3 enabled once the EI delay runs out
    uint8_t IFF2;
    CPC_Machine* machine;
    uint32_t time;  // microseconds; cleared at reset, wraps silently
    uint8_t prefix;
    uint8_t halted;
    uint8_t intExtra;  // 1, or 0 after instructions that make an interrupt one microsecond cheaper
    Z80_Breakpoint* breakpoints;
    uint8_t running;
    uint8_t stopReason;
    uint16_t startPC;  // first byte of the instruction being executed, prefixes included
};

void Z80_Init(Z80_State* state, CPC_Machine* machine);
void Z80_Reset(Z80_State* state);
void Z80_Step(Z80_State* state);
void Z80_StepInstruction(Z80_State* state);
// Whole instructions as Z80_StepInstruction runs them, one after another while the
// processor runs: at least one, at most COUNT, and none more once the devices' time has
// reached DEVICE_TIME_END. Returns how many ran.
uint32_t Z80_RunInstructions(Z80_State* state, uint32_t count, uint64_t deviceTimeEnd);
void Z80_SetStopReason(Z80_State* state, uint8_t reason);
void Z80_WriteMem(Z80_State* state, uint16_t address, uint8_t value);

// Breakpoint check at the end of every step; may set stop reason 1 or 2.
void Z80_CheckBreakpoints(Z80_State* state);

// Disassembler: one line of at least Z80_DISASSEMBLY_LINE_SIZE characters (the longest
// line, "FD 36 80 FF  LD   (IY-128d),FFH (255)" after its address, uses all 44 with its
// NUL); returns the instruction length.
constexpr int Z80_DISASSEMBLY_LINE_SIZE = 44;
uint8_t Z80_Disassemble(Z80_State* state, uint16_t address, char* line);
uint8_t Z80_GetInstructionSize(Z80_State* state, uint16_t address);
