#pragma once
// Watchpoints, shared by the monitor and the remote debugger: memory (write, read or
// either, on an address or a range) and I/O (IN, OUT or either, on a port under a mask,
// since the CPC decodes ports by their address lines). A hit stops the machine after the
// instruction with stop reason Z80_STOP_WATCHPOINT. While none is set the machine's
// operations are its own; while one is set, checking operations stand in for them.
#include <cstdint>

#include "common/z80/z80.h"

constexpr uint8_t WP_WRITE = 1;
constexpr uint8_t WP_READ = 2;
constexpr uint8_t WP_ACCESS = WP_WRITE | WP_READ;
constexpr uint8_t WP_OUT = 4;
constexpr uint8_t WP_IN = 8;
constexpr uint8_t WP_PORT = WP_OUT | WP_IN;
constexpr int WP_MAX = 64;

// Memory: first..last (last may wrap below first). I/O: first is the port, last the mask.
struct Wp_Watch {
    uint8_t kind;
    uint16_t first;
    uint16_t last;
};

// What the last hit saw: one kind bit, the address or port, the value, the instruction.
struct Wp_Hit {
    uint8_t kind;
    uint16_t address;
    uint8_t value;
    uint16_t pc;
};

// False when the list is full or the kind is not one of the above.
bool Wp_Add(Z80_State* state, uint8_t kind, uint16_t first, uint16_t last);
// Removes the oldest watch equal to the one given; false when there is none.
bool Wp_Remove(Z80_State* state, uint8_t kind, uint16_t first, uint16_t last);
// Removes the watch at index (0 = oldest); false when there is none.
bool Wp_RemoveAt(Z80_State* state, int index);
void Wp_Clear(Z80_State* state);
int Wp_Count();
const Wp_Watch& Wp_At(int index);
// A description of the watch ("write 4000-40FF", "OUT 7F00 mask FF00").
void Wp_Describe(const Wp_Watch& watch, char* text, int size);

const Wp_Hit& Wp_LastHit();
// WP_WRITE | WP_READ of the memory watches covering the address.
uint8_t Wp_MemoryKinds(uint16_t address);
// "Watch: write C000=FF at PC 0A12", written when the hit happened.
const char* Wp_HitMessage();

// Reads are checked around whole instructions: true while a read watch is set, and then
// the run loop steps one instruction at a time through these two.
bool Wp_WatchingReads();
void Wp_BeforeStep(Z80_State* state);
void Wp_AfterStep(Z80_State* state);
// The memory a debugger reads and writes, without triggering watches: the processor's view.
void Wp_WriteUnwatched(Z80_State* state, uint16_t address, uint8_t value);
