#pragma once
// Keys typed faster than the key queue drains: the matrix events that do not fit wait
// here, in order, and are handed on as slots free, so that nothing typed is dropped.
// User-interface thread only.
#include <cstddef>
#include <cstdint>

// A PSG_KeySender: queues the event, or keeps it behind the ones already waiting.
void KeyBacklog_Send(uint8_t row, uint8_t mask, uint8_t pressed);
// Moves what fits into the key queue; the number of events still waiting.
size_t KeyBacklog_Drain();
// Forgets the waiting events (the machine restarts with an empty queue).
void KeyBacklog_Clear();
