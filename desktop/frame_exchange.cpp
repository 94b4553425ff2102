// Triple buffering: the writer owns one slot, the reader another, and the third is
// exchanged between them through one atomic byte (slot index plus a fresh bit).
#include "desktop/frame_exchange.h"

#include <atomic>
#include <cstring>

#include "common/video/renderer.h"

namespace {

constexpr uint8_t kFresh = 4;
constexpr uint8_t kIndexMask = 3;

struct Exchange {
    Exchange() { ClearSlots(); }
    void ClearSlots() {
        for (auto& slot : slots) std::memset(slot, PAL_BLACK, sizeof slot);
    }
    uint8_t slots[3][PAL_FRAME_BUFFER_SIZE];
    uint8_t lastPublished[PAL_FRAME_ROWS][PAL_SCREEN_WIDTH];  // the writer's own copy
    bool publishNext = true;  // the slots no longer hold lastPublished
    uint8_t writing = 0;
    std::atomic<uint8_t> middle{1};
    uint8_t reading = 2;
};
Exchange g_exchange;

}  // namespace

bool Frame_Publish(const uint8_t* frameBuffer) {
    if (!frameBuffer) return false;
    Exchange& e = g_exchange;
    bool changed = e.publishNext;
    for (int row = 0; row < PAL_FRAME_ROWS; ++row) {
        const uint8_t* source = frameBuffer + size_t{PAL_FRAME_ROW_BYTES} * row;
        if (!changed && std::memcmp(e.lastPublished[row], source, PAL_SCREEN_WIDTH) == 0) continue;
        changed = true;
        std::memcpy(e.lastPublished[row], source, PAL_SCREEN_WIDTH);
    }
    if (!changed) return false;
    uint8_t* slot = e.slots[e.writing];
    for (int row = 0; row < PAL_FRAME_ROWS; ++row)
        std::memcpy(slot + size_t{PAL_FRAME_ROW_BYTES} * row, e.lastPublished[row],
                    PAL_SCREEN_WIDTH);
    e.writing = e.middle.exchange(e.writing | kFresh, std::memory_order_acq_rel) & kIndexMask;
    e.publishNext = false;
    return true;
}

const uint8_t* Frame_Latest(bool* fresh) {
    Exchange& e = g_exchange;
    bool isFresh = (e.middle.load(std::memory_order_acquire) & kFresh) != 0;
    if (isFresh) e.reading = e.middle.exchange(e.reading, std::memory_order_acq_rel) & kIndexMask;
    if (fresh) *fresh = isFresh;
    return e.slots[e.reading];
}

void Frame_Clear() {
    g_exchange.ClearSlots();
    g_exchange.publishNext = true;
}
