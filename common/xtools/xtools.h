#pragma once
// Trace and assertion facility shared by every subsystem.
#include <atomic>
#include <cstdint>

// Records are traced while the level is 1 or more. A counter: every switch-on adds one,
// every switch-off takes one away. Read by every thread that traces.
extern std::atomic<int32_t> g_TraceLevel;

// One printf-style trace record; no line end in the format.
void XT_Trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
// up != 0 adds one to the trace level, 0 takes one away; returns the new level.
int32_t XT_AdjustTraceLevel(uint8_t up);
// printf into a caller-supplied buffer (sized by the caller).
int XT_Sprintf(char* buffer, const char* format, ...) __attribute__((format(printf, 2, 3)));

void XT_AssertFailed(const char* file, int line, const char* condition, const char* message);
#define XT_ASSERT(condition, message)                                               \
    do {                                                                            \
        if (!(condition)) XT_AssertFailed(__FILE__, __LINE__, #condition, message); \
    } while (0)
#define XT_NOT_IMPLEMENTED() XT_AssertFailed(__FILE__, __LINE__, "0", "NOT IMPLEMENTED")
