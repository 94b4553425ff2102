// CPC key codes to keyboard matrix events, the key queue between the user-interface
// thread and the emulation thread, and the feed that moves queued events into the matrix.
#include <array>
#include <cstring>

#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/xtools/xtools.h"

namespace {

constexpr uint8_t SHIFT_ROW = 2;
constexpr uint8_t SHIFT_MASK = 0x20;
constexpr uint8_t QUEUE_INDEX_MASK = PSG_KEY_QUEUE_SLOTS - 1;
// A program that never reads a key's row must not hold up the queue for good: after this
// many feeds the event is applied unread.
constexpr uint8_t MAX_FEEDS_WAITING_FOR_READ = 10;

std::atomic<PSG_KeySender> g_keySender{nullptr};

void Send(uint8_t row, uint8_t mask, uint8_t pressed) {
    PSG_KeySender sender = g_keySender.load(std::memory_order_relaxed);
    (sender ? sender : PSG_EnqueueKey)(row, mask, pressed);
}

enum KeyKind : uint8_t {
    KEY_NONE,
    KEY_DIRECT,         // sent as it is
    KEY_SHIFT,          // the CPC SHIFT key itself
    KEY_SYMBOL,         // a character typed without SHIFT
    KEY_SYMBOL_SHIFTED  // a character typed with SHIFT
};

struct KeyEntry {
    uint8_t code;
    uint8_t row;
    uint8_t mask;
    KeyKind kind;
};

// clang-format off
constexpr KeyEntry KEY_ENTRIES[] = {
    // Keys with no SHIFT handling.
    {PSG_KEY_SPACE, 5, 0x80, KEY_DIRECT},         {PSG_KEY_ESC, 8, 0x04, KEY_DIRECT},
    {PSG_KEY_TAB, 8, 0x10, KEY_DIRECT},           {PSG_KEY_SHIFT, SHIFT_ROW, SHIFT_MASK, KEY_SHIFT},
    {PSG_KEY_CLR, 2, 0x01, KEY_DIRECT},           {PSG_KEY_CONTROL, 2, 0x80, KEY_DIRECT},
    {PSG_KEY_RETURN, 2, 0x04, KEY_DIRECT},        {PSG_KEY_DEL, 9, 0x80, KEY_DIRECT},
    {PSG_KEY_COPY, 1, 0x02, KEY_DIRECT},          {PSG_KEY_CURSOR_UP, 0, 0x01, KEY_DIRECT},
    {PSG_KEY_CURSOR_DOWN, 0, 0x04, KEY_DIRECT},   {PSG_KEY_CURSOR_LEFT, 1, 0x01, KEY_DIRECT},
    {PSG_KEY_CURSOR_RIGHT, 0, 0x02, KEY_DIRECT},  {PSG_KEY_ENTER, 0, 0x40, KEY_DIRECT},
    {PSG_KEY_F0 + 0, 1, 0x80, KEY_DIRECT},        {PSG_KEY_F0 + 1, 1, 0x20, KEY_DIRECT},
    {PSG_KEY_F0 + 2, 1, 0x40, KEY_DIRECT},        {PSG_KEY_F0 + 3, 0, 0x20, KEY_DIRECT},
    {PSG_KEY_F0 + 4, 2, 0x10, KEY_DIRECT},        {PSG_KEY_F0 + 5, 1, 0x10, KEY_DIRECT},
    {PSG_KEY_F0 + 6, 0, 0x10, KEY_DIRECT},        {PSG_KEY_F0 + 7, 1, 0x04, KEY_DIRECT},
    {PSG_KEY_F0 + 8, 1, 0x08, KEY_DIRECT},        {PSG_KEY_F0 + 9, 0, 0x08, KEY_DIRECT},
    {PSG_KEY_JOY_LEFT, 9, 0x04, KEY_DIRECT},      {PSG_KEY_JOY_RIGHT, 9, 0x08, KEY_DIRECT},
    {PSG_KEY_JOY_UP, 9, 0x01, KEY_DIRECT},        {PSG_KEY_JOY_DOWN, 9, 0x02, KEY_DIRECT},
    {PSG_KEY_JOY_FIRE1, 9, 0x20, KEY_DIRECT},     {PSG_KEY_JOY_FIRE2, 9, 0x10, KEY_DIRECT},
    // Letter keys.
    {'A', 8, 0x20, KEY_DIRECT}, {'B', 6, 0x40, KEY_DIRECT}, {'C', 7, 0x40, KEY_DIRECT},
    {'D', 7, 0x20, KEY_DIRECT}, {'E', 7, 0x04, KEY_DIRECT}, {'F', 6, 0x20, KEY_DIRECT},
    {'G', 6, 0x10, KEY_DIRECT}, {'H', 5, 0x10, KEY_DIRECT}, {'I', 4, 0x08, KEY_DIRECT},
    {'J', 5, 0x20, KEY_DIRECT}, {'K', 4, 0x20, KEY_DIRECT}, {'L', 4, 0x10, KEY_DIRECT},
    {'M', 4, 0x40, KEY_DIRECT}, {'N', 5, 0x40, KEY_DIRECT}, {'O', 4, 0x04, KEY_DIRECT},
    {'P', 3, 0x08, KEY_DIRECT}, {'Q', 8, 0x08, KEY_DIRECT}, {'R', 6, 0x04, KEY_DIRECT},
    {'S', 7, 0x10, KEY_DIRECT}, {'T', 6, 0x08, KEY_DIRECT}, {'U', 5, 0x04, KEY_DIRECT},
    {'V', 6, 0x80, KEY_DIRECT}, {'W', 7, 0x08, KEY_DIRECT}, {'X', 7, 0x80, KEY_DIRECT},
    {'Y', 5, 0x08, KEY_DIRECT}, {'Z', 8, 0x80, KEY_DIRECT},
    // Characters, each on the key that carries it and with the SHIFT state it needs.
    {'!', 8, 0x01, KEY_SYMBOL_SHIFTED},  {'"', 8, 0x02, KEY_SYMBOL_SHIFTED},
    {'#', 7, 0x02, KEY_SYMBOL_SHIFTED},  {'$', 7, 0x01, KEY_SYMBOL_SHIFTED},
    {'%', 6, 0x02, KEY_SYMBOL_SHIFTED},  {'&', 6, 0x01, KEY_SYMBOL_SHIFTED},
    {'\'', 5, 0x02, KEY_SYMBOL_SHIFTED}, {'(', 5, 0x01, KEY_SYMBOL_SHIFTED},
    {')', 4, 0x02, KEY_SYMBOL_SHIFTED},  {'*', 3, 0x20, KEY_SYMBOL_SHIFTED},
    {'+', 3, 0x10, KEY_SYMBOL_SHIFTED},  {',', 4, 0x80, KEY_SYMBOL},
    {'-', 3, 0x02, KEY_SYMBOL},          {'.', 3, 0x80, KEY_SYMBOL},
    {'/', 3, 0x40, KEY_SYMBOL},          {'0', 4, 0x01, KEY_SYMBOL},
    {'1', 8, 0x01, KEY_SYMBOL},          {'2', 8, 0x02, KEY_SYMBOL},
    {'3', 7, 0x02, KEY_SYMBOL},          {'4', 7, 0x01, KEY_SYMBOL},
    {'5', 6, 0x02, KEY_SYMBOL},          {'6', 6, 0x01, KEY_SYMBOL},
    {'7', 5, 0x02, KEY_SYMBOL},          {'8', 5, 0x01, KEY_SYMBOL},
    {'9', 4, 0x02, KEY_SYMBOL},          {':', 3, 0x20, KEY_SYMBOL},
    {';', 3, 0x10, KEY_SYMBOL},          {'<', 4, 0x80, KEY_SYMBOL_SHIFTED},
    {'=', 3, 0x02, KEY_SYMBOL_SHIFTED},  {'>', 3, 0x80, KEY_SYMBOL_SHIFTED},
    {'?', 3, 0x40, KEY_SYMBOL_SHIFTED},  {'@', 3, 0x04, KEY_SYMBOL},
    {'[', 2, 0x02, KEY_SYMBOL},          {'\\', 2, 0x40, KEY_SYMBOL},
    {']', 2, 0x08, KEY_SYMBOL},          {'^', 3, 0x01, KEY_SYMBOL},
    {'_', 4, 0x01, KEY_SYMBOL_SHIFTED},  {'`', 2, 0x40, KEY_SYMBOL_SHIFTED},
    {'{', 2, 0x02, KEY_SYMBOL_SHIFTED},  {'|', 3, 0x04, KEY_SYMBOL_SHIFTED},
    {'}', 2, 0x08, KEY_SYMBOL_SHIFTED},  {PSG_KEY_POUND, 3, 0x01, KEY_SYMBOL_SHIFTED},
};
// clang-format on

struct KeyPosition {
    uint8_t row;
    uint8_t mask;
    KeyKind kind;
};

constexpr std::array<KeyPosition, 256> BuildKeyTable() {
    std::array<KeyPosition, 256> table{};
    for (const KeyEntry& entry : KEY_ENTRIES)
        table[entry.code] = {entry.row, entry.mask, entry.kind};
    return table;
}

constexpr bool EveryCodeOnce() {
    for (const KeyEntry& a : KEY_ENTRIES) {
        int seen = 0;
        for (const KeyEntry& b : KEY_ENTRIES) seen += a.code == b.code;
        if (seen != 1 || a.row >= PSG_KEYBOARD_ROWS) return false;
    }
    return true;
}
static_assert(EveryCodeOnce(), "a key code is listed twice or on a row without keys");

constexpr std::array<KeyPosition, 256> KEY_TABLE = BuildKeyTable();

PSG_State& Psg() {
    return g_Machine.psg;
}

void SendShift(uint8_t pressed) {
    Send(SHIFT_ROW, SHIFT_MASK, pressed);
}

// Puts the CPC SHIFT back where the user's own SHIFT key has it.
void RestoreShift(uint8_t override, uint8_t shiftHeld) {
    if (override == PSG_SHIFT_OVERRIDE_UP && shiftHeld) SendShift(1);
    if (override == PSG_SHIFT_OVERRIDE_DOWN && !shiftHeld) SendShift(0);
}

void ShiftEvent(uint8_t pressed) {
    PSG_State& psg = Psg();
    psg.shiftHeld.store(pressed, std::memory_order_relaxed);
    uint8_t override = psg.shiftOverride.load(std::memory_order_relaxed);
    if (override == PSG_SHIFT_OVERRIDE_NONE) {
        SendShift(pressed);
        return;
    }
    uint8_t lastRow = psg.lastSymbolRow.load(std::memory_order_relaxed);
    if (lastRow == PSG_NO_SYMBOL_ROW) return;
    // The held symbol now types another character: let go of it, the host reports the new one.
    Send(lastRow, psg.lastSymbolMask.load(std::memory_order_relaxed), 0);
    RestoreShift(override, pressed);
    psg.shiftOverride.store(PSG_SHIFT_OVERRIDE_NONE, std::memory_order_relaxed);
    psg.lastSymbolRow.store(PSG_NO_SYMBOL_ROW, std::memory_order_relaxed);
}

void SymbolEvent(const KeyPosition& key, uint8_t pressed) {
    PSG_State& psg = Psg();
    uint8_t shiftHeld = psg.shiftHeld.load(std::memory_order_relaxed);
    if (pressed) {
        if (key.kind == KEY_SYMBOL_SHIFTED) {
            psg.shiftOverride.store(PSG_SHIFT_OVERRIDE_DOWN, std::memory_order_relaxed);
            if (!shiftHeld) SendShift(1);
        } else {
            psg.shiftOverride.store(PSG_SHIFT_OVERRIDE_UP, std::memory_order_relaxed);
            if (shiftHeld) SendShift(0);
        }
    }
    Send(key.row, key.mask, pressed);
    psg.lastSymbolRow.store(key.row, std::memory_order_relaxed);
    psg.lastSymbolMask.store(key.mask, std::memory_order_relaxed);
    if (!pressed) {
        RestoreShift(psg.shiftOverride.load(std::memory_order_relaxed), shiftHeld);
        psg.shiftOverride.store(PSG_SHIFT_OVERRIDE_NONE, std::memory_order_relaxed);
    }
}

// Applies one queued event to the matrix; false when it must wait for the next feed.
bool ApplyKeyEvent(uint8_t row, uint8_t mask, bool pressed) {
    PSG_State& psg = Psg();
    if (row >= PSG_KEYBOARD_ROWS) return true;  // cannot be queued; skip it all the same
    // Released earlier in this feed: the CPC must see it up for a whole period first; and
    // pressed in this feed: down for a whole period.
    if (pressed ? (psg.releasedThisFeed[row] & mask) : !(psg.notPressedThisFeed[row] & mask))
        return false;
    if (((psg.unreadChanges[row] | psg.readOnceChanges[row]) & mask) &&
        psg.feedsWaitingForRead < MAX_FEEDS_WAITING_FOR_READ) {
        ++psg.feedsWaitingForRead;
        return false;
    }
    if (pressed) {
        psg.notPressedThisFeed[row] &= static_cast<uint8_t>(~mask);
        psg.keyboardMatrix[row] &= static_cast<uint8_t>(~mask);
    } else {
        psg.releasedThisFeed[row] |= mask;
        psg.keyboardMatrix[row] |= mask;
    }
    psg.unreadChanges[row] |= mask;
    psg.readOnceChanges[row] &= static_cast<uint8_t>(~mask);
    psg.feedsWaitingForRead = 0;
    return true;
}

void FeedKeys() {
    PSG_State& psg = Psg();
    uint8_t read = psg.keyQueueRead.load(std::memory_order_relaxed) & QUEUE_INDEX_MASK;
    if (read == psg.keyQueueWrite.load(std::memory_order_acquire)) return;
    std::memset(psg.releasedThisFeed, 0x00, sizeof psg.releasedThisFeed);
    std::memset(psg.notPressedThisFeed, 0xFF, sizeof psg.notPressedThisFeed);
    while (read != psg.keyQueueWrite.load(std::memory_order_acquire)) {
        uint8_t row = psg.keyQueue[read][0] & 0x0F;
        bool pressed = (psg.keyQueue[read][0] & PSG_KEY_PRESSED_BIT) != 0;
        uint8_t mask = psg.keyQueue[read][1];
        if (!ApplyKeyEvent(row, mask, pressed)) return;
        read = (read + 1) & QUEUE_INDEX_MASK;
        psg.keyQueueRead.store(read, std::memory_order_release);
        // Keys after a SHIFT change wait a period, so the CPC reads them with the new SHIFT.
        if (row == SHIFT_ROW && mask == SHIFT_MASK) return;
    }
}

}  // namespace

bool PSG_TryEnqueueKey(uint8_t row, uint8_t mask, uint8_t pressed) {
    PSG_State& psg = Psg();
    uint8_t write = psg.keyQueueWrite.load(std::memory_order_relaxed) & QUEUE_INDEX_MASK;
    uint8_t next = (write + 1) & QUEUE_INDEX_MASK;
    if (next == psg.keyQueueRead.load(std::memory_order_acquire)) return false;
    psg.keyQueue[write][0] = static_cast<uint8_t>(row | (pressed ? PSG_KEY_PRESSED_BIT : 0));
    psg.keyQueue[write][1] = mask;
    psg.keyQueueWrite.store(next, std::memory_order_release);
    return true;
}

void PSG_EnqueueKey(uint8_t row, uint8_t mask, uint8_t pressed) {
    if (row >= PSG_KEYBOARD_ROWS) {
        XT_Trace("* PSG_EnqueueKey(): Row %d has no keys, event ignored.", row);
        return;
    }
    if (!PSG_TryEnqueueKey(row, mask, pressed)) XT_Trace("PSG_EnqueueKey(): Queue full.");
}

void PSG_SetKeySender(PSG_KeySender sender) {
    g_keySender.store(sender, std::memory_order_relaxed);
}

void PSG_ProcessKeyQueue(uint8_t microseconds) {
    PSG_State& psg = Psg();
    if (psg.feedCountdown >= microseconds) {
        psg.feedCountdown -= microseconds;
        return;
    }
    psg.feedCountdown = psg.feedCountdown + PSG_KEY_FEED_PERIOD - microseconds;
    FeedKeys();
}

void PSG_KeyEvent(uint8_t keyCode, uint8_t pressed) {
    const KeyPosition& key = KEY_TABLE[keyCode];
    uint8_t down = pressed ? 1 : 0;
    switch (key.kind) {
        case KEY_NONE: break;
        case KEY_DIRECT: Send(key.row, key.mask, down); break;
        case KEY_SHIFT: ShiftEvent(down); break;
        case KEY_SYMBOL:
        case KEY_SYMBOL_SHIFTED: SymbolEvent(key, down); break;
    }
}

uint8_t PSG_KeyCodeForChar(uint8_t c, uint8_t* withShift) {
    if (withShift) *withShift = 0;
    switch (c) {
        case '\n':
        case '\r': return PSG_KEY_RETURN;
        case '\t': return PSG_KEY_TAB;
        case 0x1B: return PSG_KEY_ESC;
        case '\b':
        case 0x7F: return PSG_KEY_DEL;
        default: break;
    }
    if (c >= 'a' && c <= 'z') return static_cast<uint8_t>(c - 'a' + 'A');
    if (c >= 'A' && c <= 'Z') {
        if (withShift) *withShift = 1;
        return c;
    }
    // Above 0x7E only the pound sign is a character; the other codes there are named keys.
    bool printable = (c >= 0x20 && c <= 0x7E) || c == PSG_KEY_POUND;
    return printable && KEY_TABLE[c].kind != KEY_NONE ? c : PSG_KEY_NONE;
}

bool PSG_CharEvent(uint8_t c, uint8_t pressed) {
    uint8_t withShift = 0;
    uint8_t code = PSG_KeyCodeForChar(c, &withShift);
    if (code == PSG_KEY_NONE) return false;
    if (pressed) {
        if (withShift) PSG_KeyEvent(PSG_KEY_SHIFT, 1);
        PSG_KeyEvent(code, 1);
    } else {
        PSG_KeyEvent(code, 0);
        if (withShift) PSG_KeyEvent(PSG_KEY_SHIFT, 0);
    }
    return true;
}

uint8_t PSG_KeyQueueCount() {
    const PSG_State& psg = Psg();
    uint8_t read = psg.keyQueueRead.load(std::memory_order_acquire);
    uint8_t write = psg.keyQueueWrite.load(std::memory_order_acquire);
    return static_cast<uint8_t>((write - read) & QUEUE_INDEX_MASK);
}

bool PSG_KeyQueueEmpty() {
    return PSG_KeyQueueCount() == 0;
}
