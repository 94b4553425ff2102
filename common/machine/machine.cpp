// PENDING: replaced by the memory map and start-up.
#include "common/machine/machine.h"
CPC_Machine g_Machine;
CPC_Machine* CPC_Init(uint8_t, uint8_t) { return nullptr; }
void CPC_Shutdown(CPC_Machine*) {}
void CPC_Reset() {}
uint8_t CPC_ReadMem(uint16_t) { return 0; }
void CPC_WriteMem(uint16_t, uint8_t) {}
void CPC_SetRomConfig(uint16_t) {}
void CPC_UpdateMemMap() {}
void CPC_ReadBlock(uint16_t, uint8_t*, uint16_t, uint16_t) {}
void CPC_MemAccess(uint8_t, void*) {}
void CPC_RetI() {}
