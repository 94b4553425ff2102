// What a fresh process does with the trace library: the sessions of sessions.txt.
#include <filesystem>

#include "session_player.h"

TEST(TraceLibrary, Sessions) {
    PlaySessions(UNIT_TEST_DIR "/sessions.txt",
                 {{"probe", TRACE_PROBE_PATH},
                  {"library", TRACE_LIBRARY_PATH},
                  {"lib", std::filesystem::path(TRACE_LIBRARY_PATH).parent_path().string()},
                  {"incomplete", INCOMPLETE_TRACE_LIBRARY_DIR}});
}
