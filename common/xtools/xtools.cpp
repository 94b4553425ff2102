// PENDING: replaced by the trace facility.
#include "common/xtools/xtools.h"
#include <cstdarg>
#include <cstdio>
int32_t g_TraceLevel = 1;
void XT_Trace(const char*, ...) {}
int32_t XT_AdjustTraceLevel(uint8_t up) { return up ? ++g_TraceLevel : --g_TraceLevel; }
int XT_Sprintf(char* buffer, const char* format, ...) {
    va_list args; va_start(args, format); int n = vsprintf(buffer, format, args); va_end(args); return n;
}
void XT_AssertFailed(const char*, int, const char*, const char*) {}
