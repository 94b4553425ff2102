#pragma once
// The remote debugger's socket: a thread of its own listens on the loopback addresses
// (127.0.0.1 and ::1), takes one client at a time (a second is closed at once) and passes
// its packets through the link to the emulation thread, which it never waits for.
#include <cstdint>
#include <string>

// Starts listening; port 0 takes a free one. Returns the port, or 0 with error set.
uint16_t PAL_StartRemoteServer(uint16_t port, std::string& error);
// Drops the client and stops listening; safe when none runs.
void PAL_StopRemoteServer();
