// The loop that runs whole instructions one after another while nothing has to look at
// each of them: the unprefixed and CB instructions inlined, each opcode compiled on its
// own, and the instructions' time held back while no device could show it.
#include "common/z80/z80_cb.h"
#include "common/z80/z80_regular.h"

namespace {

// The 256 cases of a switch on OPCODE, each running BRALLIVANE_OPCODE_BODY(n) with the
// opcode a constant, so that every case gets code of its own: its registers, operation,
// condition and time known where it is compiled.
#define BRALLIVANE_OPCODE_1(n)     \
    case (n):                      \
        BRALLIVANE_OPCODE_BODY(n); \
        return;
#define BRALLIVANE_OPCODE_4(n) \
    BRALLIVANE_OPCODE_1(n)     \
    BRALLIVANE_OPCODE_1((n) + 1) BRALLIVANE_OPCODE_1((n) + 2) BRALLIVANE_OPCODE_1((n) + 3)
#define BRALLIVANE_OPCODE_16(n) \
    BRALLIVANE_OPCODE_4(n)      \
    BRALLIVANE_OPCODE_4((n) + 4) BRALLIVANE_OPCODE_4((n) + 8) BRALLIVANE_OPCODE_4((n) + 12)
#define BRALLIVANE_OPCODE_64(n) \
    BRALLIVANE_OPCODE_16(n)     \
    BRALLIVANE_OPCODE_16((n) + 16) BRALLIVANE_OPCODE_16((n) + 32) BRALLIVANE_OPCODE_16((n) + 48)
#define BRALLIVANE_OPCODE_SWITCH(opcode) \
    switch (opcode) {                    \
        BRALLIVANE_OPCODE_64(0)          \
        BRALLIVANE_OPCODE_64(64)         \
        BRALLIVANE_OPCODE_64(128)        \
        BRALLIVANE_OPCODE_64(192)        \
    }

inline __attribute__((always_inline)) void SpecialisedRegularInstruction(Z80_State* state,
                                                                         uint8_t opcode,
                                                                         uint16_t& pc) {
#define BRALLIVANE_OPCODE_BODY(n) RegularInstruction(state, (n), pc)
    BRALLIVANE_OPCODE_SWITCH(opcode)
#undef BRALLIVANE_OPCODE_BODY
}

// The CB group the same way; its rotates and shifts are then direct calls.
inline __attribute__((always_inline)) void SpecialisedCbInstruction(Z80_State* state,
                                                                    uint8_t opcode) {
#define BRALLIVANE_OPCODE_BODY(n) Z80_CbInstructionWith(kZ80ShiftOperations, state, (n))
    BRALLIVANE_OPCODE_SWITCH(opcode)
#undef BRALLIVANE_OPCODE_BODY
}
#undef BRALLIVANE_OPCODE_SWITCH
#undef BRALLIVANE_OPCODE_64
#undef BRALLIVANE_OPCODE_16
#undef BRALLIVANE_OPCODE_4
#undef BRALLIVANE_OPCODE_1

// The prefix bit a byte sets as the first byte of an instruction, 0 for other bytes.
struct PrefixBits {
    uint8_t bit[256] = {};
    constexpr PrefixBits() {
        bit[0xCB] = Z80_PREFIX_CB;
        bit[0xDD] = Z80_PREFIX_DD;
        bit[0xED] = Z80_PREFIX_ED;
        bit[0xFD] = Z80_PREFIX_FD;
    }
};
constexpr PrefixBits kPrefixBits;
inline uint8_t PrefixBit(uint8_t byte) {
    return kPrefixBits.bit[byte];
}

// The end of an instruction begun at NOTED_TIME in a run of them: while the held time
// stays within the machine's limit and no EI delay counts down, nothing any device does
// could be seen, so the time is held instead of handed on, and no interrupt can have come
// (only an Update raises one, and when one handed on before a port access did, the
// machine leaves the limit 0). False when the instruction must end through
// Z80_EndInstruction instead.
inline bool HoldTime(Z80_State* state, CPC_Machine* machine, uint32_t notedTime) {
    const uint8_t elapsed = static_cast<uint8_t>(state->time - notedTime);
    const unsigned held = machine->heldTime + elapsed;
    if (held > machine->heldLimit || state->IFF1 > 1) return false;
    machine->heldTime = static_cast<uint8_t>(held);
    return true;
}

// Whether the devices' time has reached the end of the run. Counting held time moves it
// into the devices' time, so their sum is the devices' time.
inline bool RunEnded(const CPC_Machine* machine, uint64_t deviceTimeEnd) {
    return machine->deviceTime + machine->heldTime >= deviceTimeEnd;
}

}  // namespace

uint32_t Z80_RunInstructions(Z80_State* state, uint32_t count, uint64_t deviceTimeEnd) {
    // The steps of Z80_StepInstruction with what most instructions never need taken out
    // of the loop: HALT, prefix chains and the reset trace go through the general step,
    // breakpoints are not checked (the caller sets none). An unprefixed instruction whose
    // time the processor holds cannot stop the run: a stop comes from a port (after which
    // the machine lets nothing be held) or an unknown prefixed instruction, and HALT with
    // interrupts off ends the run when the next pass finds the processor halted.
    CPC_Machine* machine = state->machine;
    state->stopReason = Z80_STOP_NONE;
    uint32_t done = 0;
    unsigned uncountedR = 0;  // R steps of unprefixed instructions, counted when R is needed
    uint16_t pc = state->PC;  // the record's PC while anything else could look at it
    for (;;) {
        const uint8_t byte = Z80_ReadMem(state, pc);
        const uint8_t prefix = PrefixBit(byte);
        if (prefix == 0 && !state->halted && pc != 0) {
            state->startPC = pc;
            state->intExtra = 1;
            const uint32_t notedTime = state->time;
            ++uncountedR;
            pc = static_cast<uint16_t>(pc + 1);
            SpecialisedRegularInstruction(state, byte, pc);
            if (HoldTime(state, machine, notedTime)) {
                if (++done == count || RunEnded(machine, deviceTimeEnd)) break;
                continue;
            }
            state->PC = pc;
            Z80_CountR(state, uncountedR - 1);
            const uint8_t notedR = state->R;  // as this instruction's step found it
            Z80_CountR(state);
            uncountedR = 0;
            Z80_EndInstruction(state, notedTime);
            if (state->stopReason != Z80_STOP_NONE) Z80_EndRunOnStop(state, notedR);
        } else {
            state->PC = pc;
            if (done != 0 && !state->running) break;  // a HALT with interrupts off
            Z80_CountR(state, uncountedR);
            uncountedR = 0;
            bool general = state->halted || pc == 0;
            uint8_t next = 0;
            if (prefix != 0) {
                next = Z80_ReadMem(state, static_cast<uint16_t>(pc + 1));
                // Prefix chains (DD CB, and those that drop a prefix) take the general step.
                general = general || (prefix != Z80_PREFIX_CB && PrefixBit(next) != 0);
            }
            if (general) {
                Z80_StepInstruction(state);
            } else {
                state->startPC = pc;
                state->intExtra = 1;
                Z80_CountR(state);  // the prefix's own step
                const uint8_t notedR = state->R;
                const uint32_t notedTime = state->time;
                state->PC = static_cast<uint16_t>(pc + 2);
                if (prefix == Z80_PREFIX_CB) {
                    Z80_CountR(state);
                    SpecialisedCbInstruction(state, next);
                } else {
                    state->prefix = prefix;
                    Z80_Dispatch(state, next);
                }
                if (!HoldTime(state, machine, notedTime)) Z80_EndInstruction(state, notedTime);
                if (state->stopReason != Z80_STOP_NONE) Z80_EndRunOnStop(state, notedR);
            }
        }
        pc = state->PC;
        if (!state->running) {
            ++done;
            break;
        }
        if (++done == count || RunEnded(machine, deviceTimeEnd)) break;
    }
    state->PC = pc;
    Z80_CountR(state, uncountedR);
    // The devices' time is exact again when the run ends.
    if (machine->heldTime != 0) machine->Update(0);
    return done;
}
