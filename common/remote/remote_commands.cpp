// The commands of the remote protocol, answered on the emulation thread between two
// instructions. Registers go as GDB's Z80 target lays them out: thirteen of 16 bits, low
// byte first. Memory is the processor's view; writes where ROM shows go to the RAM
// beneath. Breakpoints and watchpoints are the monitor's own lists.
#include <cstring>

#include "common/machine/machine.h"
#include "common/monitor/breakpoints.h"
#include "common/monitor/watchpoints.h"
#include "common/remote/remote.h"

namespace {

constexpr char kHex[] = "0123456789abcdef";
constexpr const char* kSupported =
    "PacketSize=1000;qXfer:features:read+;swbreak+;hwbreak+;QStartNoAckMode+";
constexpr const char* kTargetXml =
    "<?xml version=\"1.0\"?><!DOCTYPE target SYSTEM \"gdb-target.dtd\">"
    "<target version=\"1.0\"><architecture>z80</architecture>"
    "<feature name=\"org.gnu.gdb.z80.cpu\">"
    "<reg name=\"af\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"bc\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"de\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"hl\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"sp\" bitsize=\"16\" type=\"data_ptr\"/>"
    "<reg name=\"pc\" bitsize=\"16\" type=\"code_ptr\"/>"
    "<reg name=\"ix\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"iy\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"af'\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"bc'\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"de'\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"hl'\" bitsize=\"16\" type=\"int\"/>"
    "<reg name=\"ir\" bitsize=\"16\" type=\"int\"/>"
    "</feature></target>";
constexpr uint8_t kSignalInterrupt = 2;
constexpr uint8_t kSignalIllegal = 4;
constexpr uint8_t kSignalTrap = 5;
constexpr uint8_t kSignalBus = 10;
constexpr uint8_t kPcRegister = 5;
// The addresses of the client's Z1 breakpoints, whose stops say "hwbreak".
bool g_hardware[65536];

constexpr size_t kMostBytesRead = (RSP_REPLY_SIZE - 8) / 2;

// The reply being built; every writer checks the room left.
struct Reply {
    char* text;
    size_t length;
    void Add(const char* s) {
        while (*s && length < RSP_REPLY_SIZE) text[length++] = *s++;
    }
    void Byte(uint8_t b) {
        if (length + 2 > RSP_REPLY_SIZE) return;
        text[length++] = kHex[b >> 4];
        text[length++] = kHex[b & 15];
    }
    void Word(uint16_t w) {  // low byte first
        Byte(static_cast<uint8_t>(w));
        Byte(static_cast<uint8_t>(w >> 8));
    }
};

Rsp_Result Refuse(Reply& r) {
    r.Add("E01");
    return RSP_ANSWER;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A hexadecimal number of at most 8 digits; null when there is none.
const char* ParseHex(const char* p, const char* end, uint32_t* value) {
    uint32_t v = 0;
    int digits = 0;
    for (; p < end && HexValue(*p) >= 0; ++p, ++digits) {
        if (digits == 8) return nullptr;
        v = v << 4 | static_cast<uint32_t>(HexValue(*p));
    }
    *value = v;
    return digits ? p : nullptr;
}

// "ADDR,LENGTH" followed by stop; the address within 64 KB. Null on any fault.
const char* ParseRange(const char* p, const char* end, char stop, uint32_t* address,
                       uint32_t* length) {
    p = ParseHex(p, end, address);
    if (!p || p == end || *p != ',' || *address > 0xFFFF) return nullptr;
    p = ParseHex(p + 1, end, length);
    if (!p || (stop ? (p == end || *p != stop) : p != end)) return nullptr;
    return stop ? p + 1 : p;
}

uint16_t* RegisterSlot(Z80_State* s, int n, uint16_t* ir) {
    switch (n) {
        case 0: return &s->AF.w;
        case 1: return &s->BC.w;
        case 2: return &s->DE.w;
        case 3: return &s->HL.w;
        case 4: return &s->SP;
        case 5: return &s->PC;
        case 6: return &s->IX.w;
        case 7: return &s->IY.w;
        case 8: return &s->AF_.w;
        case 9: return &s->BC_.w;
        case 10: return &s->DE_.w;
        case 11: return &s->HL_.w;
        default: return ir;
    }
}

uint16_t ReadRegister(Z80_State* s, int n) {
    uint16_t ir = static_cast<uint16_t>(s->I << 8 | s->R);
    return *RegisterSlot(s, n, &ir);
}

void WriteRegister(Z80_State* s, int n, uint16_t value) {
    uint16_t ir = 0;
    uint16_t* slot = RegisterSlot(s, n, &ir);
    *slot = value;
    if (slot == &ir) {
        s->I = static_cast<uint8_t>(value >> 8);
        s->R = static_cast<uint8_t>(value);
    }
}

// Four hex digits, low byte first; -1 when they are not.
int32_t ParseWord(const char* p) {
    int v[4];
    for (int i = 0; i < 4; ++i)
        if ((v[i] = HexValue(p[i])) < 0) return -1;
    return (v[0] << 4 | v[1]) | (v[2] << 4 | v[3]) << 8;
}

bool Is(const char* packet, size_t length, const char* word) {
    size_t n = std::strlen(word);
    return length >= n && std::memcmp(packet, word, n) == 0;
}

Rsp_Result ReadMemory(Z80_State* s, const char* p, const char* end, Reply& r) {
    uint32_t address = 0, length = 0;
    if (!ParseRange(p, end, 0, &address, &length) || length == 0) return Refuse(r);
    // A read past FFFF or longer than a reply holds gives what there is.
    if (length > 0x10000 - address) length = 0x10000 - address;
    if (length > kMostBytesRead) length = kMostBytesRead;
    for (uint32_t i = 0; i < length; ++i)
        r.Byte(s->machine->ReadMem(static_cast<uint16_t>(address + i)));
    return RSP_ANSWER;
}

// M (hex) and X (binary, "}" escapes the next byte XOR 0x20) writes.
Rsp_Result WriteMemory(Z80_State* s, const char* p, const char* end, bool binary, Reply& r) {
    uint32_t address = 0, length = 0;
    p = ParseRange(p, end, ':', &address, &length);
    if (!p || length > 0x10000 - address) return Refuse(r);
    uint8_t bytes[RSP_PACKET_SIZE];
    uint32_t count = 0;
    while (p < end && count < length) {
        int value;
        if (binary) {
            value = static_cast<uint8_t>(*p++);
            if (value == '}') {
                if (p == end) break;
                value = static_cast<uint8_t>(*p++) ^ 0x20;
            }
        } else {
            if (end - p < 2 || HexValue(p[0]) < 0 || HexValue(p[1]) < 0) break;
            value = HexValue(p[0]) << 4 | HexValue(p[1]);
            p += 2;
        }
        bytes[count++] = static_cast<uint8_t>(value);
    }
    if (count != length || p != end) return Refuse(r);
    for (uint32_t i = 0; i < count; ++i)
        Wp_WriteUnwatched(s, static_cast<uint16_t>(address + i), bytes[i]);
    r.Add("OK");
    return RSP_CHANGED;
}

// Z and z: 0 and 1 breakpoints, 2 write, 3 read and 4 access watchpoints.
Rsp_Result Point(Z80_State* s, const char* p, const char* end, bool insert, Reply& r) {
    static const uint8_t kKinds[] = {0, 0, WP_WRITE, WP_READ, WP_ACCESS};
    if (end - p < 2 || *p < '0' || *p > '4' || p[1] != ',') return RSP_ANSWER;  // unsupported
    const int type = *p - '0';
    uint32_t address = 0, size = 0;
    const char* rest = ParseRange(p + 2, end, 0, &address, &size);
    if (!rest) {
        // Breakpoint kinds may carry conditions after ";": not offered, so refused.
        r.Add("E01");
        return RSP_ANSWER;
    }
    const uint16_t at = static_cast<uint16_t>(address);
    if (type < 2) {
        if (insert)
            Z80_AddBreakpoint(s, at, Z80_BREAKPOINT_PERMANENT);
        else
            Z80_ClearBreakpoint(s, at);
        if (type == 1) g_hardware[at] = insert;
        r.Add("OK");
        return RSP_CHANGED;
    }
    if (size == 0 || size > 0x10000 - address) return Refuse(r);
    const uint16_t last = static_cast<uint16_t>(address + size - 1);
    bool done = insert ? Wp_Add(s, kKinds[type], at, last) : Wp_Remove(s, kKinds[type], at, last);
    r.Add(done ? "OK" : "E01");
    return RSP_CHANGED;
}

// qXfer:features:read:target.xml:OFFSET,LENGTH
Rsp_Result Features(const char* p, const char* end, Reply& r) {
    uint32_t offset = 0, length = 0;
    const char* q = ParseHex(p, end, &offset);
    if (!q || q == end || *q != ',' || ParseHex(q + 1, end, &length) != end) return Refuse(r);
    const size_t total = std::strlen(kTargetXml);
    if (offset >= total) {
        r.Add("l");
        return RSP_ANSWER;
    }
    size_t n = total - offset;
    if (length > RSP_REPLY_SIZE - 8) length = RSP_REPLY_SIZE - 8;
    if (n > length) n = length;
    r.Add(n < total - offset ? "m" : "l");
    std::memcpy(r.text + r.length, kTargetXml + offset, n);
    r.length += n;
    return RSP_ANSWER;
}

// c, s, vCont;c and vCont;s, with an optional address to resume at.
Rsp_Result Resume(Z80_State* s, const char* p, const char* end, bool step, Reply& r) {
    if (p < end) {
        uint32_t address = 0;
        if (ParseHex(p, end, &address) != end || address > 0xFFFF) return Refuse(r);
        s->PC = static_cast<uint16_t>(address);
    }
    return step ? RSP_STEP : RSP_CONTINUE;
}

Rsp_Result Query(Z80_State*, const char* packet, size_t length, Reply& r) {
    const char* end = packet + length;
    if (Is(packet, length, "qSupported"))
        r.Add(kSupported);
    else if (Is(packet, length, "qXfer:features:read:target.xml:"))
        return Features(packet + 31, end, r);
    else if (Is(packet, length, "qAttached"))
        r.Add("1");
    else if (Is(packet, length, "qC") && length == 2)
        r.Add("QC1");
    else if (Is(packet, length, "qfThreadInfo"))
        r.Add("m1");
    else if (Is(packet, length, "qsThreadInfo"))
        r.Add("l");
    else if (Is(packet, length, "QStartNoAckMode"))
        r.Add("OK");
    return RSP_ANSWER;
}

}  // namespace

size_t Rsp_StopReply(Z80_State* s, bool interrupted, char* text) {
    Reply r{text, 0};
    const char* reason = "";
    uint8_t signal = kSignalTrap;
    if (interrupted) {
        signal = kSignalInterrupt;
    } else {
        switch (s->stopReason) {
            case Z80_STOP_BREAKPOINT:
            case Z80_STOP_TEMP_BREAKPOINT:
                reason = g_hardware[s->PC] ? "hwbreak:;" : "swbreak:;";
                break;
            case Z80_STOP_UNKNOWN_INSTRUCTION:
            case Z80_STOP_INVALID_PREFIX: signal = kSignalIllegal; break;
            case Z80_STOP_UNSUPPORTED_PORT: signal = kSignalBus; break;
            default: break;
        }
    }
    r.Add("T");
    r.Byte(signal);
    r.Byte(kPcRegister);
    r.Add(":");
    r.Word(s->PC);
    r.Add(";");
    const Wp_Hit& hit = Wp_LastHit();
    if (!interrupted && s->stopReason == Z80_STOP_WATCHPOINT && !(hit.kind & WP_PORT)) {
        const uint8_t kinds = Wp_MemoryKinds(hit.address);
        r.Add(kinds == WP_ACCESS ? "awatch:" : hit.kind == WP_READ ? "rwatch:" : "watch:");
        r.Byte(static_cast<uint8_t>(hit.address >> 8));
        r.Byte(static_cast<uint8_t>(hit.address));
        r.Add(";");
    }
    r.Add(reason);
    return r.length;
}

Rsp_Result Rsp_Handle(Z80_State* s, const char* packet, size_t length, char* text,
                      size_t* textLength) {
    Reply r{text, 0};
    Rsp_Result result = RSP_ANSWER;
    const char* end = packet + length;
    const char* p = packet + 1;
    switch (length ? packet[0] : 0) {
        case '?': r.length = Rsp_StopReply(s, false, text); break;
        case 'g':
            for (int n = 0; n < RSP_REGISTER_COUNT; ++n) r.Word(ReadRegister(s, n));
            break;
        case 'G': {
            bool good = length == 1 + 4 * RSP_REGISTER_COUNT;
            for (int n = 0; good && n < RSP_REGISTER_COUNT; ++n) good = ParseWord(p + 4 * n) >= 0;
            if (!good) {
                r.Add("E01");
                break;
            }
            for (int n = 0; n < RSP_REGISTER_COUNT; ++n)
                WriteRegister(s, n, static_cast<uint16_t>(ParseWord(p + 4 * n)));
            r.Add("OK");
            result = RSP_CHANGED;
            break;
        }
        case 'p': {
            uint32_t n = 0;
            if (ParseHex(p, end, &n) != end || n >= RSP_REGISTER_COUNT)
                r.Add("E01");
            else
                r.Word(ReadRegister(s, static_cast<int>(n)));
            break;
        }
        case 'P': {
            uint32_t n = 0;
            const char* q = ParseHex(p, end, &n);
            if (!q || n >= RSP_REGISTER_COUNT || end - q != 5 || *q != '=' ||
                ParseWord(q + 1) < 0) {
                r.Add("E01");
                break;
            }
            WriteRegister(s, static_cast<int>(n), static_cast<uint16_t>(ParseWord(q + 1)));
            r.Add("OK");
            result = RSP_CHANGED;
            break;
        }
        case 'm': result = ReadMemory(s, p, end, r); break;
        case 'M': result = WriteMemory(s, p, end, false, r); break;
        case 'X': result = WriteMemory(s, p, end, true, r); break;
        case 'c': result = Resume(s, p, end, false, r); break;
        case 's': result = Resume(s, p, end, true, r); break;
        case 'Z': result = Point(s, p, end, true, r); break;
        case 'z': result = Point(s, p, end, false, r); break;
        case 'k': result = RSP_KILL; break;
        case 'D':
            r.Add("OK");
            result = RSP_DETACH;
            break;
        case 'H': r.Add("OK"); break;
        case 'T': r.Add("OK"); break;
        case 'q':
        case 'Q': result = Query(s, packet, length, r); break;
        case 'v':
            if (Is(packet, length, "vCont?"))
                r.Add("vCont;c;C;s;S");
            else if (Is(packet, length, "vCont;c") || Is(packet, length, "vCont;C"))
                result = RSP_CONTINUE;
            else if (Is(packet, length, "vCont;s") || Is(packet, length, "vCont;S"))
                result = RSP_STEP;
            break;
        default: break;  // the empty reply: not supported
    }
    *textLength = r.length;
    return result;
}
