// Watchpoint commands: WP sets one, WPD lists them numbered from 1, WPC removes one by
// its number.
#include <string>

#include "common/monitor/monitor_internal.h"
#include "common/monitor/watchpoints.h"
#include "common/xtools/xtools.h"

namespace {

struct KindWord {
    const char* word;
    uint8_t kind;
};
// Matched in this order: IO before IN.
constexpr KindWord kKindWords[] = {{"IO", WP_PORT}, {"IN", WP_IN},  {"OUT", WP_OUT},
                                   {"W", WP_WRITE}, {"R", WP_READ}, {"A", WP_ACCESS}};

}  // namespace

// WP W|R|A aaaa [bbbb]: memory written, read or either, at one address or from aaaa to
// bbbb. WP IN|OUT|IO pppp [mmmm]: a port read, written or either, compared under the mask
// (FFFF when none is given).
uint8_t Dbg_CommandWp(Z80_State* state, const char* arguments) {
    for (const KindWord& k : kKindWords) {
        if (!Dbg_StartsWithWord(arguments, k.word)) continue;
        const char* text = arguments + std::char_traits<char>::length(k.word);
        if (*text != ' ' && *text != '\t') return DBG_SYNTAX_ERROR;
        uint16_t first = 0;
        text = Dbg_ParseValue(Dbg_SkipBlanks(text), &first, state);
        if (!text) return DBG_SYNTAX_ERROR;
        const bool port = (k.kind & WP_PORT) != 0;
        uint16_t second = port ? 0xFFFF : first;
        if (!Dbg_OnlyBlanks(text)) {
            text = Dbg_ParseValue(Dbg_SkipBlanks(text), &second, state);
            if (!Dbg_OnlyBlanks(text)) return DBG_SYNTAX_ERROR;
        }
        if (!Wp_Add(state, k.kind, first, second)) Dbg_Message("Too many watchpoints.");
        return DBG_NONE;
    }
    return DBG_SYNTAX_ERROR;
}

uint8_t Dbg_CommandWpd(Z80_State*, const char* arguments) {
    if (!Dbg_OnlyBlanks(arguments)) return DBG_SYNTAX_ERROR;
    if (Wp_Count() == 0) Dbg_Message("No WP set.");
    for (int i = 0; i < Wp_Count(); ++i) {
        char watch[40];
        char line[DBG_LINE_SIZE];
        Wp_Describe(Wp_At(i), watch, sizeof watch);
        XT_Sprintf(line, "%d: %s", i + 1, watch);
        Dbg_Message(line);
    }
    return DBG_NONE;
}

uint8_t Dbg_CommandWpc(Z80_State* state, const char* arguments) {
    uint16_t number = 0;
    const char* rest = Dbg_ParseValue(arguments, &number, state);
    if (!Dbg_OnlyBlanks(rest)) return DBG_SYNTAX_ERROR;
    if (!Wp_RemoveAt(state, number - 1)) Dbg_Message("No such WP.");
    return DBG_NONE;
}
