// The monitor's panels: registers, disassembly with the PC marker, memory, stack and the
// status row with the run rate.
#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/monitor/monitor_internal.h"
#include "common/xtools/xtools.h"

namespace {

constexpr int kRegisterColumn = 57;
constexpr int kAlternateColumn = 66;
constexpr int kWordColumn = 60;
constexpr int kAlternateWordColumn = 70;
constexpr int kByteColumn = 62;
constexpr int kAlternateByteColumn = 71;

constexpr int kMemoryRow = 26;
constexpr int kMemoryColumn = 2;
constexpr int kMemoryLines = 4;
constexpr int kBytesPerMemoryLine = 16;

constexpr int kStackColumn = 58;
constexpr int kStackBottomRow = 38;
constexpr int kStackWords = 8;

constexpr int kStatusRow = 40;
constexpr int kStatusColumn = 1;
constexpr int kRateColumn = 30;
constexpr int kStatusWidth = 73;

void ShowPair(int row, uint16_t value, uint16_t alternate) {
    Dbg_PrintHex16(kWordColumn, row, value);
    Dbg_PrintHex16(kAlternateWordColumn, row, alternate);
}

const char* RomOrRam(uint16_t romConfig, uint16_t bit) {
    return (romConfig & bit) ? "ROM" : "RAM";
}

void WriteListingMarker(uint8_t row, const char* mark) {
    Dbg_PrintAt(DBG_LISTING_MARKER_COLUMN, DBG_LISTING_ROW + row, mark);
}

void ClearStatusRow() {
    char blank[kStatusWidth + 1];
    for (char& c : blank) c = ' ';
    blank[kStatusWidth] = '\0';
    Dbg_PrintAt(kStatusColumn, kStatusRow, blank);
}

}  // namespace

void Dbg_ShowRegisters(Z80_State* state) {
    Dbg_PrintFlags(kRegisterColumn, 2, state->AF.lo);
    Dbg_PrintFlags(kAlternateColumn, 2, state->AF_.lo);
    ShowPair(4, state->AF.w, state->AF_.w);
    ShowPair(5, state->BC.w, state->BC_.w);
    ShowPair(6, state->DE.w, state->DE_.w);
    ShowPair(7, state->HL.w, state->HL_.w);
    Dbg_PrintHex16(kWordColumn, 9, state->IX.w);
    Dbg_PrintHex16(kWordColumn, 10, state->IY.w);
    Dbg_PrintHex16(kWordColumn, 11, state->SP);
    Dbg_PrintHex16(kWordColumn, 12, state->PC);
    Dbg_PrintHex8(kByteColumn, 14, state->I);
    Dbg_PrintHex8(kAlternateByteColumn, 14, state->R);
    Dbg_PrintHex8(kByteColumn, 15, state->IFF1);
    Dbg_PrintHex8(kAlternateByteColumn, 15, state->IFF2);
    Dbg_PrintHex8(kByteColumn, 16, state->IM);
    Dbg_PrintDec10(63, 18, state->time);

    const CPC_Machine* machine = state->machine;
    Dbg_PrintHex8(63, 20, machine->crtc.HCC);
    Dbg_PrintHex8(71, 20, static_cast<uint8_t>(machine->crtc.lineTime));

    uint16_t romConfig = 0;
    machine->MemAccess(CPC_MEM_GET_ROM_CONFIG, &romConfig);
    Dbg_PrintAt(61, 22, RomOrRam(romConfig, CPC_ROMCFG_LOWER));
    Dbg_PrintAt(71, 22, RomOrRam(romConfig, CPC_ROMCFG_UPPER));
    Dbg_PrintHex8(67, 23, static_cast<uint8_t>(romConfig & 0xFF));
}

void Dbg_ShowDisassembly(Z80_State* state, uint8_t force, uint8_t follow) {
    Dbg_Monitor& m = g_Monitor;
    bool found = false;
    if (m.markerRow != DBG_NO_MARKER) WriteListingMarker(m.markerRow, " ");
    if (force || m.listingTop != m.lineAddresses[0]) m.markerRow = DBG_NO_MARKER;

    // The same listing is still on screen: only the marker moves, if PC is listed.
    if (m.markerRow != DBG_NO_MARKER) {
        for (uint8_t row = 0; row < DBG_LISTING_ROWS; ++row) {
            if (m.lineAddresses[row] == state->PC) {
                m.markerRow = row;
                WriteListingMarker(row, "*");
                found = true;
            }
        }
        if (found) return;
    }

    if (follow) m.follow = 1;
    if (m.follow && !found) m.listingTop = state->PC;

    uint16_t address = m.listingTop;
    m.markerRow = DBG_NO_MARKER;
    char line[Z80_DISASSEMBLY_LINE_SIZE];
    for (uint8_t row = 0; row < DBG_LISTING_ROWS; ++row) {
        m.lineAddresses[row] = address;
        uint8_t length = Z80_Disassemble(state, address, line);
        Dbg_PrintAt(DBG_LISTING_TEXT_COLUMN, DBG_LISTING_ROW + row, DBG_BLANK_LINE);
        Dbg_PrintAt(DBG_LISTING_TEXT_COLUMN, DBG_LISTING_ROW + row, line);
        if (address == state->PC) {
            m.markerRow = row;
            WriteListingMarker(row, "*");
        }
        address = static_cast<uint16_t>(address + length);
    }
}

void Dbg_ShowMemory(Z80_State* state) {
    for (int k = 0; k < kMemoryLines; ++k) {
        uint16_t address = static_cast<uint16_t>(g_Monitor.dumpAddress + kBytesPerMemoryLine * k);
        uint8_t bytes[kBytesPerMemoryLine];
        CPC_BlockRequest request{address, bytes, kBytesPerMemoryLine, g_Monitor.dumpView};
        state->machine->MemAccess(CPC_MEM_READ_BLOCK, &request);

        // "AAAA: " + 16 x "BB " + " " + 16 characters.
        char line[6 + 3 * kBytesPerMemoryLine + 1 + kBytesPerMemoryLine + 1];
        int length = XT_Sprintf(line, "%04X: ", address);
        for (uint8_t byte : bytes) length += XT_Sprintf(line + length, "%02X ", byte);
        line[length++] = ' ';
        for (uint8_t byte : bytes) line[length++] = byte < 32 ? '.' : static_cast<char>(byte);
        line[length] = '\0';
        Dbg_PrintAt(kMemoryColumn, kMemoryRow + k, line);
    }
}

void Dbg_ShowStack(Z80_State* state) {
    uint16_t address = static_cast<uint16_t>(state->SP - 2);
    for (int j = 0; j < kStackWords; ++j) {
        uint8_t low = state->machine->ReadMem(address);
        uint8_t high = state->machine->ReadMem(static_cast<uint16_t>(address + 1));
        char line[16];
        XT_Sprintf(line, "%04X: %04X", address, low + 256 * high);
        Dbg_PrintAt(kStackColumn, kStackBottomRow - j, line);
        address = static_cast<uint16_t>(address + 2);
    }
}

void Dbg_ShowRunState(Z80_State* state) {
    Dbg_Monitor& m = g_Monitor;
    if (state->running == m.shownRunning) return;
    ClearStatusRow();
    Dbg_PrintAt(kStatusColumn, kStatusRow, state->running ? "RUNNING" : "STOPPED");
    if (state->running) {
        m.runStartTime = state->time;
        m.runStartTicks = PAL_GetTickCount();
    } else {
        uint32_t seconds = (PAL_GetTickCount() - m.runStartTicks) / 1000;
        if (seconds == 0) seconds = 1;
        uint32_t rate = (state->time - m.runStartTime) / seconds;
        char text[32];
        XT_Sprintf(text, "%u us / sec", rate);
        Dbg_PrintAt(kRateColumn, kStatusRow, text);
    }
    m.shownRunning = state->running;
}

void Dbg_StartRunState(Z80_State* state) {
    Dbg_Monitor& m = g_Monitor;
    ClearStatusRow();
    m.shownRunning = 0;
    m.runStartTime = state->time;
    m.runStartTicks = PAL_GetTickCount();
}

uint16_t Dbg_LastListedAddress() {
    return g_Monitor.lineAddresses[DBG_LISTING_ROWS - 1];
}
