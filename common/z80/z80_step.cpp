// The processor's life cycle and its step: prefix collection, dispatch to the
// instruction groups, the R counter, the EI delay, handing the elapsed time to the
// devices, interrupt acceptance, HALT and the stop reasons.
#include <cstring>

#include "common/xtools/xtools.h"
#include "common/z80/z80_operands.h"
#include "common/z80/z80_regular.h"

namespace {

// Prefix byte values.
constexpr uint8_t kByteCB = 0xCB;
constexpr uint8_t kByteDD = 0xDD;
constexpr uint8_t kByteED = 0xED;
constexpr uint8_t kByteFD = 0xFD;

constexpr uint8_t kPrefixIndexed = Z80_PREFIX_DD | Z80_PREFIX_FD;
constexpr uint8_t kInvalidPrefixTime = 2;

// Interrupt acknowledge results of the machine.
constexpr uint8_t kMaskableInterrupt = 1;
constexpr uint8_t kNonMaskableInterrupt = 2;

constexpr uint16_t kInterruptMode1Address = 0x0038;
constexpr uint8_t kInterruptMode1Time = 4;
constexpr uint8_t kInterruptMode2Time = 18;
// The Gate Array leaves 0x86 on the data bus during the acknowledge.
constexpr uint8_t kInterruptDataBus = 0x86;

bool IsPrefixByte(uint8_t byte) {
    return byte == kByteDD || byte == kByteFD || byte == kByteED || byte == kByteCB;
}

// Accepts a maskable interrupt. Returns false when nothing was taken (IM 0).
bool AcceptInterrupt(Z80_State* state) {
    if (state->IM != 1 && state->IM != 2) {
        XT_Trace("* Z80_Step(): INT Mode (%d) not supported - INT Ignored", state->IM);
        return false;
    }
    state->IFF1 = 0;
    state->IFF2 = 0;
    Z80_CountR(state);
    if (state->IM == 1) {
        Z80_Rst(state, kInterruptMode1Address,
                static_cast<uint8_t>(state->intExtra + kInterruptMode1Time));
        return true;
    }
    uint16_t vector =
        Z80_ReadWord(state, static_cast<uint16_t>((state->I << 8) | kInterruptDataBus));
    Z80_Rst(state, vector, static_cast<uint8_t>(state->intExtra + kInterruptMode2Time));
    return true;
}

}  // namespace

void Z80_TakeInterrupts(Z80_State* state, uint8_t acknowledge) {
    for (;;) {
        if (acknowledge == 0) return;
        if (acknowledge != kMaskableInterrupt) {
            if (acknowledge == kNonMaskableInterrupt)
                XT_Trace("* Z80_Step(): NMI Signal - Ignored");
            return;  // nothing accepted, nothing more to hand on
        }
        state->halted = 0;
        uint32_t notedTime = state->time;
        if (!AcceptInterrupt(state)) return;
        state->machine->Update(static_cast<uint8_t>(state->time - notedTime));
        if (state->IFF1 != 1) return;
        acknowledge = state->machine->IntAck();
    }
}

void Z80_Step_Regular(Z80_State* state, uint8_t opcode) {
    RegularInstruction(state, opcode, state->PC);
}

void Z80_Dispatch(Z80_State* state, uint8_t byte) {
    Z80_CountR(state);
    uint8_t prefix = state->prefix;
    if (prefix == 0)
        Z80_Step_Regular(state, byte);
    else if (prefix & kPrefixIndexed)
        Z80_Step_DD_FD(state, byte);
    else if (prefix == Z80_PREFIX_CB)
        Z80_Step_CB(state, byte);
    else if (prefix == Z80_PREFIX_ED)
        Z80_Step_ED(state, byte);
    else {
        XT_Trace("* Z80_Step(): PC=%04XH, UNSUPPORTED PREFIX",
                 static_cast<uint16_t>(state->PC - 1));
        Z80_SetStopReason(state, Z80_STOP_UNKNOWN_INSTRUCTION);
    }
    state->prefix = 0;
}

void Z80_Init(Z80_State* state, CPC_Machine* machine) {
    std::memset(static_cast<void*>(state), 0, sizeof *state);
    state->machine = machine;
    machine->processor = state;
    Z80_InstallShiftOperations();
}

void Z80_Reset(Z80_State* state) {
    CPC_Machine* machine = state->machine;
    Z80_Breakpoint* breakpoints = state->breakpoints;
    std::memset(static_cast<void*>(state), 0xFF, sizeof *state);
    state->machine = machine;
    state->breakpoints = breakpoints;
    machine->Reset();
    state->stopReason = 0;
    state->running = 0;
    state->PC = 0;
    state->IFF1 = 0;
    state->IFF2 = 0;
    state->IM = 0;
    state->prefix = 0;
    state->R = 0;
    state->time = 0;
    state->halted = 0;
}

void Z80_SetPrefix(Z80_State* state, uint8_t byte) {
    uint8_t pending = state->prefix;
    if (pending == 0) Z80_CountR(state);
    uint8_t bit;
    const char* name;
    switch (byte) {
        case kByteED:
            bit = Z80_PREFIX_ED;
            name = "ED";
            break;
        case kByteCB:
            bit = Z80_PREFIX_CB;
            name = "CB";
            break;
        case kByteDD:
            bit = Z80_PREFIX_DD;
            name = "DD";
            break;
        case kByteFD:
            bit = Z80_PREFIX_FD;
            name = "FD";
            break;
        default: return;  // not a prefix byte; the step never passes one
    }
    // CB may follow DD or FD (the indexed bit group); any other prefix must come first.
    bool valid = byte == kByteCB ? pending != Z80_PREFIX_ED : pending == 0;
    if (valid) {
        state->prefix = static_cast<uint8_t>(pending | bit);
        return;
    }
    // The byte is dropped together with what was pending; execution goes on.
    Z80_CountR(state);
    state->time += kInvalidPrefixTime;
    state->prefix = 0;
    XT_Trace("* Z80_Step(): PC=%04XH, INVALID %s PREFIX", static_cast<uint16_t>(state->PC - 1),
             name);
}

void Z80_Step(Z80_State* state) {
    const uint8_t notedR = state->R;
    const uint32_t notedTime = state->time;
    if (state->prefix == 0) state->startPC = state->PC;
    state->stopReason = Z80_STOP_NONE;
    state->intExtra = 1;

    bool instructionEnded = true;
    if (state->halted) {
        Z80_CountR(state);
        state->time += 1;
    } else {
        if (state->PC == 0) XT_Trace("Z80_Step(): --------------- Reset ---------------");
        uint8_t byte = Z80_FetchByte(state);
        if (!(state->prefix & Z80_PREFIX_CB) && IsPrefixByte(byte)) {
            Z80_SetPrefix(state, byte);
            instructionEnded = false;  // no device time, no interrupt, no EI countdown
        } else {
            Z80_Dispatch(state, byte);
        }
    }

    if (instructionEnded) Z80_EndInstruction(state, notedTime);

    // Only the list's nodes can stop the processor here, so an empty list needs no call.
    if (state->breakpoints) Z80_CheckBreakpoints(state);
    if (state->stopReason != Z80_STOP_NONE) Z80_EndRunOnStop(state, notedR);
}

void Z80_StepInstruction(Z80_State* state) {
    do {
        Z80_Step(state);
    } while (state->prefix != 0);
}

void Z80_SetStopReason(Z80_State* state, uint8_t reason) {
    state->stopReason = reason;
}

void Z80_WriteMem(Z80_State* state, uint16_t address, uint8_t value) {
    Z80_WriteByte(state, address, value);
}
