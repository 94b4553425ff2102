#pragma once
// The monitor's console as the host provides it: a grid of character cells with a
// cursor, and a keyboard read one key at a time. A front end installs its operations
// before the emulation thread starts; the monitor calls them on the emulation thread only,
// so a front end that draws or takes keys on another thread guards its own state.
#include <cstdint>

constexpr int PAL_CONSOLE_COLUMNS = 75;
constexpr int PAL_CONSOLE_ROWS = 41;

// Keys as the console reads them. Extended keys arrive as two reads: a prefix, then
// the key's own code.
constexpr uint8_t PAL_KEY_FUNCTION_PREFIX = 0;
constexpr uint8_t PAL_KEY_EXTENDED_PREFIX = 224;
constexpr uint8_t PAL_KEY_BACKSPACE = 8;
constexpr uint8_t PAL_KEY_ENTER = 13;
constexpr uint8_t PAL_KEY_ESCAPE = 27;
// After PAL_KEY_EXTENDED_PREFIX.
constexpr uint8_t PAL_KEY_UP = 72;
constexpr uint8_t PAL_KEY_PAGE_UP = 73;
constexpr uint8_t PAL_KEY_DOWN = 80;
constexpr uint8_t PAL_KEY_PAGE_DOWN = 81;
constexpr uint8_t PAL_KEY_F11 = 133;
// After PAL_KEY_FUNCTION_PREFIX.
constexpr uint8_t PAL_KEY_F1 = 59;
constexpr uint8_t PAL_KEY_F5 = 63;
constexpr uint8_t PAL_KEY_F10 = 68;

struct PAL_ConsoleOperations {
    void* context;  // handed back to every operation
    // Shows the console; called once, when the monitor creates it.
    void (*open)(void* context);
    void (*getCursor)(void* context, int* column, int* row);
    void (*setCursor)(void* context, int column, int row);
    // Writes text at the cursor and moves the cursor past it, as a terminal does:
    // '\n' starts the next row, a full row wraps, writing past the last row scrolls.
    void (*write)(void* context, const char* text);
    bool (*keyWaiting)(void* context);
    // One key; called only after keyWaiting said so, and for the code after a prefix.
    uint8_t (*readKey)(void* context);
};

// Installs the console (null for none: writes go nowhere and no key is ever waiting).
// The operations must stay valid while the emulation thread runs.
void PAL_SetConsole(const PAL_ConsoleOperations* operations);
const PAL_ConsoleOperations* PAL_GetConsole();
