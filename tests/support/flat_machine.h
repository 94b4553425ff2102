#pragma once
// A machine of 64 KB flat RAM for running the processor on its own. Port accesses are
// recorded, with the device time handed on before the last one; the interrupt line is a
// flag, raised by a test or by the passing device time. Update counts deviceTime too, and
// lets the processor hold time up to the next interrupt.
#include <cstdint>
#include <string>
#include <vector>

#include "common/machine/machine.h"
#include "common/z80/z80.h"

struct FlatPortWrite {
    uint16_t port;
    uint8_t value;
};

struct FlatMachine {
    uint8_t memory[65536];
    uint8_t portValue;  // what every IN reads
    std::vector<FlatPortWrite> writes;
    std::vector<uint16_t> reads;
    uint32_t portUpdatedAt;        // updatedMicroseconds at the last IN or OUT
    uint32_t updatedMicroseconds;  // sum of all Update calls
    bool interruptPending;         // raised by a test, cleared on acknowledge
    uint32_t interruptEvery;       // when not 0, Update raises it every this many microseconds
    int resets;
    int retis;
};

extern FlatMachine g_Flat;

// Clears the flat memory and the records and returns the machine record wired to them.
CPC_Machine* FlatMachine_Create();
// Initialises and resets a processor on the flat machine (PC = 0, SP = 0xFFFF, F = 0xFF).
void FlatMachine_ResetProcessor(Z80_State* state);
// Copies bytes into the flat memory.
void FlatMachine_Load(uint16_t address, const std::vector<uint8_t>& bytes);
// Reads an assembled test program (tests/z80asm/NAME.asm) from the build tree.
std::vector<uint8_t> LoadTestProgram(const std::string& name);
