// The remote protocol on random input: bytes framed into packets, each packet carried
// out on a processor over 64 KB of flat memory (the input's tail is its program), runs
// cut short after a few hundred instructions as a Ctrl-C would, watch and breakpoint
// lists emptied after every input.
#include <cstdint>
#include <cstring>

#include "common/machine/machine.h"
#include "common/monitor/breakpoints.h"
#include "common/monitor/watchpoints.h"
#include "common/remote/remote.h"

namespace {

constexpr int kMostSteps = 300;
uint8_t g_memory[65536];
CPC_Machine g_flat;
Z80_State g_cpu;
Rsp_Framer g_framer;
char g_reply[RSP_REPLY_SIZE];

void Build() {
    g_flat.ReadMem = [](uint16_t a) { return g_memory[a]; };
    g_flat.WriteMem = [](uint16_t a, uint8_t v) { g_memory[a] = v; };
    g_flat.In = [](uint16_t) -> uint8_t { return 0xFF; };
    g_flat.Out = [](uint16_t, uint8_t) {};
    g_flat.Update = [](uint8_t) {};
    g_flat.IntAck = []() -> uint8_t { return 0; };
    g_flat.Reset = []() {};
    g_flat.RetI = []() {};
    g_flat.MemAccess = [](uint8_t, void*) {};
    for (int page = 0; page < 4; ++page) g_flat.readMap[page] = g_memory + page * CPC_PAGE_SIZE;
    Z80_Init(&g_cpu, &g_flat);
    Z80_Reset(&g_cpu);
}

void Carry(const char* packet, size_t length) {
    size_t n = 0;
    Rsp_Result result = Rsp_Handle(&g_cpu, packet, length, g_reply, &n);
    if (result != RSP_CONTINUE && result != RSP_STEP) return;
    g_cpu.running = result == RSP_CONTINUE;
    for (int i = 0; i < (g_cpu.running ? kMostSteps : 1); ++i) {
        Wp_BeforeStep(&g_cpu);
        Z80_StepInstruction(&g_cpu);
        Wp_AfterStep(&g_cpu);
        if (!g_cpu.running) break;
    }
    n = Rsp_StopReply(&g_cpu, g_cpu.running, g_reply);
    g_cpu.running = 0;
    char framed[RSP_REPLY_SIZE + 4];
    Rsp_Encode(g_reply, n, framed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool built = (Build(), true);
    (void)built;
    std::memset(g_memory, 0, sizeof g_memory);
    const size_t program = size / 4;  // the last quarter is code at 0
    std::memcpy(g_memory, data + size - program, program);
    Z80_Reset(&g_cpu);
    g_framer = Rsp_Framer{};
    for (size_t i = 0; i < size - program; ++i) {
        Rsp_Event event = Rsp_Feed(&g_framer, data[i]);
        // Packets with a bad checksum are tried too: the handler must take any bytes.
        if (event == RSP_PACKET || event == RSP_BAD_CHECKSUM || event == RSP_TOO_LONG)
            Carry(g_framer.packet, g_framer.length);
    }
    Wp_Clear(&g_cpu);
    Z80_FreeBreakpoints(&g_cpu);
    return 0;
}
