#pragma once
// Breakpoints hanging off the processor record, and the PC log.
#include <cstdint>

#include "common/z80/z80.h"

constexpr uint8_t Z80_BREAKPOINT_PERMANENT = 0;
constexpr uint8_t Z80_BREAKPOINT_TEMPORARY = 1;  // removed when hit

struct Z80_Breakpoint {
    Z80_Breakpoint* next;
    uint16_t address;
    uint8_t kind;
};

// Puts a new breakpoint in front of the list (newest first); duplicates are allowed.
void Z80_AddBreakpoint(Z80_State* state, uint16_t address, uint8_t kind);
void Z80_RemoveBreakpointNode(Z80_State* state, Z80_Breakpoint* node);
// Removes the newest permanent breakpoint at the address, else the newest temporary one.
void Z80_ClearBreakpoint(Z80_State* state, uint16_t address);
// True when some breakpoint is set at the address (one bit per address).
bool Z80_BreakpointAt(uint16_t address);
// Frees the whole list; the run loop does it when the machine is released.
void Z80_FreeBreakpoints(Z80_State* state);

// PC log "PCLog.txt": PCLOG ON and OFF, and one entry per executed instruction.
void Dbg_OpenPCLog();
void Dbg_ClosePCLog();
void Dbg_LogPC(Z80_State* state);
bool Dbg_LoggingPC();
