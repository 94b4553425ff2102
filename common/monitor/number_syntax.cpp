// The monitor's number syntax: register names, decimal numbers ending in a lower-case
// "d", and hexadecimal numbers in upper-case digits.
#include <cstring>

#include "common/monitor/monitor_internal.h"

namespace {

constexpr int kMaxHexDigits = 4;
constexpr int kMaxDecimalDigits = 5;
constexpr int kMaxByteHexDigits = 2;
constexpr int kMaxByteDecimalDigits = 3;

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
    {"AF2", &Z80_State::AF_, DBG_WHOLE},  {"BC2", &Z80_State::BC_, DBG_WHOLE},
    {"DE2", &Z80_State::DE_, DBG_WHOLE},  {"HL2", &Z80_State::HL_, DBG_WHOLE},
    {"IXH", &Z80_State::IX, DBG_HIGH},    {"IXL", &Z80_State::IX, DBG_LOW},
    {"IYH", &Z80_State::IY, DBG_HIGH},    {"IYL", &Z80_State::IY, DBG_LOW},
    {"AF", &Z80_State::AF, DBG_WHOLE},    {"BC", &Z80_State::BC, DBG_WHOLE},
    {"DE", &Z80_State::DE, DBG_WHOLE},    {"HL", &Z80_State::HL, DBG_WHOLE},
    {"IX", &Z80_State::IX, DBG_WHOLE},    {"IY", &Z80_State::IY, DBG_WHOLE},
    {"SP", nullptr, DBG_STACK_POINTER},   {"PC", nullptr, DBG_PROGRAM_COUNTER},
    {"A", &Z80_State::AF, DBG_HIGH},      {"F", &Z80_State::AF, DBG_LOW},
    {"B", &Z80_State::BC, DBG_HIGH},      {"C", &Z80_State::BC, DBG_LOW},
    {"D", &Z80_State::DE, DBG_HIGH},      {"E", &Z80_State::DE, DBG_LOW},
    {"H", &Z80_State::HL, DBG_HIGH},      {"L", &Z80_State::HL, DBG_LOW},
    {"R", nullptr, DBG_REFRESH_REGISTER},
};

bool Dbg_IsWordRegister(const Dbg_RegisterName& reg) {
    return reg.part == DBG_WHOLE || reg.part == DBG_STACK_POINTER ||
           reg.part == DBG_PROGRAM_COUNTER;
}

uint16_t Dbg_ReadRegister(const Z80_State* state, const Dbg_RegisterName& reg) {
    switch (reg.part) {
        case DBG_WHOLE: return (state->*reg.pair).w;
        case DBG_HIGH: return (state->*reg.pair).hi;
        case DBG_LOW: return (state->*reg.pair).lo;
        case DBG_STACK_POINTER: return state->SP;
        case DBG_PROGRAM_COUNTER: return state->PC;
        default: return state->R;
    }
}

void Dbg_WriteRegister(Z80_State* state, const Dbg_RegisterName& reg, uint16_t value) {
    const uint8_t low = static_cast<uint8_t>(value);
    switch (reg.part) {
        case DBG_WHOLE: (state->*reg.pair).w = value; break;
        case DBG_HIGH: (state->*reg.pair).hi = low; break;
        case DBG_LOW: (state->*reg.pair).lo = low; break;
        case DBG_STACK_POINTER: state->SP = value; break;
        case DBG_PROGRAM_COUNTER: state->PC = value; break;
        default: state->R = low; break;
    }
}

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
        *value = Dbg_ReadRegister(state, reg);
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
