// PENDING: replaced by the indexed instruction groups.
#include "common/z80/z80_internal.h"
void Z80_Step_DD_FD(Z80_State*, uint8_t) {}
