// Until the disk drives arrive, the controller answers as an idle uPD765 with no
// drive ready: the main status register says "ready for a command byte" and data
// reads give 0xFF. Writes are traced and otherwise ignored.
#include "common/disk/fdc.h"

#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {
constexpr uint8_t FDC_MSR_REQUEST_FOR_MASTER = 0x80;
}

void FDC_Init() {
    FDC_Reset();
}

void FDC_Reset() {
    g_Machine.fdc.mainStatus = FDC_MSR_REQUEST_FOR_MASTER;
}

uint8_t FDC_in(uint16_t port) {
    // &FB7E (bit 8 set, bit 0 clear) is the main status register; &FB7F the data register.
    if ((port & 0x0101) == 0x0100) return g_Machine.fdc.mainStatus;
    return 0xFF;
}

void FDC_out(uint16_t port, uint8_t value) {
    XT_Trace("* FDC_out(): Write %02XH to port %04XH ignored, no disk controller yet", value, port);
}
