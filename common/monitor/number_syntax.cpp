// The monitor's number syntax: register names, decimal numbers ending in a lower-case
// "d", and hexadecimal numbers in upper-case digits.
#include <cstring>

#include "common/monitor/monitor_internal.h"

namespace {

constexpr int kMaxHexDigits = 4;
constexpr int kMaxDecimalDigits = 5;
constexpr int kMaxByteHexDigits = 2;
constexpr int kMaxByteDecimalDigits = 3;

uint16_t* PairAF(Z80_State* s) {
    return &s->AF.w;
}
uint16_t* PairBC(Z80_State* s) {
    return &s->BC.w;
}
uint16_t* PairDE(Z80_State* s) {
    return &s->DE.w;
}
uint16_t* PairHL(Z80_State* s) {
    return &s->HL.w;
}
uint16_t* PairAF2(Z80_State* s) {
    return &s->AF_.w;
}
uint16_t* PairBC2(Z80_State* s) {
    return &s->BC_.w;
}
uint16_t* PairDE2(Z80_State* s) {
    return &s->DE_.w;
}
uint16_t* PairHL2(Z80_State* s) {
    return &s->HL_.w;
}
uint16_t* PairIX(Z80_State* s) {
    return &s->IX.w;
}
uint16_t* PairIY(Z80_State* s) {
    return &s->IY.w;
}
uint16_t* PairSP(Z80_State* s) {
    return &s->SP;
}
uint16_t* PairPC(Z80_State* s) {
    return &s->PC;
}
uint8_t* ByteIXH(Z80_State* s) {
    return &s->IX.hi;
}
uint8_t* ByteIXL(Z80_State* s) {
    return &s->IX.lo;
}
uint8_t* ByteIYH(Z80_State* s) {
    return &s->IY.hi;
}
uint8_t* ByteIYL(Z80_State* s) {
    return &s->IY.lo;
}
uint8_t* ByteA(Z80_State* s) {
    return &s->AF.hi;
}
uint8_t* ByteF(Z80_State* s) {
    return &s->AF.lo;
}
uint8_t* ByteB(Z80_State* s) {
    return &s->BC.hi;
}
uint8_t* ByteC(Z80_State* s) {
    return &s->BC.lo;
}
uint8_t* ByteD(Z80_State* s) {
    return &s->DE.hi;
}
uint8_t* ByteE(Z80_State* s) {
    return &s->DE.lo;
}
uint8_t* ByteH(Z80_State* s) {
    return &s->HL.hi;
}
uint8_t* ByteL(Z80_State* s) {
    return &s->HL.lo;
}
uint8_t* ByteR(Z80_State* s) {
    return &s->R;
}

char Upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

// Upper-case hexadecimal digits only: a lower-case letter is never a digit.
int HexDigitValue(char c) {
    if (IsDecimalDigit(c)) return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A decimal number ending in "d" of 1 to maxDigits digits up to limit, or hexadecimal
// of 1 to maxHexDigits digits. Null when the text is neither.
const char* ParseNumber(const char* text, uint32_t limit, int maxDigits, int maxHexDigits,
                        uint32_t* value) {
    const char* p = text;
    while (IsDecimalDigit(*p)) ++p;
    if (*p == 'd') {
        int digits = static_cast<int>(p - text);
        if (digits < 1 || digits > maxDigits) return nullptr;
        uint32_t decimal = 0;
        for (const char* q = text; q < p; ++q)
            decimal = decimal * 10 + static_cast<uint32_t>(*q - '0');
        if (decimal > limit) return nullptr;
        *value = decimal;
        return p + 1;
    }
    if (HexDigitValue(*text) < 0) return nullptr;
    uint32_t hex = 0;
    p = text;
    for (int digits = 0; digits < maxHexDigits && HexDigitValue(*p) >= 0; ++digits, ++p)
        hex = hex * 16 + static_cast<uint32_t>(HexDigitValue(*p));
    *value = hex;
    return p;
}

}  // namespace

const Dbg_RegisterName DBG_REGISTER_NAMES[DBG_REGISTER_NAME_COUNT] = {
    {"AF2", true, PairAF2, nullptr},  {"BC2", true, PairBC2, nullptr},
    {"DE2", true, PairDE2, nullptr},  {"HL2", true, PairHL2, nullptr},
    {"IXH", false, nullptr, ByteIXH}, {"IXL", false, nullptr, ByteIXL},
    {"IYH", false, nullptr, ByteIYH}, {"IYL", false, nullptr, ByteIYL},
    {"AF", true, PairAF, nullptr},    {"BC", true, PairBC, nullptr},
    {"DE", true, PairDE, nullptr},    {"HL", true, PairHL, nullptr},
    {"IX", true, PairIX, nullptr},    {"IY", true, PairIY, nullptr},
    {"SP", true, PairSP, nullptr},    {"PC", true, PairPC, nullptr},
    {"A", false, nullptr, ByteA},     {"F", false, nullptr, ByteF},
    {"B", false, nullptr, ByteB},     {"C", false, nullptr, ByteC},
    {"D", false, nullptr, ByteD},     {"E", false, nullptr, ByteE},
    {"H", false, nullptr, ByteH},     {"L", false, nullptr, ByteL},
    {"R", false, nullptr, ByteR},
};

bool Dbg_StartsWithWord(const char* text, const char* word) {
    for (; *word; ++word, ++text)
        if (Upper(*text) != *word) return false;
    return true;
}

const char* Dbg_SkipBlanks(const char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    return text;
}

const char* Dbg_ParseValue(const char* text, uint16_t* value, Z80_State* state) {
    for (const Dbg_RegisterName& reg : DBG_REGISTER_NAMES) {
        if (!Dbg_StartsWithWord(text, reg.name)) continue;
        const char* rest = text + std::strlen(reg.name);
        // Only a space or the end closes a name; "BCD" is a hexadecimal number.
        if (*rest != ' ' && *rest != '\0') continue;
        *value = reg.wide ? *reg.word(state) : *reg.byte(state);
        return rest;
    }
    uint32_t number = 0;
    const char* rest = ParseNumber(text, 0xFFFF, kMaxDecimalDigits, kMaxHexDigits, &number);
    if (rest) *value = static_cast<uint16_t>(number);
    return rest;
}

const char* Dbg_ParseByte(const char* text, uint8_t* value) {
    uint32_t number = 0;
    const char* rest = ParseNumber(text, 0xFF, kMaxByteDecimalDigits, kMaxByteHexDigits, &number);
    if (rest) *value = static_cast<uint8_t>(number);
    return rest;
}
