#pragma once
// AY-3-8912 registers, the keyboard matrix and the key queue.
#include <cstdint>

struct PSG_State {
    uint8_t registers[16];
    uint8_t selectedRegister;
    uint8_t keyboardMatrix[16];  // active low, one byte per row
};

void PSG_Init();
void PSG_Reset();
// Bus operations the PPI performs.
void PSG_Select(uint8_t data);
void PSG_Write(uint8_t data);
uint8_t PSG_Read(uint8_t portC);
void PSG_out(uint8_t reg, uint8_t value);
void PSG_Update(uint8_t microseconds);
void PSG_KeyEvent(uint8_t keyCode, uint8_t pressed);

// Speed correction of the sample ring; 32767 resets it.
void Emul_AdjustSpeed(int16_t delta);
