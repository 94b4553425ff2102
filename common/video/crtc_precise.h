#pragma once
// The precise ("best") CRTC variant: one character clock per emulated microsecond.
// The rest of the machine reaches it through the handler set; the steps are exposed
// for tests and for the monitor.
#include <cstdint>

// Register number that CRTC_Update_best takes to re-read every register.
constexpr uint8_t CRTC_UPDATE_ALL = 255;

void CRTC_Reset_best();
void CRTC_out_best(uint8_t index, uint8_t value);
uint8_t CRTC_in_best(uint8_t index);
void CRTC_Tick_best(uint8_t microseconds);

// Video address of the current character from MA and RA.
void CRTC_ComputeAddress();
void CRTC_HSyncStart();
// The Gate Array's interrupt line counter, advanced at every HSYNC end.
void GA_CountLine();
void CRTC_NewLine();
void CRTC_CheckVSync();
void CRTC_Update_best(uint8_t registerNumber);
