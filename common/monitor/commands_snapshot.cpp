// SNAPSAVE and SNAPLOAD: the whole machine to and from a snapshot file.
#include <string>

#include "common/machine/snapshot.h"
#include "common/monitor/monitor_internal.h"

namespace {

// A message longer than the message row goes on over several rows, broken at a blank
// where there is one.
void LongMessage(std::string text) {
    constexpr size_t kRow = DBG_LINE_SIZE - 1;
    while (text.size() > kRow) {
        size_t cut = text.rfind(' ', kRow);
        if (cut == std::string::npos || cut == 0) cut = kRow;
        Dbg_Message(text.substr(0, cut).c_str());
        text.erase(0, text[cut] == ' ' ? cut + 1 : cut);
    }
    Dbg_Message(text.c_str());
}

}  // namespace

uint8_t Dbg_CommandSnapSave(Z80_State* state, const char* arguments) {
    if (*arguments == '\0') return DBG_SYNTAX_ERROR;
    std::string error;
    if (!SNA_SaveFile(state, arguments, &error)) {
        LongMessage("Snapshot not saved: " + error);
        return DBG_NONE;
    }
    Dbg_Message("Snapshot saved.");
    return DBG_NONE;
}

uint8_t Dbg_CommandSnapLoad(Z80_State* state, const char* arguments) {
    if (*arguments == '\0') return DBG_SYNTAX_ERROR;
    std::string error;
    if (!SNA_LoadFile(state, arguments, &error)) {
        LongMessage("Snapshot not loaded: " + error);
        return DBG_NONE;
    }
    Dbg_Message("Snapshot loaded.");
    g_Monitor.follow = 1;
    return DBG_MEMORY_CHANGED;
}
