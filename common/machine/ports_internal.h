#pragma once
// Helpers shared by the port decoder, the PPI and the Gate Array.
#include "common/machine/machine.h"
#include "common/z80/z80.h"

// Unsupported port functions that software may depend on stop the machine. Before the
// processor is attached (machine start-up, tests of the chips alone) there is nothing
// to stop.
inline void CPC_StopOnUnsupportedPort() {
    if (g_Machine.processor != nullptr) {
        Z80_SetStopReason(g_Machine.processor, Z80_STOP_UNSUPPORTED_PORT);
    }
}
