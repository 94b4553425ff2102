#include "flat_machine.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

FlatMachine g_Flat;

namespace {
CPC_Machine g_flatRecord;
constexpr uint32_t kMostHeld = 200;

void AddTime(uint8_t microseconds) {
    uint32_t every = g_Flat.interruptEvery;
    uint32_t before = g_Flat.updatedMicroseconds;
    g_Flat.updatedMicroseconds += microseconds;
    g_flatRecord.deviceTime += microseconds;
    if (every != 0 && before / every != g_Flat.updatedMicroseconds / every)
        g_Flat.interruptPending = true;
}

// Time the processor held counts before anything that could tell, and a port access
// makes it hand on the rest of its instruction's time at once.
void CountHeldTime() {
    AddTime(std::exchange(g_flatRecord.heldTime, uint8_t{0}));
    g_flatRecord.heldLimit = 0;
}
}  // namespace

CPC_Machine* FlatMachine_Create() {
    std::memset(g_Flat.memory, 0, sizeof g_Flat.memory);
    g_Flat.portValue = 0xFF;
    g_Flat.writes.clear();
    g_Flat.reads.clear();
    g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds = 0;
    g_Flat.interruptPending = false;
    g_Flat.interruptEvery = 0;
    g_flatRecord.deviceTime = 0;
    g_flatRecord.heldTime = g_flatRecord.heldLimit = 0;
    g_Flat.resets = g_Flat.retis = 0;
    g_flatRecord.ReadMem = [](uint16_t address) { return g_Flat.memory[address]; };
    g_flatRecord.WriteMem = [](uint16_t address, uint8_t value) { g_Flat.memory[address] = value; };
    g_flatRecord.In = [](uint16_t port) {
        CountHeldTime();
        g_Flat.reads.push_back(port);
        g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
        return g_Flat.portValue;
    };
    g_flatRecord.Out = [](uint16_t port, uint8_t value) {
        CountHeldTime();
        g_Flat.writes.push_back({port, value});
        g_Flat.portUpdatedAt = g_Flat.updatedMicroseconds;
    };
    g_flatRecord.Update = [](uint8_t microseconds) {
        CountHeldTime();
        AddTime(microseconds);
        // The processor may hold time up to the next interrupt.
        uint32_t every = g_Flat.interruptEvery;
        uint32_t limit = every ? every - 1 - g_Flat.updatedMicroseconds % every : kMostHeld;
        g_flatRecord.heldLimit = static_cast<uint8_t>(std::min(limit, kMostHeld));
    };
    g_flatRecord.IntAck = [] {
        return static_cast<uint8_t>(std::exchange(g_Flat.interruptPending, false));
    };
    g_flatRecord.Reset = [] { g_Flat.resets++; };
    g_flatRecord.RetI = [] { g_Flat.retis++; };
    g_flatRecord.MemAccess = [](uint8_t, void*) {};
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
