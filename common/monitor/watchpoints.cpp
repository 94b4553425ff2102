// Watchpoints: a byte per address tells which memory watches cover it, so a checked write
// costs one look-up; port watches are few and are compared one by one. Writes and port
// accesses are caught by operations that stand in for the machine's own while a watch is
// set; reads, which the processor takes straight from the read map, are found by decoding
// the instruction about to run.
#include "common/monitor/watchpoints.h"

#include <cstdio>
#include <cstring>

#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {

Wp_Watch g_watches[WP_MAX];
int g_count = 0;
uint8_t g_memoryKinds[65536];  // WP_WRITE | WP_READ of the watches covering each address
uint8_t g_portKinds = 0;       // WP_IN | WP_OUT of all port watches
bool g_watchingReads = false;
Wp_Hit g_hit;
bool g_hitPending = false;  // a read found before the step, reported after it
char g_message[64];

Z80_State* g_state = nullptr;  // the processor whose machine's operations stand in
void (*g_write)(uint16_t, uint8_t) = nullptr;
uint8_t (*g_in)(uint16_t) = nullptr;
void (*g_out)(uint16_t, uint8_t) = nullptr;

const char* KindName(uint8_t kind) {
    switch (kind) {
        case WP_WRITE: return "write";
        case WP_READ: return "read";
        case WP_ACCESS: return "access";
        case WP_OUT: return "OUT";
        case WP_IN: return "IN";
        default: return "IN/OUT";
    }
}

void Hit(uint8_t kind, uint16_t address, uint8_t value, uint16_t pc) {
    if (g_state->stopReason == Z80_STOP_WATCHPOINT) return;  // the first one tells
    g_hit = {kind, address, value, pc};
    XT_Sprintf(g_message, "Watch: %s %04X=%02X at PC %04X", KindName(kind), address, value, pc);
    if (g_state->stopReason == Z80_STOP_NONE) Z80_SetStopReason(g_state, Z80_STOP_WATCHPOINT);
    g_state->machine->heldLimit = 0;  // the end of the instruction must see the stop
}

void PortHit(uint8_t kind, uint16_t port, uint8_t value) {
    for (int i = 0; i < g_count; ++i) {
        const Wp_Watch& w = g_watches[i];
        if ((w.kind & kind) && ((port ^ w.first) & w.last) == 0) {
            Hit(kind, port, value, g_state->startPC);
            return;
        }
    }
}

void WatchedWrite(uint16_t address, uint8_t value) {
    g_write(address, value);
    if (g_memoryKinds[address] & WP_WRITE) Hit(WP_WRITE, address, value, g_state->startPC);
}

uint8_t WatchedIn(uint16_t port) {
    uint8_t value = g_in(port);
    if (g_portKinds & WP_IN) PortHit(WP_IN, port, value);
    return value;
}

void WatchedOut(uint16_t port, uint8_t value) {
    g_out(port, value);
    if (g_portKinds & WP_OUT) PortHit(WP_OUT, port, value);
}

// The map, the port kinds and the machine's operations after the list changed.
void Rebuild(Z80_State* state) {
    std::memset(g_memoryKinds, 0, sizeof g_memoryKinds);
    g_portKinds = 0;
    g_watchingReads = false;
    for (int i = 0; i < g_count; ++i) {
        const Wp_Watch& w = g_watches[i];
        if (w.kind & WP_READ) g_watchingReads = true;
        if (w.kind & WP_PORT) {
            g_portKinds |= w.kind;
            continue;
        }
        for (uint16_t a = w.first;; ++a) {
            g_memoryKinds[a] |= w.kind;
            if (a == w.last) break;
        }
    }
    CPC_Machine* m = state->machine;
    if (g_count > 0 && !g_state) {
        g_state = state;
        g_write = m->WriteMem;
        g_in = m->In;
        g_out = m->Out;
        m->WriteMem = WatchedWrite;
        m->In = WatchedIn;
        m->Out = WatchedOut;
    } else if (g_count == 0 && g_state) {
        m->WriteMem = g_write;
        m->In = g_in;
        m->Out = g_out;
        g_state = nullptr;
    }
}

// Through the read map, as the processor reads: this runs before every instruction.
uint8_t Read(Z80_State* s, uint16_t address) {
    return s->machine->readMap[address >> 14][address & 0x3FFF];
}

uint16_t ReadWord(Z80_State* s, uint16_t address) {
    return static_cast<uint16_t>(Read(s, address) | Read(s, static_cast<uint16_t>(address + 1))
                                                        << 8);
}

// Whether condition cc (NZ Z NC C PO PE P M) holds.
bool ConditionHolds(const Z80_State* s, unsigned cc) {
    static const uint8_t kFlag[4] = {Z80_FLAG_Z, Z80_FLAG_C, Z80_FLAG_PV, Z80_FLAG_S};
    return ((s->AF.lo & kFlag[cc >> 1]) != 0) == ((cc & 1) != 0);
}

// The data the instruction at PC reads (not its own bytes): up to four addresses, a word
// as two. Returns how many.
int DataReads(Z80_State* s, uint16_t* out) {
    uint16_t p = s->PC;
    uint8_t op = Read(s, p);
    const Z80_Pair* index = nullptr;
    while (op == 0xDD || op == 0xFD) {  // the last of a chain of prefixes counts
        index = op == 0xDD ? &s->IX : &s->IY;
        op = Read(s, ++p);
    }
    const uint16_t operand = static_cast<uint16_t>(p + 1);
    const uint16_t hl =
        index ? static_cast<uint16_t>(index->w + static_cast<int8_t>(Read(s, operand))) : s->HL.w;
    int n = 0;
    auto word = [&](uint16_t a) {
        out[n++] = a;
        out[n++] = static_cast<uint16_t>(a + 1);
    };
    if (op == 0xCB) {
        if (index || (Read(s, operand) & 7) == 6) out[n++] = hl;
        return n;
    }
    if (op == 0xED) {
        const uint8_t e = Read(s, operand);
        if ((e & 0xCF) == 0x4B) word(ReadWord(s, static_cast<uint16_t>(p + 2)));
        if ((e & 0xC7) == 0x45) word(s->SP);  // RETN, RETI
        if (e == 0x67 || e == 0x6F || ((e & 0xE4) == 0xA0 && (e & 3) != 2)) out[n++] = s->HL.w;
        return n;
    }
    if (op == 0x0A) out[n++] = s->BC.w;
    if (op == 0x1A) out[n++] = s->DE.w;
    if (op == 0x2A) word(ReadWord(s, operand));
    if (op == 0x3A) out[n++] = ReadWord(s, operand);
    if (op == 0x34 || op == 0x35 || (op >= 0x40 && op < 0xC0 && (op & 7) == 6 && op != 0x76))
        out[n++] = hl;
    if (op == 0xC9 || op == 0xE3 || (op & 0xCF) == 0xC1 ||
        ((op & 0xC7) == 0xC0 && ConditionHolds(s, (op >> 3) & 7)))
        word(s->SP);
    return n;
}

}  // namespace

bool Wp_Add(Z80_State* state, uint8_t kind, uint16_t first, uint16_t last) {
    const bool memory = kind >= WP_WRITE && kind <= WP_ACCESS;
    const bool port = kind == WP_IN || kind == WP_OUT || kind == WP_PORT;
    if (g_count == WP_MAX || (!memory && !port)) return false;
    g_watches[g_count++] = {kind, first, last};
    Rebuild(state);
    return true;
}

bool Wp_Remove(Z80_State* state, uint8_t kind, uint16_t first, uint16_t last) {
    for (int i = 0; i < g_count; ++i) {
        const Wp_Watch& w = g_watches[i];
        if (w.kind == kind && w.first == first && w.last == last) return Wp_RemoveAt(state, i);
    }
    return false;
}

bool Wp_RemoveAt(Z80_State* state, int index) {
    if (index < 0 || index >= g_count) return false;
    for (int i = index; i + 1 < g_count; ++i) g_watches[i] = g_watches[i + 1];
    --g_count;
    Rebuild(state);
    return true;
}

void Wp_Clear(Z80_State* state) {
    g_count = 0;
    g_hitPending = false;
    Rebuild(state);
}

int Wp_Count() {
    return g_count;
}

const Wp_Watch& Wp_At(int index) {
    return g_watches[index];
}

void Wp_Describe(const Wp_Watch& w, char* text, int size) {
    if (w.kind & WP_PORT)
        std::snprintf(text, static_cast<size_t>(size), "%s %04X mask %04X", KindName(w.kind),
                      w.first, w.last);
    else if (w.first == w.last)
        std::snprintf(text, static_cast<size_t>(size), "%s %04X", KindName(w.kind), w.first);
    else
        std::snprintf(text, static_cast<size_t>(size), "%s %04X-%04X", KindName(w.kind), w.first,
                      w.last);
}

const Wp_Hit& Wp_LastHit() {
    return g_hit;
}

uint8_t Wp_MemoryKinds(uint16_t address) {
    return g_memoryKinds[address];
}

const char* Wp_HitMessage() {
    return g_message;
}

bool Wp_WatchingReads() {
    return g_watchingReads;
}

void Wp_BeforeStep(Z80_State* state) {
    uint16_t reads[4];
    const int n = DataReads(state, reads);
    for (int i = 0; i < n && !g_hitPending; ++i) {
        if (!(g_memoryKinds[reads[i]] & WP_READ)) continue;
        g_hit = {WP_READ, reads[i], Read(state, reads[i]), state->PC};
        g_hitPending = true;
    }
}

void Wp_AfterStep(Z80_State* state) {
    if (!g_hitPending) return;
    g_hitPending = false;
    if (state->stopReason != Z80_STOP_NONE) return;  // that stop tells first
    XT_Sprintf(g_message, "Watch: read %04X=%02X at PC %04X", g_hit.address, g_hit.value, g_hit.pc);
    Z80_SetStopReason(state, Z80_STOP_WATCHPOINT);
    state->running = 0;
}

void Wp_WriteUnwatched(Z80_State* state, uint16_t address, uint8_t value) {
    (g_state ? g_write : state->machine->WriteMem)(address, value);
}
