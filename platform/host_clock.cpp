// Tick count, the high-resolution clock, waiting and the repaint request.
#include <atomic>
#include <chrono>
#include <thread>

#include "common/host_services.h"

namespace {
std::atomic<PAL_RepaintHandler> g_repaintHandler{nullptr};
using Clock = std::chrono::steady_clock;
}  // namespace

uint32_t PAL_GetTickCount() {
    using namespace std::chrono;
    return static_cast<uint32_t>(
        duration_cast<milliseconds>(Clock::now().time_since_epoch()).count());
}

void PAL_Yield() {
    std::this_thread::yield();
}

void PAL_SleepMicroseconds(uint32_t microseconds) {
    if (microseconds == 0) {
        PAL_Yield();
        return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

bool PAL_QueryPerformanceFrequency(uint64_t* frequency) {
    if (!frequency) return false;
    *frequency = static_cast<uint64_t>(Clock::period::den / Clock::period::num);
    return *frequency != 0;
}

uint64_t PAL_QueryPerformanceCounter() {
    return static_cast<uint64_t>(Clock::now().time_since_epoch().count());
}

void PAL_SetRepaintHandler(PAL_RepaintHandler handler) {
    g_repaintHandler.store(handler, std::memory_order_release);
}

void PAL_RequestRepaint() {
    PAL_RepaintHandler handler = g_repaintHandler.load(std::memory_order_acquire);
    if (handler) handler();
}
