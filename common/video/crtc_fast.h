#pragma once
// The line-based ("fast") CRTC variant: the frame geometry is worked out from the
// registers whenever one is written, and time is counted until a whole scan line is
// complete, which is then drawn in one call. Mid-line register changes, HSYNC timing and
// per-character effects are not modelled. Registers are stored unmasked.
#include <cstdint>

void CRTC_Reset_fast();
void CRTC_out(uint8_t index, uint8_t value);
uint8_t CRTC_in_fast(uint8_t index);
void CRTC_Tick_fast(uint8_t microseconds);

// Recomputes what depends on a register (255: all of them) and hands the geometry to
// the renderer.
void CRTC_Update_fast(uint8_t registerNumber);
