// PENDING: replaced by the PSG registers and keyboard.
#include "common/sound/psg.h"
void PSG_Init() {}
void PSG_Reset() {}
void PSG_Select(uint8_t) {}
void PSG_Write(uint8_t) {}
uint8_t PSG_Read(uint8_t) { return 0xFF; }
void PSG_out(uint8_t, uint8_t) {}
void PSG_Update(uint8_t) {}
void PSG_KeyEvent(uint8_t, uint8_t) {}
void Emul_AdjustSpeed(int16_t) {}
