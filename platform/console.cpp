// The console the front end installed for the monitor.
#include <atomic>

#include "common/host_console.h"

namespace {
std::atomic<const PAL_ConsoleOperations*> g_console{nullptr};
}

void PAL_SetConsole(const PAL_ConsoleOperations* operations) {
    g_console.store(operations, std::memory_order_release);
}

const PAL_ConsoleOperations* PAL_GetConsole() {
    return g_console.load(std::memory_order_acquire);
}
