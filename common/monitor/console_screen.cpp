// The monitor console: creation with its five framed panels and fixed labels, and the
// small printing helpers every panel uses.
#include <cstring>

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/monitor/monitor_internal.h"
#include "common/xtools/xtools.h"

Dbg_Monitor g_Monitor;

const char DBG_BLANK_LINE[DBG_LINE_SIZE] = "                                                      ";

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

struct Panel {
    int row;
    int column;
    int width;
    int height;
};

// Disassembly, registers, memory, messages, stack; a later frame overwrites the cells
// it shares with an earlier one.
constexpr Panel kPanels[] = {
    {1, 1, 55, 24}, {1, 57, 17, 24}, {26, 1, 73, 4}, {31, 1, 55, 8}, {31, 57, 17, 8},
};

struct Label {
    int column;
    int row;
    const char* text;
};

constexpr Label kLabels[] = {
    {57, 1, "SZ5H3PNC SZ5H3PNC"},
    {57, 4, "AF"},
    {66, 4, "AF'"},
    {57, 5, "BC"},
    {66, 5, "BC'"},
    {57, 6, "DE"},
    {66, 6, "DE'"},
    {57, 7, "HL"},
    {66, 7, "HL'"},
    {57, 9, "IX"},
    {57, 10, "IY"},
    {57, 11, "SP"},
    {57, 12, "PC"},
    {57, 14, "I"},
    {66, 14, "R"},
    {57, 15, "IFF1"},
    {66, 15, "IFF2"},
    {57, 16, "IM"},
    {57, 18, "usec"},
    {57, 20, "CRTC      MON"},
    {57, 22, "Lo: xxx   Hi: xxx"},
    {57, 23, "Exp. ROM: xxH"},
    {68, 37, " <-SP"},
};

// Writes "+", width dashes, "+" from (column, row).
void DrawFrameEdge(int column, int row, int width) {
    char edge[PAL_CONSOLE_COLUMNS + 3];
    edge[0] = '+';
    std::memset(edge + 1, '-', static_cast<size_t>(width));
    edge[width + 1] = '+';
    edge[width + 2] = '\0';
    Dbg_PrintAt(column, row, edge);
}

void DrawFrame(const Panel& panel) {
    DrawFrameEdge(panel.column - 1, panel.row - 1, panel.width);
    for (int i = 0; i < panel.height; ++i) {
        Dbg_PrintAt(panel.column - 1, panel.row + i, "|");
        Dbg_PrintAt(panel.column + panel.width, panel.row + i, "|");
    }
    DrawFrameEdge(panel.column - 1, panel.row + panel.height, panel.width);
}

}  // namespace

void Dbg_CreateConsole() {
    if (g_Monitor.consoleCreated) return;
    g_Monitor.consoleCreated = true;
    const PAL_ConsoleOperations* console = PAL_GetConsole();
    if (console && console->open) console->open(console->context);
    Dbg_GotoXY(1, 1);
    for (const Panel& panel : kPanels) DrawFrame(panel);
    for (const Label& label : kLabels) Dbg_PrintAt(label.column, label.row, label.text);
}

void Dbg_GotoXY(int column, int row) {
    const PAL_ConsoleOperations* console = PAL_GetConsole();
    if (!console) return;
    int currentColumn = -1;
    int currentRow = -1;
    console->getCursor(console->context, &currentColumn, &currentRow);
    if (currentColumn != column || currentRow != row)
        console->setCursor(console->context, column, row);
}

void Dbg_PrintAt(int column, int row, const char* text) {
    const PAL_ConsoleOperations* console = PAL_GetConsole();
    if (!console || !text) return;
    if (column != -1) Dbg_GotoXY(column, row);
    // The console moves its cursor on a tab or a line break and scrolls past its last
    // row; the panels are drawn once, so a control character takes one blank cell.
    char cells[PAL_CONSOLE_COLUMNS + 1];
    while (*text) {
        size_t length = 0;
        for (; length < PAL_CONSOLE_COLUMNS && text[length]; ++length) {
            auto c = static_cast<unsigned char>(text[length]);
            cells[length] = c < 32 ? ' ' : static_cast<char>(c);
        }
        cells[length] = '\0';
        console->write(console->context, cells);
        text += length;
    }
}

void Dbg_HexDigits(uint16_t value, int digits, char* out) {
    for (int i = digits - 1; i >= 0; --i, value = static_cast<uint16_t>(value >> 4))
        out[i] = kHexDigits[value & 15];
}

void Dbg_PrintHex8(int column, int row, uint8_t value) {
    char text[3] = {};
    Dbg_HexDigits(value, 2, text);
    Dbg_PrintAt(column, row, text);
}

void Dbg_PrintHex16(int column, int row, uint16_t value) {
    char text[5] = {};
    Dbg_HexDigits(value, 4, text);
    Dbg_PrintAt(column, row, text);
}

void Dbg_PrintDec10(int column, int row, uint32_t value) {
    char text[16];
    XT_Sprintf(text, "%10lud", static_cast<unsigned long>(value));
    Dbg_PrintAt(column, row, text);
}

void Dbg_PrintFlags(int column, int row, uint8_t flags) {
    // Flags 5 and 3 are never computed, so their places show a full stop.
    char text[9];
    for (int i = 0; i < 8; ++i) {
        int bit = 7 - i;
        text[i] = (bit == 5 || bit == 3) ? '.' : ((flags >> bit) & 1 ? '1' : '0');
    }
    text[8] = '\0';
    Dbg_GotoXY(column, row);
    Dbg_PrintAt(-1, row, text);
}

void Dbg_ResetMonitor() {
    if (g_Monitor.script) std::fclose(g_Monitor.script);
    if (g_Monitor.pcLog) std::fclose(g_Monitor.pcLog);
    g_Monitor = Dbg_Monitor{};
}
