#pragma once
// uPD765 floppy disk controller.
#include <cstdint>

struct FDC_State {
    uint8_t mainStatus;
};

void FDC_Init();
void FDC_Reset();
uint8_t FDC_in(uint16_t port);
void FDC_out(uint16_t port, uint8_t value);
