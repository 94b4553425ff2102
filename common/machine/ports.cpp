// PENDING: replaced by the port decoder, PPI and Gate Array.
#include "common/machine/machine.h"
uint8_t CPC_in(uint16_t) { return 0; }
void CPC_out(uint16_t, uint8_t) {}
void CPC_Update(uint8_t) {}
uint8_t CPC_IntAck() { return 0; }
uint8_t PPI_in(uint8_t) { return 0; }
void PPI_out(uint8_t, uint8_t) {}
void GA_out(uint8_t) {}
void EXP_out(uint8_t) {}
