#include "flat_machine.h"

#include <cstring>
#include <fstream>
#include <iterator>

FlatMachine g_Flat;

namespace {
CPC_Machine g_flatRecord;

uint8_t FlatRead(uint16_t address) {
    return g_Flat.memory[address];
}
void FlatWrite(uint16_t address, uint8_t value) {
    g_Flat.memory[address] = value;
}
uint8_t FlatIn(uint16_t port) {
    g_Flat.reads.push_back(port);
    g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
    return g_Flat.portValue;
}
void FlatOut(uint16_t port, uint8_t value) {
    g_Flat.writes.push_back({port, value});
    g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
}
void FlatUpdate(uint8_t microseconds) {
    g_Flat.updatedMicroseconds += microseconds;
}
uint8_t FlatIntAck() {
    if (!g_Flat.interruptPending) return 0;
    g_Flat.interruptPending = false;
    return 1;
}
void FlatReset() {
    g_Flat.resets++;
}
void FlatRetI() {
    g_Flat.retis++;
}
void FlatMemAccess(uint8_t, void*) {}
}  // namespace

CPC_Machine* FlatMachine_Create() {
    std::memset(g_Flat.memory, 0, sizeof g_Flat.memory);
    g_Flat.portValue = 0xFF;
    g_Flat.writes.clear();
    g_Flat.reads.clear();
    g_Flat.portUpdatedAt = 0;
    g_Flat.updatedMicroseconds = 0;
    g_Flat.interruptPending = false;
    g_Flat.resets = 0;
    g_Flat.retis = 0;
    g_flatRecord.ReadMem = FlatRead;
    g_flatRecord.WriteMem = FlatWrite;
    g_flatRecord.In = FlatIn;
    g_flatRecord.Out = FlatOut;
    g_flatRecord.Update = FlatUpdate;
    g_flatRecord.IntAck = FlatIntAck;
    g_flatRecord.Reset = FlatReset;
    g_flatRecord.RetI = FlatRetI;
    g_flatRecord.MemAccess = FlatMemAccess;
    for (int page = 0; page < 4; ++page) g_flatRecord.readMap[page] = g_Flat.memory + page * 0x4000;
    return &g_flatRecord;
}

void FlatMachine_ResetProcessor(Z80_State* state) {
    Z80_Init(state, FlatMachine_Create());
    Z80_Reset(state);
}

void FlatMachine_Load(uint16_t address, const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < bytes.size(); ++i)
        g_Flat.memory[static_cast<uint16_t>(address + i)] = bytes[i];
}

std::vector<uint8_t> LoadTestProgram(const std::string& name) {
    std::ifstream file(std::string(Z80_PROGRAM_DIR) + "/" + name + ".bin", std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}
