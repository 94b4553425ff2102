#pragma once
// What the host can tell about the ROM files of a machine that would not start.
#include <cstdint>
#include <string>

// Why the ROM images of the configuration byte cannot be loaded from the ROM folder: the
// file that is missing, unreadable or too short (with its size), or "" when they look
// fine.
std::string PAL_DescribeRomProblem(uint8_t type);
