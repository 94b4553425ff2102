#include "flat_machine.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

FlatMachine g_Flat;

CPC_Machine* FlatMachine_Create() {
    static CPC_Machine record;
    std::memset(g_Flat.memory, 0, sizeof g_Flat.memory);
    g_Flat.portValue = 0xFF;
    g_Flat.writes.clear();
    g_Flat.reads.clear();
    g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds = 0;
    g_Flat.interruptPending = false;
    g_Flat.resets = g_Flat.retis = 0;
    record.ReadMem = [](uint16_t address) { return g_Flat.memory[address]; };
    record.WriteMem = [](uint16_t address, uint8_t value) { g_Flat.memory[address] = value; };
    record.In = [](uint16_t port) {
        g_Flat.reads.push_back(port);
        g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
        return g_Flat.portValue;
    };
    record.Out = [](uint16_t port, uint8_t value) {
        g_Flat.writes.push_back({port, value});
        g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
    };
    record.Update = [](uint8_t microseconds) { g_Flat.updatedMicroseconds += microseconds; };
    record.IntAck = [] {
        return static_cast<uint8_t>(std::exchange(g_Flat.interruptPending, false));
    };
    record.Reset = [] { g_Flat.resets++; };
    record.RetI = [] { g_Flat.retis++; };
    record.MemAccess = [](uint8_t, void*) {};
    for (int page = 0; page < 4; ++page) record.readMap[page] = g_Flat.memory + page * 0x4000;
    return &record;
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
