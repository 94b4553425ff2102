// The command interpreter: the command table in the order words are matched, and the
// commands that work on registers, breakpoints, the listing, traces and the drives.
#include <cmath>
#include <cstring>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/monitor/breakpoints.h"
#include "common/monitor/monitor_internal.h"
#include "common/video/crtc.h"
#include "common/xtools/xtools.h"

namespace {

constexpr const char* kHelpLines[] = {
    "HELP",
    "REG r vv, REG rr vvvv, PC aaaa",
    "FB aaaa vv*|\"str\", DM [loram | hiram | lorom | hirom] aaaa",
    "SB aaaa vv*, SW aaaa vvvv*, FILL aaaa n vv",
    "F10: Step Over, F11: Step Into, F5: Run, RT aaaa: Runto",
    "BR, BRC, BRD, BRNOW, RB (ram|rom)",
    "IL aaaa",
    "PCLOG on|off, MEM hiram | hirom | loram | lorom",
    "SAMPLER, LD DriveNum filename, ED DriveNum",
    "LOAD filename[,aaaa], PLAY filename: commands script",
    "DR (Display Real) b0 b1 b2 b3 b4",
    "VID: Display current Video registers",
};

constexpr int kRealBytes = 5;
constexpr int kRealExponentBias = 129;

// A single value and nothing after it; false on a syntax error.
bool ParseOnlyValue(const char* text, uint16_t* value, Z80_State* state) {
    const char* rest = Dbg_ParseValue(text, value, state);
    return Dbg_OnlyBlanks(rest);
}

uint8_t CommandHelp(Z80_State*, const char*) {
    for (const char* line : kHelpLines) Dbg_Message(line);
    return DBG_NONE;
}

uint8_t CommandIl(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    if (!ParseOnlyValue(arguments, &address, state)) return DBG_SYNTAX_ERROR;
    g_Monitor.listingTop = address;
    return DBG_REFRESH;
}

uint8_t CommandVid(Z80_State* state, const char* arguments) {
    if (!Dbg_OnlyBlanks(arguments)) return DBG_SYNTAX_ERROR;
    for (int index = 0; index < CRTC_REGISTER_COUNT; ++index) {
        char line[DBG_LINE_SIZE + 16];
        XT_Sprintf(line, "%s: %02XH", CRTC_RegisterName(index), state->machine->crtc.R[index]);
        XT_Trace("%s", line);
        Dbg_Message(line);
    }
    return DBG_NONE;
}

// A number in the firmware's five-byte floating point form: four bytes of mantissa, low
// byte first, with the sign in bit 7 of the fourth, then the exponent biased by 129.
uint8_t CommandDr(Z80_State*, const char* arguments) {
    uint8_t b[kRealBytes];
    const char* rest = arguments;
    for (uint8_t& byte : b) {
        rest = Dbg_ParseByte(Dbg_SkipBlanks(rest), &byte);
        if (!rest) return DBG_SYNTAX_ERROR;
    }
    if (!Dbg_OnlyBlanks(rest)) return DBG_SYNTAX_ERROR;
    double mantissa = 1 + ((b[3] & 0x7F) + (b[2] + (b[1] + b[0] / 256.0) / 256.0) / 256.0) / 128.0;
    double value = std::ldexp(mantissa, b[4] - kRealExponentBias);
    if (b[3] & 0x80) value = -value;
    char text[64];
    XT_Sprintf(text, "%g", value);
    Dbg_Message(text);
    return DBG_NONE;
}

uint8_t CommandLd(Z80_State*, const char* arguments) {
    int drive = 0;
    const char* name = arguments;
    if ((name[0] == '0' || name[0] == '1') && (name[1] == ' ' || name[1] == '\t')) {
        drive = name[0] - '0';
        name = Dbg_SkipBlanks(name + 1);
    }
    if (*name == '\0') return DBG_SYNTAX_ERROR;
    Dbg_Message(PAL_LoadDisk(name, drive) ? "File loaded OK." : "Loading ERROR");
    return DBG_NONE;
}

uint8_t CommandBrNow(Z80_State*, const char* arguments) {
    if (!Dbg_OnlyBlanks(arguments)) return DBG_SYNTAX_ERROR;
    g_Monitor.follow = 1;
    return DBG_STOP;
}

uint8_t CommandBrc(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    if (!ParseOnlyValue(arguments, &address, state)) return DBG_SYNTAX_ERROR;
    Z80_ClearBreakpoint(state, address);
    return DBG_NONE;
}

uint8_t CommandBrd(Z80_State* state, const char* arguments) {
    if (!Dbg_OnlyBlanks(arguments)) return DBG_SYNTAX_ERROR;
    bool any = false;
    for (const Z80_Breakpoint* node = state->breakpoints; node; node = node->next) {
        char text[24];
        XT_Sprintf(text, node->kind == Z80_BREAKPOINT_PERMANENT ? "%04X" : "%04X temporary",
                   node->address);
        Dbg_Message(text);
        any = true;
    }
    if (!any) Dbg_Message("No BP set.");
    return DBG_NONE;
}

uint8_t CommandBr(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    if (!ParseOnlyValue(arguments, &address, state)) return DBG_SYNTAX_ERROR;
    Z80_AddBreakpoint(state, address, Z80_BREAKPOINT_PERMANENT);
    return DBG_NONE;
}

uint8_t CommandPlay(Z80_State*, const char* arguments) {
    if (*arguments == '\0') return DBG_SYNTAX_ERROR;
    Dbg_StartScript(arguments, 1);
    return DBG_NONE;
}

uint8_t CommandPcLog(Z80_State*, const char* arguments) {
    bool on = Dbg_StartsWithWord(arguments, "ON");
    bool off = !on && Dbg_StartsWithWord(arguments, "OFF");
    if (!on && !off) return DBG_SYNTAX_ERROR;
    if (!Dbg_OnlyBlanks(arguments + (on ? 2 : 3))) return DBG_SYNTAX_ERROR;
    if (on)
        Dbg_OpenPCLog();
    else
        Dbg_ClosePCLog();
    return DBG_NONE;
}

uint8_t CommandRt(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    if (!ParseOnlyValue(arguments, &address, state)) return DBG_SYNTAX_ERROR;
    Z80_AddBreakpoint(state, address, Z80_BREAKPOINT_TEMPORARY);
    return DBG_RUN;
}

uint8_t CommandReg(Z80_State* state, const char* arguments) {
    for (const Dbg_RegisterName& reg : DBG_REGISTER_NAMES) {
        if (!Dbg_StartsWithWord(arguments, reg.name)) continue;
        const char* text = Dbg_SkipBlanks(arguments + std::strlen(reg.name));
        uint16_t value = 0;
        if (Dbg_IsWordRegister(reg)) {
            if (!ParseOnlyValue(text, &value, state)) return DBG_SYNTAX_ERROR;
        } else {
            uint8_t byte = 0;
            if (!Dbg_OnlyBlanks(Dbg_ParseByte(text, &byte))) return DBG_SYNTAX_ERROR;
            value = byte;
        }
        Dbg_WriteRegister(state, reg, value);
        return DBG_REFRESH;
    }
    return DBG_SYNTAX_ERROR;
}

uint8_t CommandPc(Z80_State* state, const char* arguments) {
    uint16_t address = 0;
    if (!ParseOnlyValue(arguments, &address, state)) return DBG_SYNTAX_ERROR;
    state->PC = address;
    g_Monitor.follow = 1;
    return DBG_REFRESH;
}

uint8_t CommandTr(Z80_State*, const char* arguments) {
    int32_t level = 0;
    if (*arguments == '\0') {
        // Up and down again: only shows the state.
        XT_AdjustTraceLevel(1);
        level = XT_AdjustTraceLevel(0);
    } else if (Dbg_StartsWithWord(arguments, "ON")) {
        if (!Dbg_OnlyBlanks(arguments + 2)) return DBG_SYNTAX_ERROR;
        level = XT_AdjustTraceLevel(1);
    } else if (Dbg_StartsWithWord(arguments, "OFF")) {
        if (!Dbg_OnlyBlanks(arguments + 3)) return DBG_SYNTAX_ERROR;
        level = XT_AdjustTraceLevel(0);
    } else {
        return DBG_SYNTAX_ERROR;
    }
    Dbg_Message(level > 0 ? "Traces are: On" : "Traces are: Off");
    return DBG_NONE;
}

}  // namespace

const Dbg_Command DBG_COMMANDS[DBG_COMMAND_COUNT] = {
    {"HELP", CommandHelp},
    {"IL", CommandIl},
    {"VID", CommandVid},
    {"DR", CommandDr},
    {"LD", CommandLd},
    {"BRNOW", CommandBrNow},
    {"BRC", CommandBrc},
    {"BRD", CommandBrd},
    {"BR", CommandBr},
    {"PLAY", CommandPlay},
    {"MEM", Dbg_CommandMem},
    {"LOAD", Dbg_CommandLoad},
    {"PCLOG", CommandPcLog},
    {"RT", CommandRt},
    {"DM", Dbg_CommandDm},
    {"SB", Dbg_CommandSb},
    {"FILL", Dbg_CommandFill},
    {"REG", CommandReg},
    {"RB", Dbg_CommandRb},
    {"FB", Dbg_CommandFb},
    {"PC", CommandPc},
    {"TR", CommandTr},
    {"SNAPSAVE", Dbg_CommandSnapSave},
    {"SNAPLOAD", Dbg_CommandSnapLoad},
    {"WPD", Dbg_CommandWpd},
    {"WPC", Dbg_CommandWpc},
    {"WP", Dbg_CommandWp},
};

uint8_t Dbg_ExecuteCommand(Z80_State* state, const char* text) {
    text = Dbg_SkipBlanks(text);
    uint8_t code = DBG_SYNTAX_ERROR;
    bool matched = false;
    for (const Dbg_Command& command : DBG_COMMANDS) {
        if (!Dbg_StartsWithWord(text, command.word)) continue;
        code = command.run(state, Dbg_SkipBlanks(text + std::strlen(command.word)));
        matched = true;
        break;
    }
    // Any other text names a script.
    if (!matched) code = Dbg_StartScript(text, 0);
    if (code == DBG_SYNTAX_ERROR) {
        Dbg_Message("### Syntax Error");
        code = DBG_NONE;
    }
    return code;
}
