// Tick count and the repaint request.
#include <atomic>
#include <chrono>

#include "common/host_services.h"

namespace {
std::atomic<PAL_RepaintHandler> g_repaintHandler{nullptr};
}

uint32_t PAL_GetTickCount() {
    using namespace std::chrono;
    return static_cast<uint32_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void PAL_SetRepaintHandler(PAL_RepaintHandler handler) {
    g_repaintHandler.store(handler, std::memory_order_release);
}

void PAL_RequestRepaint() {
    PAL_RepaintHandler handler = g_repaintHandler.load(std::memory_order_acquire);
    if (handler) handler();
}
