// The deck: the tape moves while PLAY is down and the motor line is on, at 7 half
// T-states every CPC microsecond, so positions never drift from the machine's time.
#include <algorithm>
#include <utility>

#include "common/machine/machine.h"
#include "common/tape/tape.h"

TAPE_Deck g_TapeDeck;
TAPE_Published g_TapePublished;

namespace {

constexpr uint64_t kHalfTStatesPerMicrosecond = 7;
constexpr uint8_t kMotorBit = 0x10;
constexpr uint8_t kWriteBit = 0x20;
constexpr uint8_t kReadBit = 0x80;
// Room for half an hour of the firmware's fastest signal before recording allocates.
constexpr size_t kRecordingReserve = 4u * 1024 * 1024;

TAPE_Image g_Image;
std::vector<uint64_t> g_Recorded;
size_t g_Block = 0;  // the block at the position, for the host's display

bool Moving(const TAPE_Deck& d) {
    return d.inserted && d.playing && d.motor && !d.recording;
}

void Publish(const TAPE_Deck& d) {
    while (g_Block + 1 < g_Image.blocks.size() &&
           g_Image.blocks[g_Block + 1].start * 2 <= d.position)
        ++g_Block;
    bool running = d.motor && (Moving(d) || d.recording);
    g_TapePublished.motorRunning.store(running ? 1 : 0, std::memory_order_relaxed);
    uint64_t microseconds = d.recording ? d.recordTime : d.position / kHalfTStatesPerMicrosecond;
    g_TapePublished.seconds.store(static_cast<uint32_t>(microseconds / 1000000),
                                  std::memory_order_relaxed);
    g_TapePublished.block.store(static_cast<uint32_t>(g_Block), std::memory_order_relaxed);
    g_TapePublished.playing.store(d.playing, std::memory_order_relaxed);
    g_TapePublished.recording.store(d.recording, std::memory_order_relaxed);
}

void Advance(TAPE_Deck& d) {
    uint64_t now = g_Machine.deviceTime;
    // A new machine starts its time again.
    uint64_t elapsed = now >= d.lastTime ? now - d.lastTime : 0;
    d.lastTime = now;
    if (elapsed == 0) return;
    if (d.recording) {
        if (d.motor) d.recordTime += elapsed;
        return;
    }
    if (!Moving(d)) return;
    uint64_t target = d.position + elapsed * kHalfTStatesPerMicrosecond;
    if (d.nextStop < g_Image.stops.size() && target >= g_Image.stops[d.nextStop] * 2) {
        target = g_Image.stops[d.nextStop] * 2;
        ++d.nextStop;
        d.playing = 0;
    }
    if (target >= g_Image.length * 2) {
        target = g_Image.length * 2;
        d.playing = 0;
    }
    const std::vector<uint64_t>& edges = g_Image.edges;
    while (d.nextEdge < edges.size() && edges[d.nextEdge] * 2 <= target) {
        d.level ^= 1;
        ++d.nextEdge;
    }
    d.position = target;
    Publish(d);
}

}  // namespace

uint8_t TAPE_ReadBit() {
    TAPE_Deck& d = g_TapeDeck;
    if (!d.inserted) return 0;
    Advance(d);
    return d.level && !d.recording ? kReadBit : 0;
}

void TAPE_WritePortC(uint8_t value) {
    TAPE_Deck& d = g_TapeDeck;
    if (!d.inserted && !d.recording) {  // the keyboard and sound write port C all the time
        d.motor = (value & kMotorBit) ? 1 : 0;
        d.writeLevel = (value & kWriteBit) ? 1 : 0;
        return;
    }
    Advance(d);
    uint8_t motor = (value & kMotorBit) ? 1 : 0;
    uint8_t write = (value & kWriteBit) ? 1 : 0;
    if (d.recording && d.motor && write != d.writeLevel) g_Recorded.push_back(d.recordTime);
    d.writeLevel = write;
    if (motor != d.motor) {
        d.motor = motor;
        Publish(d);
    }
}

void TAPE_CatchUp() {
    Advance(g_TapeDeck);
    Publish(g_TapeDeck);
}

void TAPE_Insert(TAPE_Image&& image) {
    TAPE_Deck& d = g_TapeDeck;
    g_Image = std::move(image);
    uint8_t motor = d.motor;
    uint8_t writeLevel = d.writeLevel;
    uint8_t recording = d.recording;
    uint64_t recordTime = d.recordTime;
    d = TAPE_Deck{};
    d.motor = motor;
    d.writeLevel = writeLevel;
    d.recording = recording;
    d.recordTime = recordTime;
    d.inserted = 1;
    d.lastTime = g_Machine.deviceTime;
    TAPE_SeekBlock(0);
}

void TAPE_Eject() {
    TAPE_Deck& d = g_TapeDeck;
    Advance(d);
    g_Image = TAPE_Image{};
    d.inserted = 0;
    d.playing = 0;
    d.level = 0;
    d.position = 0;
    d.nextEdge = 0;
    d.nextStop = 0;
    g_Block = 0;
    Publish(d);
}

const TAPE_Image* TAPE_CurrentImage() {
    return g_TapeDeck.inserted ? &g_Image : nullptr;
}

void TAPE_SetPlaying(bool playing) {
    TAPE_Deck& d = g_TapeDeck;
    Advance(d);
    d.playing = playing && d.inserted ? 1 : 0;
    Publish(d);
}

void TAPE_SeekBlock(size_t block) {
    TAPE_Deck& d = g_TapeDeck;
    Advance(d);
    uint64_t start = block < g_Image.blocks.size() ? g_Image.blocks[block].start : 0;
    const std::vector<uint64_t>& edges = g_Image.edges;
    // Edges at the start itself have happened: a block begins with its first edge.
    size_t next =
        static_cast<size_t>(std::upper_bound(edges.begin(), edges.end(), start) - edges.begin());
    d.nextEdge = static_cast<uint32_t>(next);
    d.level = static_cast<uint8_t>(g_Image.initialLevel ^ (next & 1));
    d.nextStop =
        static_cast<uint32_t>(std::upper_bound(g_Image.stops.begin(), g_Image.stops.end(), start) -
                              g_Image.stops.begin());
    d.position = start * 2;
    g_Block = 0;
    Publish(d);
}

void TAPE_StartRecording() {
    TAPE_Deck& d = g_TapeDeck;
    Advance(d);
    g_Recorded.clear();
    g_Recorded.reserve(kRecordingReserve);
    d.recording = 1;
    d.recordTime = 0;
    Publish(d);
}

std::vector<uint64_t> TAPE_StopRecording() {
    TAPE_Deck& d = g_TapeDeck;
    Advance(d);
    d.recording = 0;
    std::vector<uint64_t> edges = std::move(g_Recorded);
    g_Recorded = {};
    Publish(d);
    return edges;
}

uint64_t TAPE_PositionTStates() {
    return g_TapeDeck.position / 2;
}
