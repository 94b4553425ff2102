#pragma once
// The entry points of the trace-output library (libZindrel.so), shared by the trace call
// that loads it and by the library the project ships. Results are never used.
#include <cstdarg>

extern "C" {
// Opens the library's output: the program's module, a protocol name and the host name.
typedef int (*XT_TracerInitOutputPort)(void* module, const char* protocol, const char* host);
// One record given as finished text.
typedef int (*XT_TracerOutputT)(int channel, const char* text);
// One record given as a printf format and its arguments.
typedef int (*XT_TracerOutputVT)(int channel, const char* format, ...);
// One record given as a printf format and a pointer to its argument list.
typedef int (*XT_TracerOutputVTL)(int channel, const char* format, va_list* arguments);
}

// Names the entry points are looked up by.
constexpr const char* XT_TRACER_INIT_OUTPUTPORT = "tracer_init_outputport";
constexpr const char* XT_TRACER_OUTPUT_T = "tracer_output_T";
constexpr const char* XT_TRACER_OUTPUT_VT = "tracer_output_VT";
constexpr const char* XT_TRACER_OUTPUT_VTL = "tracer_output_VTL";
