// Commands that read and change memory and its ROM mapping: MEM, DM, SB, FILL, FB, RB,
// and LOAD of program files with the 128-byte AMSDOS header.
#include <cstdint>
#include <string>

#include "common/machine/machine.h"
#include "common/monitor/monitor_internal.h"
#include "common/xtools/xtools.h"

namespace {

constexpr long kHeaderSize = 128;
constexpr int kHeaderLoadAddress = 21;
constexpr int kHeaderLength = 24;
constexpr int kHeaderEntry = 26;
constexpr uint16_t kLoadPiece = 256;
constexpr uint32_t kAddressSpace = 65536;

constexpr int kRomKeywordLength = 5;
constexpr int kRamRomLength = 3;
constexpr uint16_t kBothRoms = CPC_ROMCFG_LOWER | CPC_ROMCFG_UPPER;

void SetRomConfig(Z80_State* state, uint16_t config) {
    // The request of this operation is the configuration word itself.
    state->machine->MemAccess(CPC_MEM_SET_ROM_CONFIG,
                              reinterpret_cast<void*>(static_cast<uintptr_t>(config)));
}

// One of HIROM, HIRAM, LOROM, LORAM at the start of text, applied to config; advances text.
bool ApplyRomKeyword(const char** text, uint16_t* config) {
    struct Keyword {
        const char* word;
        uint16_t bit;
        bool set;
    };
    static constexpr Keyword kKeywords[] = {
        {"HIROM", CPC_ROMCFG_UPPER, true},
        {"HIRAM", CPC_ROMCFG_UPPER, false},
        {"LOROM", CPC_ROMCFG_LOWER, true},
        {"LORAM", CPC_ROMCFG_LOWER, false},
    };
    for (const Keyword& keyword : kKeywords) {
        if (!Dbg_StartsWithWord(*text, keyword.word)) continue;
        *config =
            static_cast<uint16_t>(keyword.set ? (*config | keyword.bit) : (*config & ~keyword.bit));
        *text += kRomKeywordLength;
        return true;
    }
    return false;
}

uint16_t HeaderWord(const uint8_t* header, int offset) {
    return static_cast<uint16_t>(header[offset] | (header[offset + 1] << 8));
}

// Copies length bytes from the file's position to memory from address upwards.
void CopyToMemory(Z80_State* state, std::FILE* file, uint16_t address, uint32_t length) {
    uint8_t piece[kLoadPiece];
    while (length > 0) {
        size_t wanted = length < kLoadPiece ? length : kLoadPiece;
        size_t got = std::fread(piece, 1, wanted, file);
        for (size_t i = 0; i < got; ++i) {
            state->machine->WriteMem(address, piece[i]);
            address = static_cast<uint16_t>(address + 1);
        }
        if (got < wanted) return;  // the size was checked; a read error ends the copy
        length -= static_cast<uint32_t>(got);
    }
}

// The pattern of FB: quoted characters or bytes; false on a syntax error.
bool ParsePattern(const char* text, uint8_t* count) {
    uint8_t* bytes = g_Monitor.findBytes;
    uint8_t n = 0;
    bool tooMany = false;
    if (*text == '"') {
        for (++text; *text != '"'; ++text) {
            if (*text == '\0') return false;
            if (n == DBG_FIND_BYTES) {
                tooMany = true;
                break;
            }
            bytes[n++] = static_cast<uint8_t>(*text);
        }
    } else {
        while (*text) {
            if (n == DBG_FIND_BYTES) {
                tooMany = true;
                break;
            }
            text = Dbg_ParseByte(text, &bytes[n]);
            if (!text) return false;
            ++n;
            text = Dbg_SkipBlanks(text);
        }
    }
    if (tooMany) Dbg_Message("Too many values entered, using only the first 8\n");
    *count = n;
    return n > 0;
}

bool PatternAt(Z80_State* state, uint16_t address, uint8_t count) {
    for (uint8_t i = 0; i < count; ++i) {
        if (state->machine->ReadMem(static_cast<uint16_t>(address + i)) != g_Monitor.findBytes[i])
            return false;
    }
    return true;
}

}  // namespace

uint8_t Dbg_CommandMem(Z80_State* state, const char* arguments) {
    if (*arguments == '\0') return DBG_SYNTAX_ERROR;
    uint16_t config = 0;
    state->machine->MemAccess(CPC_MEM_GET_ROM_CONFIG, &config);
    for (const char* text = arguments; *text; text = Dbg_SkipBlanks(text)) {
        if (!ApplyRomKeyword(&text, &config)) return DBG_SYNTAX_ERROR;
    }
    SetRomConfig(state, config);
    return DBG_MEMORY_CHANGED;
}

uint8_t Dbg_CommandDm(Z80_State* state, const char* arguments) {
    if (*arguments == '\0') return DBG_SYNTAX_ERROR;
    const char* text = arguments;
    // The view changes even when the address that follows fails.
    if (ApplyRomKeyword(&text, &g_Monitor.dumpView)) text = Dbg_SkipBlanks(text);
    if (*text) {
        uint16_t address = 0;
        if (!Dbg_OnlyBlanks(Dbg_ParseValue(text, &address, state))) return DBG_SYNTAX_ERROR;
        g_Monitor.dumpAddress = address;
    }
    return DBG_REFRESH_DUMP;
}

uint8_t Dbg_CommandSb(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    const char* text = Dbg_ParseValue(arguments, &address, state);
    if (!text) return DBG_SYNTAX_ERROR;
    text = Dbg_SkipBlanks(text);
    if (*text == '\0') return DBG_SYNTAX_ERROR;
    for (bool first = true; *text; first = false) {
        uint8_t value = 0;
        const char* rest = Dbg_ParseByte(text, &value);
        if (!rest) {
            if (first) return DBG_SYNTAX_ERROR;
            Dbg_Message("### Syntax Error - Some values have been put in memory");
            return DBG_MEMORY_CHANGED;
        }
        Z80_WriteMem(state, address, value);
        address = static_cast<uint16_t>(address + 1);
        text = Dbg_SkipBlanks(rest);
    }
    return DBG_MEMORY_CHANGED;
}

uint8_t Dbg_CommandFill(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    uint16_t count = 0;
    uint8_t value = 0;
    const char* text = Dbg_ParseValue(arguments, &address, state);
    if (text) text = Dbg_ParseValue(Dbg_SkipBlanks(text), &count, state);
    if (text) text = Dbg_ParseByte(Dbg_SkipBlanks(text), &value);
    if (!Dbg_OnlyBlanks(text)) return DBG_SYNTAX_ERROR;
    for (uint16_t i = 0; i < count; ++i)
        Z80_WriteMem(state, static_cast<uint16_t>(address + i), value);
    return DBG_MEMORY_CHANGED;
}

uint8_t Dbg_CommandRb(Z80_State* state, const char* arguments) {
    bool select = false;
    uint16_t selection = 0;
    if (*arguments) {
        if (Dbg_StartsWithWord(arguments, "RAM")) {
            selection = 0;
        } else if (Dbg_StartsWithWord(arguments, "ROM")) {
            selection = kBothRoms;
        } else {
            return DBG_SYNTAX_ERROR;
        }
        if (!Dbg_OnlyBlanks(arguments + kRamRomLength)) return DBG_SYNTAX_ERROR;
        select = true;
    }
    Z80_Reset(state);
    if (select) SetRomConfig(state, selection);
    return DBG_AFTER_RESET;
}

uint8_t Dbg_CommandFb(Z80_State* state, const char* arguments) {
    uint16_t start = 0;
    const char* text = Dbg_ParseValue(arguments, &start, state);
    if (!text) return DBG_SYNTAX_ERROR;
    uint8_t count = 0;
    if (!ParsePattern(Dbg_SkipBlanks(text), &count)) return DBG_SYNTAX_ERROR;
    uint16_t address = start;
    do {
        if (PatternAt(state, address, count)) {
            char message[32];
            XT_Sprintf(message, "Found at address: %04XH\n", address);
            Dbg_Message(message);
            return DBG_NONE;
        }
        address = static_cast<uint16_t>(address + 1);
    } while (address != start);
    Dbg_Message("Not Found.\n");
    return DBG_NONE;
}

uint8_t Dbg_CommandLoad(Z80_State* state, const char* arguments) {
    const char* end = arguments;
    while (*end && *end != ',' && *end != ' ' && *end != '\t') ++end;
    if (end == arguments) return DBG_SYNTAX_ERROR;
    std::string name(arguments, end);

    bool haveAddress = false;
    uint16_t loadAddress = 0;
    const char* text = Dbg_SkipBlanks(end);
    if (*text == ',') {
        if (!Dbg_OnlyBlanks(Dbg_ParseValue(Dbg_SkipBlanks(text + 1), &loadAddress, state)))
            return DBG_SYNTAX_ERROR;
        haveAddress = true;
    } else if (*text) {
        return DBG_SYNTAX_ERROR;
    }

    std::FILE* file = Dbg_OpenSearched(name.c_str(), "rb");
    if (!file) {
        Dbg_Message("File not found");
        return DBG_NONE;
    }
    uint8_t header[kHeaderSize];
    long fileSize = -1;
    if (std::fseek(file, 0, SEEK_END) == 0) fileSize = std::ftell(file);
    // A file without a whole header has no data either.
    if (fileSize < kHeaderSize || std::fseek(file, 0, SEEK_SET) != 0 ||
        std::fread(header, 1, sizeof header, file) != sizeof header) {
        std::fclose(file);
        Dbg_Message("File too small");
        return DBG_NONE;
    }
    if (!haveAddress) loadAddress = HeaderWord(header, kHeaderLoadAddress);
    uint32_t length = HeaderWord(header, kHeaderLength);
    uint16_t entry = HeaderWord(header, kHeaderEntry);
    const char* refusal = nullptr;
    if (loadAddress + length > kAddressSpace)
        refusal = "File too big";
    else if (length > static_cast<unsigned long>(fileSize - kHeaderSize))
        refusal = "File too small";
    if (refusal) {
        std::fclose(file);
        Dbg_Message(refusal);
        return DBG_NONE;
    }
    CopyToMemory(state, file, loadAddress, length);
    std::fclose(file);
    Dbg_Message("File loaded.");
    SetRomConfig(state, 0);
    state->PC = entry;
    return DBG_STOP;
}
