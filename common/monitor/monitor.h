#pragma once
// The machine-code monitor: its console screen (panels, status row), the keyboard poll
// with the line editor and message area, the command interpreter and command scripts.
// Everything here runs on the emulation thread, between two instructions.
#include <cstdint>

#include "common/z80/z80.h"

// Monitor codes: what a key or a command asks the run loop to do.
constexpr uint8_t DBG_NONE = 0;
constexpr uint8_t DBG_QUIT = 1;
constexpr uint8_t DBG_RUN = 2;
constexpr uint8_t DBG_STEP = 3;
constexpr uint8_t DBG_STEP_OVER = 4;
constexpr uint8_t DBG_AFTER_RESET = 5;
constexpr uint8_t DBG_STOP = 6;
constexpr uint8_t DBG_REFRESH = 100;
constexpr uint8_t DBG_REFRESH_DUMP = 101;
constexpr uint8_t DBG_MEMORY_CHANGED = 102;
// Inside the interpreter only: turned into "### Syntax Error" and DBG_NONE.
constexpr uint8_t DBG_SYNTAX_ERROR = 255;

// --- Console screen ---------------------------------------------------------------
// Lays out the console on its first call; later calls do nothing.
void Dbg_CreateConsole();
void Dbg_GotoXY(int column, int row);
// Moves the cursor (unless column is -1) and writes the text there.
void Dbg_PrintAt(int column, int row, const char* text);
void Dbg_PrintHex8(int column, int row, uint8_t value);
void Dbg_PrintHex16(int column, int row, uint16_t value);
void Dbg_PrintDec10(int column, int row, uint32_t value);
void Dbg_PrintFlags(int column, int row, uint8_t flags);

// Panels, drawn from the processor record and the memory it sees.
void Dbg_ShowRegisters(Z80_State* state);
void Dbg_ShowDisassembly(Z80_State* state, uint8_t force, uint8_t follow);
void Dbg_ShowMemory(Z80_State* state);
void Dbg_ShowStack(Z80_State* state);
// The status row; returns at once unless the running flag changed since last shown.
void Dbg_ShowRunState(Z80_State* state);
// A new run loop's status row: blank, as for a stopped machine, and the run rate counted
// from this machine's time and the host's clock now, not from an earlier machine's.
void Dbg_StartRunState(Z80_State* state);
uint16_t Dbg_LastListedAddress();

// --- Keyboard, messages and commands ------------------------------------------------
// Called on every pass of the run loop; looks at the script and keyboard one call in
// 25000 and returns a monitor code.
uint8_t Dbg_PollKeys(Z80_State* state);
// For a pass of the run loop that executes nothing: the next poll looks at once, since no
// running machine loses time to it. True when a key or a script line waits for it.
bool Dbg_PrepareIdlePoll();
// How many polls from now return DBG_NONE without looking at anything, and PASSES such
// polls taken without a call: for a run loop that steps through them in one go.
uint32_t Dbg_QuietPolls();
void Dbg_SkipQuietPolls(uint32_t passes);
void Dbg_Message(const char* text);
void Dbg_DrawMessageLine(int row);
void Dbg_DrawMessages();
uint8_t Dbg_EnterLine(Z80_State* state);
uint8_t Dbg_ExecuteCommand(Z80_State* state, const char* text);

// Number syntax: the rest of the text after what was read, or null on failure.
const char* Dbg_SkipBlanks(const char* text);
const char* Dbg_ParseValue(const char* text, uint16_t* value, Z80_State* state);
const char* Dbg_ParseByte(const char* text, uint8_t* value);

// Opens a command script (as named, then under ../Files/ and ../Test/); 0 when it runs,
// DBG_SYNTAX_ERROR when it was not found ("Script not found" only with report set).
uint8_t Dbg_StartScript(const char* name, uint8_t report);

// --- Front-end helpers --------------------------------------------------------------
// Sees every message as it is added to the message area (the headless runner prints
// them). Install before the emulation thread starts; null for none.
using Dbg_MessageObserver = void (*)(const char* text);
void Dbg_SetMessageObserver(Dbg_MessageObserver observer);
// Back to the state of a fresh process: history, messages, listing and dump state,
// poll counter, the console laid out again on the next creation; closes an open script
// and PC log. Only while no emulation thread runs.
void Dbg_ResetMonitor();
