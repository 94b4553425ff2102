// The host's requests to the deck, handed over under a lock and carried out on the
// emulation thread, which looks at one flag per pass of its loop.
#include <memory>
#include <mutex>
#include <utility>

#include "common/tape/tape.h"

namespace {

struct Request {
    TAPE_RequestKind kind;
    size_t block;
    std::unique_ptr<TAPE_Image> image;
};

std::mutex g_Mutex;
std::vector<Request> g_Requests;
std::atomic<bool> g_Waiting{false};
std::atomic<TAPE_RecordingSink> g_Sink{nullptr};

void Finish(std::vector<uint64_t>&& edges) {
    if (TAPE_RecordingSink sink = g_Sink.load(std::memory_order_acquire)) sink(std::move(edges));
}

void Carry(Request& request) {
    switch (request.kind) {
        case TAPE_RequestKind::Insert: TAPE_Insert(std::move(*request.image)); break;
        case TAPE_RequestKind::Eject: TAPE_Eject(); break;
        case TAPE_RequestKind::Play: TAPE_SetPlaying(true); break;
        case TAPE_RequestKind::Stop: TAPE_SetPlaying(false); break;
        case TAPE_RequestKind::SeekBlock: TAPE_SeekBlock(request.block); break;
        case TAPE_RequestKind::Record:
            if (g_TapeDeck.recording) Finish(TAPE_StopRecording());
            TAPE_StartRecording();
            break;
        case TAPE_RequestKind::StopRecording:
            if (g_TapeDeck.recording) Finish(TAPE_StopRecording());
            break;
    }
}

}  // namespace

void TAPE_Post(TAPE_RequestKind kind, size_t block, TAPE_Image* image) {
    std::lock_guard<std::mutex> lock(g_Mutex);
    g_Requests.push_back({kind, block, std::unique_ptr<TAPE_Image>(image)});
    g_Waiting.store(true, std::memory_order_release);
}

void TAPE_TakeRequests() {
    if (!g_Waiting.load(std::memory_order_acquire)) return;
    std::vector<Request> requests;
    {
        std::lock_guard<std::mutex> lock(g_Mutex);
        requests.swap(g_Requests);
        g_Waiting.store(false, std::memory_order_release);
    }
    for (Request& request : requests) Carry(request);
}

void TAPE_SetRecordingSink(TAPE_RecordingSink sink) {
    g_Sink.store(sink, std::memory_order_release);
}
