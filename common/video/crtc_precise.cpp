// PENDING: replaced by the precise CRTC.
#include "common/machine/machine.h"
void CRTC_Init(uint8_t) {}
void CRTC_InstallBest() {}
