// Breakpoints: a list from the newest to the oldest, hanging off the processor record
// and tested at the end of every step; and the PC log of executed addresses.
#include "common/monitor/breakpoints.h"

#include <new>

#include "common/monitor/monitor_internal.h"
#include "common/xtools/xtools.h"

namespace {
constexpr const char* kPCLogFile = "PCLog.txt";
constexpr uint32_t kPCLogEntriesPerLine = 16;

// One bit per address that has at least one node: the end-of-step test costs the same
// whatever the number of breakpoints, and walks the list only where one is set.
uint8_t g_breakpointMap[65536 / 8];

bool Marked(uint16_t address) {
    return (g_breakpointMap[address >> 3] >> (address & 7)) & 1;
}

void Mark(uint16_t address, bool set) {
    const uint8_t bit = static_cast<uint8_t>(1u << (address & 7));
    if (set)
        g_breakpointMap[address >> 3] |= bit;
    else
        g_breakpointMap[address >> 3] &= static_cast<uint8_t>(~bit);
}
}  // namespace

void Z80_AddBreakpoint(Z80_State* state, uint16_t address, uint8_t kind) {
    auto* node = new (std::nothrow) Z80_Breakpoint{state->breakpoints, address, kind};
    if (!node) {
        XT_Trace("* Z80_AddBreakpoint(): No memory for a breakpoint at %04XH", address);
        return;
    }
    state->breakpoints = node;
    Mark(address, true);
}

void Z80_RemoveBreakpointNode(Z80_State* state, Z80_Breakpoint* node) {
    for (Z80_Breakpoint** link = &state->breakpoints; *link; link = &(*link)->next) {
        if (*link == node) {
            *link = node->next;
            const uint16_t address = node->address;
            delete node;
            // The bit stays while another node holds the address.
            bool other = false;
            for (const Z80_Breakpoint* rest = state->breakpoints; rest && !other; rest = rest->next)
                other = rest->address == address;
            Mark(address, other);
            return;
        }
    }
}

void Z80_ClearBreakpoint(Z80_State* state, uint16_t address) {
    // The newest permanent one, else the newest temporary one: a step over whose end is
    // never reached must not stay for good.
    Z80_Breakpoint* temporary = nullptr;
    for (Z80_Breakpoint* node = state->breakpoints; node; node = node->next) {
        if (node->address != address) continue;
        if (node->kind == Z80_BREAKPOINT_PERMANENT) {
            Z80_RemoveBreakpointNode(state, node);
            return;
        }
        if (!temporary) temporary = node;
    }
    if (temporary) Z80_RemoveBreakpointNode(state, temporary);
}

bool Z80_BreakpointAt(uint16_t address) {
    return Marked(address);
}

void Z80_FreeBreakpoints(Z80_State* state) {
    while (state->breakpoints) Z80_RemoveBreakpointNode(state, state->breakpoints);
}

void Z80_CheckBreakpoints(Z80_State* state) {
    if (!Marked(state->PC)) return;
    uint8_t result = Z80_STOP_NONE;
    for (Z80_Breakpoint* node = state->breakpoints; node;) {
        Z80_Breakpoint* next = node->next;  // the node may be freed below
        if (node->address == state->PC) {
            if (node->kind == Z80_BREAKPOINT_TEMPORARY) {
                if (result != Z80_STOP_BREAKPOINT) result = Z80_STOP_TEMP_BREAKPOINT;
                Z80_RemoveBreakpointNode(state, node);
            } else {
                result = Z80_STOP_BREAKPOINT;
            }
        }
        node = next;
    }
    // A reason the step itself set stays.
    if (state->stopReason == Z80_STOP_NONE) state->stopReason = result;
}

void Dbg_OpenPCLog() {
    if (g_Monitor.pcLog) return;
    // A file that cannot be created leaves the log off, without a word.
    g_Monitor.pcLog = std::fopen(kPCLogFile, "w");
    g_Monitor.pcLogCount = 0;
}

void Dbg_ClosePCLog() {
    if (!g_Monitor.pcLog) return;
    std::fclose(g_Monitor.pcLog);
    g_Monitor.pcLog = nullptr;
}

bool Dbg_LoggingPC() {
    return g_Monitor.pcLog != nullptr;
}

void Dbg_LogPC(Z80_State* state) {
    std::FILE* log = g_Monitor.pcLog;
    if (!log) return;
    if (++g_Monitor.pcLogCount == kPCLogEntriesPerLine) {
        std::fputc('\n', log);
        g_Monitor.pcLogCount = 0;
    }
    // "%04X, " without formatting on every instruction.
    char entry[6] = {0, 0, 0, 0, ',', ' '};
    Dbg_HexDigits(state->PC, 4, entry);
    std::fwrite(entry, 1, sizeof entry, log);
}
