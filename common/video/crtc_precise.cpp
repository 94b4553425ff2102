// PENDING: replaced by the precise CRTC.
#include "common/machine/machine.h"
namespace {
void NoReset() {}
void NoOut(uint8_t, uint8_t) {}
uint8_t NoIn(uint8_t) { return 0; }
void NoTick(uint8_t) {}
}  // namespace
void CRTC_ClearResetState(CRTC_State*) {}
void CRTC_Init(uint8_t type) { g_Machine.crtcType = type; CRTC_InstallBest(); }
void CRTC_InstallBest() { g_Machine.crtcOps = {NoReset, NoOut, NoIn, NoTick}; }
