// Manual-reset events on the standard library's mutex and condition variable.
#include "platform/event.h"

#include <chrono>

void PAL_SetEvent(PAL_Event* event) {
    if (!event) return;
    {
        std::lock_guard<std::mutex> lock(event->mutex);
        event->signalled = true;
    }
    event->changed.notify_all();
}

void PAL_ResetEvent(PAL_Event* event) {
    if (!event) return;
    std::lock_guard<std::mutex> lock(event->mutex);
    event->signalled = false;
}

void PAL_WaitEvent(PAL_Event* event) {
    if (!event) return;
    std::unique_lock<std::mutex> lock(event->mutex);
    event->changed.wait(lock, [event] { return event->signalled; });
}

bool PAL_WaitEventFor(PAL_Event* event, uint32_t milliseconds) {
    if (!event) return false;
    std::unique_lock<std::mutex> lock(event->mutex);
    return event->changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                   [event] { return event->signalled; });
}
