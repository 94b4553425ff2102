#pragma once
// Audio output through SDL2: 44100 frames per second, 16-bit stereo. Our own audio thread
// keeps six buffers of 4096 bytes queued on the device and refills each from
// PSG_FillBuffer as soon as the device has played it. Opened at every start of the
// emulation, closed at every stop; without a device the machine runs silent.
#include <cstdint>

constexpr int SND_BUFFER_COUNT = 6;
constexpr uint32_t SND_BUFFER_BYTES = 4096;
constexpr uint8_t SND_MASTER_LEVEL = 12;

// True when the device is open. With the Sound setting off it starts paused and muted.
bool Win32_SndOpen();
// Stops the refills, then closes the device and ends the audio thread.
void Win32_SndClose();
// The Pause and Sound commands: the device stops or goes on playing; the caller mutes or
// unmutes the PSG around these.
void Win32_SndPause();
void Win32_SndRestart();

// For the status of the output and the tests.
struct SndStatus {
    bool open;
    bool paused;
    uint32_t queuedBuffers;  // buffers of the rotation waiting on the device
    uint64_t refills;        // since the last open
    uint64_t silentRefills;  // refills that found the sample ring empty
    uint32_t lastLength;     // bytes of the last refill
};
SndStatus Snd_GetStatus();
