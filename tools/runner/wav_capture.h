#pragma once
// What a listener would hear, written to a WAV file (44100 Hz, 16-bit stereo). The
// capture stands in for the audio device: it keeps six 4096-byte buffers in rotation and
// refills each from PSG_FillBuffer when the emulated time has played it, so the sample
// ring of the time-driven engine drains at the real-time rate and its feedback behaves
// as in a paced run.
#include <cstdint>
#include <cstdio>
#include <string>

constexpr int WAV_QUEUED_BUFFERS = 6;
constexpr uint32_t WAV_BUFFER_BYTES = 4096;

struct WavCapture {
    std::FILE* file = nullptr;
    std::string path;
    uint8_t buffers[WAV_QUEUED_BUFFERS][WAV_BUFFER_BYTES] = {};
    uint32_t lengths[WAV_QUEUED_BUFFERS] = {};  // bytes of each queued buffer
    int playing = 0;                            // the buffer that finishes next
    uint64_t playedMicroframes = 0;             // play time owed, in millionths of a frame
    uint64_t dataBytes = 0;
    std::string error;  // the first write failure; nothing is written after it
};

// Creates the file and queues six buffers of silence, as an audio device opened now
// would. What the sample ring holds from before is dropped, and the master volume is set
// as the audio output sets it. Returns false with a message when the file cannot be made.
bool WavCapture_Open(WavCapture& capture, const std::string& path, std::string& error);

// Called after every slice of emulated time with the CPC microseconds that passed:
// refills each buffer whose playing time has run out.
void WavCapture_Advance(WavCapture& capture, uint64_t microseconds);

// Writes the sizes into the header and closes the file. Returns false with a message
// when anything could not be written. Does nothing when no file is open.
bool WavCapture_Close(WavCapture& capture, std::string& error);
