// The monitor's keyboard poll: function keys, the line editor with its history, command
// scripts fed one line per poll, and the message area above the input line.
#include <atomic>
#include <cstring>

#include "common/host_console.h"
#include "common/monitor/monitor_internal.h"

namespace {

// The keyboard and the script are looked at on one poll in this many, so that a running
// machine loses almost no time to the monitor.
constexpr uint32_t kPollInterval = 25000;

std::atomic<Dbg_MessageObserver> g_messageObserver{nullptr};

uint8_t NextSlot(uint8_t slot) {
    return static_cast<uint8_t>((slot + 1) % DBG_LINE_SLOTS);
}
uint8_t PreviousSlot(uint8_t slot) {
    return static_cast<uint8_t>((slot + DBG_LINE_SLOTS - 1) % DBG_LINE_SLOTS);
}

char* InputLine() {
    return g_Monitor.history[g_Monitor.currentSlot];
}

// At most one line's characters, always terminated.
void CopyLine(char* destination, const char* source) {
    size_t length = 0;
    for (; length < DBG_LINE_CHARS && source[length]; ++length)
        destination[length] = source[length];
    destination[length] = '\0';
}

void RedrawInputLine() {
    Dbg_DrawMessageLine(DBG_MESSAGE_ROWS - 1);
}

// One line of at most DBG_LINE_CHARS characters, the newline included, read as text: a
// carriage return before the newline is dropped. False at the end of the file.
bool ReadScriptLine(std::FILE* file, char* line) {
    int length = 0;
    while (length < DBG_LINE_CHARS) {
        int c = std::fgetc(file);
        if (c == EOF) break;
        if (c == '\r') {
            int next = std::fgetc(file);
            if (next == '\n')
                c = '\n';
            else if (next != EOF)
                std::ungetc(next, file);
        }
        line[length++] = static_cast<char>(c);
        if (c == '\n') break;
    }
    line[length] = '\0';
    return length > 0;
}

// Takes the next script line as if it had been typed and entered. False when the script
// has ended (it is then closed).
bool TakeScriptLine(Z80_State* state, uint8_t* code) {
    Dbg_Monitor& m = g_Monitor;
    char* line = InputLine();
    if (!ReadScriptLine(m.script, line)) {
        std::fclose(m.script);
        m.script = nullptr;
        // The line just read is empty; a count left from a comment before it would hide
        // whatever is typed or played next.
        m.inputLength = 0;
        return false;
    }
    size_t length = std::strlen(line);
    if (length > 0 && line[length - 1] == '\n') line[--length] = '\0';
    m.inputLength = static_cast<uint8_t>(length);
    if (*Dbg_SkipBlanks(line) == '#') {
        *code = DBG_NONE;
        return true;
    }
    RedrawInputLine();
    *code = Dbg_EnterLine(state);
    return true;
}

void BrowseUp() {
    Dbg_Monitor& m = g_Monitor;
    if ((m.browseIndex - m.currentSlot + DBG_LINE_SLOTS) % DBG_LINE_SLOTS == 1) return;
    m.browseIndex = PreviousSlot(m.browseIndex);
    CopyLine(InputLine(), m.history[m.browseIndex]);
    m.inputLength = static_cast<uint8_t>(std::strlen(InputLine()));
    RedrawInputLine();
}

void BrowseDown() {
    Dbg_Monitor& m = g_Monitor;
    if (m.browseIndex == m.currentSlot) return;
    m.browseIndex = NextSlot(m.browseIndex);
    if (m.browseIndex == m.currentSlot) {
        InputLine()[0] = '\0';
        m.inputLength = 0;
    } else {
        CopyLine(InputLine(), m.history[m.browseIndex]);
        m.inputLength = static_cast<uint8_t>(std::strlen(InputLine()));
    }
    RedrawInputLine();
}

uint8_t ExtendedKey(uint8_t key) {
    switch (key) {
        case PAL_KEY_UP: BrowseUp(); return DBG_NONE;
        case PAL_KEY_DOWN: BrowseDown(); return DBG_NONE;
        case PAL_KEY_PAGE_DOWN: g_Monitor.listingTop = Dbg_LastListedAddress(); return DBG_REFRESH;
        case PAL_KEY_PAGE_UP:
            g_Monitor.listingTop = static_cast<uint16_t>(g_Monitor.listingTop - 32);
            return DBG_REFRESH;
        case PAL_KEY_F11: g_Monitor.follow = 1; return DBG_STEP;
        default: return DBG_NONE;
    }
}

uint8_t FunctionKey(uint8_t key) {
    switch (key) {
        case PAL_KEY_F1: Dbg_Message("HELP"); return DBG_NONE;  // the command itself is not run
        case PAL_KEY_F5: return DBG_RUN;
        case PAL_KEY_F10: g_Monitor.follow = 1; return DBG_STEP_OVER;
        default: return DBG_NONE;
    }
}

}  // namespace

void Dbg_SetMessageObserver(Dbg_MessageObserver observer) {
    g_messageObserver.store(observer, std::memory_order_release);
}

bool Dbg_PrepareIdlePoll() {
    g_Monitor.pollCounter = kPollInterval - 1;
    return g_Monitor.polledInput;
}

uint32_t Dbg_QuietPolls() {
    uint32_t counter = g_Monitor.pollCounter;
    return counter + 1 < kPollInterval ? kPollInterval - 1 - counter : 0;
}

void Dbg_SkipQuietPolls(uint32_t passes) {
    g_Monitor.pollCounter += passes;
}

uint8_t Dbg_PollKeys(Z80_State* state) {
    Dbg_Monitor& m = g_Monitor;
    if (++m.pollCounter < kPollInterval) return DBG_NONE;
    m.pollCounter = 0;
    m.follow = 0;
    m.polledInput = false;
    Dbg_GotoXY(m.inputLength + 1, DBG_INPUT_ROW);

    uint8_t code = DBG_NONE;
    if (m.script && TakeScriptLine(state, &code)) {
        m.polledInput = true;
        return code;
    }

    const PAL_ConsoleOperations* console = PAL_GetConsole();
    if (!console || !console->keyWaiting(console->context)) return DBG_NONE;
    m.polledInput = true;
    uint8_t key = console->readKey(console->context);
    switch (key) {
        case PAL_KEY_EXTENDED_PREFIX: return ExtendedKey(console->readKey(console->context));
        case PAL_KEY_FUNCTION_PREFIX: return FunctionKey(console->readKey(console->context));
        case PAL_KEY_ESCAPE: return DBG_QUIT;
        case PAL_KEY_ENTER: return Dbg_EnterLine(state);
        case PAL_KEY_BACKSPACE:
            if (m.inputLength > 0) {
                InputLine()[--m.inputLength] = '\0';
                RedrawInputLine();
            }
            return DBG_NONE;
        default:
            if (key >= 32 && key <= 125 && m.inputLength < DBG_LINE_CHARS) {
                InputLine()[m.inputLength++] = static_cast<char>(key);
                InputLine()[m.inputLength] = '\0';
                RedrawInputLine();
            }
            return DBG_NONE;
    }
}

uint8_t Dbg_EnterLine(Z80_State* state) {
    Dbg_Monitor& m = g_Monitor;
    if (m.inputLength == 0) return DBG_NONE;
    const char* command = Dbg_SkipBlanks(InputLine());
    uint8_t code = DBG_NONE;
    if (*command == '\0') {
        CopyLine(InputLine(), DBG_BLANK_LINE);
        m.inputLength = 0;
    } else {
        // The entered line stays in its slot as history; the next slot becomes the input.
        m.currentSlot = NextSlot(m.currentSlot);
        CopyLine(InputLine(), DBG_BLANK_LINE);
        m.inputLength = 0;
        Dbg_Message(command);
        code = Dbg_ExecuteCommand(state, command);
    }
    m.browseIndex = m.currentSlot;
    return code;
}

void Dbg_Message(const char* text) {
    Dbg_Monitor& m = g_Monitor;
    CopyLine(m.messages[m.writeIndex], text);
    Dbg_MessageObserver observer = g_messageObserver.load(std::memory_order_acquire);
    if (observer) observer(m.messages[m.writeIndex]);
    m.writeIndex = NextSlot(m.writeIndex);
    CopyLine(m.messages[m.writeIndex], DBG_BLANK_LINE);
    m.firstShown = NextSlot(m.firstShown);
    Dbg_DrawMessages();
}

void Dbg_DrawMessageLine(int row) {
    const Dbg_Monitor& m = g_Monitor;
    int slot = (m.firstShown + row) % DBG_LINE_SLOTS;
    const char* text = slot == m.writeIndex ? InputLine() : m.messages[slot];
    Dbg_PrintAt(DBG_MESSAGE_COLUMN, DBG_MESSAGE_ROW + row, DBG_BLANK_LINE);
    Dbg_PrintAt(DBG_MESSAGE_COLUMN, DBG_MESSAGE_ROW + row, text);
}

void Dbg_DrawMessages() {
    for (int row = 0; row < DBG_MESSAGE_ROWS; ++row) Dbg_DrawMessageLine(row);
}
