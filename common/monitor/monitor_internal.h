#pragma once
// State and helpers shared by the monitor's screen, keyboard and command files. Not for
// use outside common/monitor.
#include <cstdint>
#include <cstdio>

#include "common/monitor/monitor.h"

constexpr int DBG_LISTING_ROWS = 24;
constexpr uint8_t DBG_NO_MARKER = 255;
constexpr int DBG_LINE_SLOTS = 16;
constexpr int DBG_LINE_CHARS = 54;  // input line and message width
constexpr int DBG_LINE_SIZE = DBG_LINE_CHARS + 1;
constexpr int DBG_FIND_BYTES = 8;

// Panel geometry: the top-left content cell, the size in cells.
constexpr int DBG_LISTING_ROW = 1;
constexpr int DBG_LISTING_MARKER_COLUMN = 1;
constexpr int DBG_LISTING_TEXT_COLUMN = 2;
constexpr int DBG_MESSAGE_ROW = 31;
constexpr int DBG_MESSAGE_COLUMN = 1;
constexpr int DBG_MESSAGE_ROWS = 8;
constexpr int DBG_INPUT_ROW = DBG_MESSAGE_ROW + DBG_MESSAGE_ROWS - 1;

// 54 spaces: clears a listing row, a message row or the input line.
extern const char DBG_BLANK_LINE[DBG_LINE_SIZE];

struct Dbg_Monitor {
    bool consoleCreated = false;

    // Listing and memory panel (shared with the commands).
    uint16_t listingTop = 0;
    uint16_t lineAddresses[DBG_LISTING_ROWS] = {};
    uint8_t markerRow = DBG_NO_MARKER;
    uint8_t follow = 0;
    uint16_t dumpAddress = 0;
    uint16_t dumpView = 0;

    // Status row.
    uint8_t shownRunning = 0;
    uint32_t runStartTime = 0;
    uint32_t runStartTicks = 0;

    // Line editor and history: the current slot is the input line.
    char history[DBG_LINE_SLOTS][DBG_LINE_SIZE] = {};
    uint8_t currentSlot = 0;
    uint8_t inputLength = 0;
    uint8_t browseIndex = DBG_LINE_SLOTS - 1;

    // Message ring; the first-shown slot is always the write index + 9.
    char messages[DBG_LINE_SLOTS][DBG_LINE_SIZE] = {};
    uint8_t writeIndex = 0;
    uint8_t firstShown = 9;

    uint32_t pollCounter = 0;
    bool polledInput = false;  // the last look at the keyboard and script took something
    std::FILE* script = nullptr;
    uint8_t findBytes[DBG_FIND_BYTES] = {};

    std::FILE* pcLog = nullptr;
    uint32_t pcLogCount = 0;
};

extern Dbg_Monitor g_Monitor;

// Upper-case comparison of the start of text with word (ASCII letters only).
bool Dbg_StartsWithWord(const char* text, const char* word);
// Opens a file as named, then under ../Files/ and ../Test/; null when none opens.
std::FILE* Dbg_OpenSearched(const char* name, const char* mode);

// A register the commands name: its text, and where its value lives.
enum Dbg_RegisterPart : uint8_t {
    DBG_WHOLE,  // a register pair
    DBG_HIGH,
    DBG_LOW,
    DBG_STACK_POINTER,
    DBG_PROGRAM_COUNTER,
    DBG_REFRESH_REGISTER,
};
struct Dbg_RegisterName {
    const char* name;
    Z80_Pair Z80_State::*pair;  // for the pairs and their halves
    Dbg_RegisterPart part;
};
// The register names in the order they are matched (longest names first).
constexpr int DBG_REGISTER_NAME_COUNT = 25;
extern const Dbg_RegisterName DBG_REGISTER_NAMES[DBG_REGISTER_NAME_COUNT];
bool Dbg_IsWordRegister(const Dbg_RegisterName& reg);
uint16_t Dbg_ReadRegister(const Z80_State* state, const Dbg_RegisterName& reg);
// 8-bit registers take the low byte of value.
void Dbg_WriteRegister(Z80_State* state, const Dbg_RegisterName& reg, uint16_t value);

// Writes value as digits upper-case hexadecimal digits, most significant first (no NUL).
void Dbg_HexDigits(uint16_t value, int digits, char* out);

// The commands in the order they are matched.
struct Dbg_Command {
    const char* word;
    uint8_t (*run)(Z80_State* state, const char* arguments);
};
constexpr int DBG_COMMAND_COUNT = 27;
extern const Dbg_Command DBG_COMMANDS[DBG_COMMAND_COUNT];

// Commands of commands_memory.cpp.
uint8_t Dbg_CommandMem(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandLoad(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandDm(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandSb(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandFill(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandRb(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandFb(Z80_State* state, const char* arguments);
// Commands of commands_snapshot.cpp.
uint8_t Dbg_CommandSnapSave(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandSnapLoad(Z80_State* state, const char* arguments);
// Commands of commands_watch.cpp.
uint8_t Dbg_CommandWp(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandWpd(Z80_State* state, const char* arguments);
uint8_t Dbg_CommandWpc(Z80_State* state, const char* arguments);

// True when only blanks are left: a command's check for left-over text.
inline bool Dbg_OnlyBlanks(const char* text) {
    return text && *Dbg_SkipBlanks(text) == '\0';
}
