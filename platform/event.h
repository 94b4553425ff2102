#pragma once
// Manual-reset events: once set, an event stays set, and every wait returns at once,
// until it is reset.
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "common/host_services.h"

struct PAL_Event {
    std::mutex mutex;
    std::condition_variable changed;
    bool signalled = false;
};

void PAL_ResetEvent(PAL_Event* event);
void PAL_WaitEvent(PAL_Event* event);
// Waits at most the given time; true when the event is set.
bool PAL_WaitEventFor(PAL_Event* event, uint32_t milliseconds);
