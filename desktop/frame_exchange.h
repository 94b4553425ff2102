#pragma once
// Complete frames handed from the emulation thread to the window without a lock: the
// renderer's end-of-frame call copies the frame buffer into one of three slots, and the
// window shows the newest complete one, never one being drawn.
#include <cstdint>

// Emulation thread, at the end of a frame: copies the shown half of each row. Returns
// false, and hands nothing over, when the frame is the same as the last one handed over:
// a machine idling at a prompt then costs the window no repaints.
bool Frame_Publish(const uint8_t* frameBuffer);
// User-interface thread: the newest complete frame, laid out as the frame buffer
// (PAL_FRAME_BUFFER_SIZE bytes); *fresh tells whether it is new since the last call.
const uint8_t* Frame_Latest(bool* fresh);
// Fills every slot with black; only while no emulation thread runs.
void Frame_Clear();
