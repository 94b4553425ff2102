// PENDING: replaced by the processor step.
#include "common/z80/z80_internal.h"
void Z80_Init(Z80_State* state, CPC_Machine* machine) { state->machine = machine; }
void Z80_Reset(Z80_State*) {}
void Z80_Step(Z80_State*) {}
void Z80_StepInstruction(Z80_State*) {}
void Z80_SetStopReason(Z80_State* state, uint8_t reason) { state->stopReason = reason; }
void Z80_WriteMem(Z80_State*, uint16_t, uint8_t) {}
