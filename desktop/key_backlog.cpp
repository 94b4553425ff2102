// The key backlog in front of the key queue.
#include "desktop/key_backlog.h"

#include <deque>

#include "common/sound/psg.h"

namespace {

struct MatrixEvent {
    uint8_t row, mask, pressed;
};

std::deque<MatrixEvent> g_waiting;

}  // namespace

void KeyBacklog_Send(uint8_t row, uint8_t mask, uint8_t pressed) {
    if (g_waiting.empty() && PSG_TryEnqueueKey(row, mask, pressed)) return;
    g_waiting.push_back({row, mask, pressed});
}

size_t KeyBacklog_Drain() {
    while (!g_waiting.empty()) {
        const MatrixEvent& next = g_waiting.front();
        if (!PSG_TryEnqueueKey(next.row, next.mask, next.pressed)) break;
        g_waiting.pop_front();
    }
    return g_waiting.size();
}

void KeyBacklog_Clear() {
    g_waiting.clear();
}
