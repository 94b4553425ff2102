// The runner's stand-in for the audio device, writing what it plays to a WAV file.
#include "tools/runner/wav_capture.h"

#include <cerrno>
#include <cstring>

#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"

namespace {

constexpr uint32_t kHeaderBytes = 44;
constexpr uint32_t kRiffSizeOffset = 4;
constexpr uint32_t kDataSizeOffset = 40;
constexpr uint16_t kChannels = 2;
constexpr uint16_t kBitsPerSample = 16;
constexpr uint64_t kMicrosecondsPerSecond = 1000000;
// The header's 32-bit sizes bound the file.
constexpr uint64_t kMaxDataBytes = 0xFFFFFFFFull - (kHeaderBytes - 8);
// The master level the audio output gives the PSG when it opens.
constexpr uint8_t kOutputMasterLevel = 12;

void PutLittleEndian(uint8_t* at, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

void Header(uint8_t* header, uint32_t dataBytes) {
    std::memcpy(header, "RIFF", 4);
    PutLittleEndian(header + kRiffSizeOffset, dataBytes + kHeaderBytes - 8, 4);
    std::memcpy(header + 8, "WAVEfmt ", 8);
    PutLittleEndian(header + 16, 16, 4);  // format chunk size
    PutLittleEndian(header + 20, 1, 2);   // PCM
    PutLittleEndian(header + 22, kChannels, 2);
    PutLittleEndian(header + 24, PSG_FRAMES_PER_SECOND, 4);
    PutLittleEndian(header + 28, PSG_FRAMES_PER_SECOND * PSG_FRAME_BYTES, 4);
    PutLittleEndian(header + 32, PSG_FRAME_BYTES, 2);
    PutLittleEndian(header + 34, kBitsPerSample, 2);
    std::memcpy(header + 36, "data", 4);
    PutLittleEndian(header + kDataSizeOffset, dataBytes, 4);
}

void Fail(WavCapture& capture, const std::string& what) {
    if (capture.error.empty()) capture.error = what;
}

std::string WriteFailure(const WavCapture& capture) {
    return "cannot write " + capture.path + ": " + std::strerror(errno);
}

void Write(WavCapture& capture, const uint8_t* bytes, uint32_t count) {
    if (!capture.error.empty()) return;
    if (capture.dataBytes + count > kMaxDataBytes) {
        Fail(capture, capture.path +
                          ": a WAV file holds at most 4 GB; the sound after that "
                          "was not written");
        return;
    }
    if (std::fwrite(bytes, 1, count, capture.file) != count) {
        Fail(capture, WriteFailure(capture));
        return;
    }
    capture.dataBytes += count;
}

// The device has played a buffer: it is refilled and queued again. An empty ring gives a
// full buffer of silence, a short read a short buffer.
void Refill(WavCapture& capture, int index) {
    uint8_t* buffer = capture.buffers[index];
    uint32_t length = PSG_FillBuffer(buffer, WAV_BUFFER_BYTES);
    if (length == 0) {
        std::memset(buffer, 0, WAV_BUFFER_BYTES);
        length = WAV_BUFFER_BYTES;
    }
    capture.lengths[index] = length;
    Write(capture, buffer, length);
}

}  // namespace

bool WavCapture_Open(WavCapture& capture, const std::string& path, std::string& error) {
    capture.path = path;
    capture.error.clear();
    capture.dataBytes = 0;
    capture.playedMicroframes = 0;
    capture.playing = 0;
    capture.file = std::fopen(path.c_str(), "wb");
    if (!capture.file) {
        error = "cannot create " + path + ": " + std::strerror(errno);
        return false;
    }
    uint8_t header[kHeaderBytes];
    Header(header, 0);
    if (std::fwrite(header, 1, kHeaderBytes, capture.file) != kHeaderBytes) {
        error = WriteFailure(capture);
        std::fclose(capture.file);
        capture.file = nullptr;
        return false;
    }

    PSG_SetMasterVolume(kOutputMasterLevel);
    // The device starts with what the emulation makes from now on: the reader, which owns
    // the read position, passes over whatever the ring holds.
    g_PsgSound.ringRead.store(g_PsgSound.ringWrite.load(std::memory_order_acquire),
                              std::memory_order_release);
    for (int i = 0; i < WAV_QUEUED_BUFFERS; ++i) {
        std::memset(capture.buffers[i], 0, WAV_BUFFER_BYTES);
        capture.lengths[i] = WAV_BUFFER_BYTES;
        Write(capture, capture.buffers[i], WAV_BUFFER_BYTES);
    }
    return true;
}

void WavCapture_Advance(WavCapture& capture, uint64_t microseconds) {
    if (!capture.file) return;
    capture.playedMicroframes += microseconds * PSG_FRAMES_PER_SECOND;
    for (;;) {
        uint64_t frames = capture.lengths[capture.playing] / PSG_FRAME_BYTES;
        uint64_t length = (frames ? frames : 1) * kMicrosecondsPerSecond;
        if (capture.playedMicroframes < length) return;
        capture.playedMicroframes -= length;
        Refill(capture, capture.playing);
        capture.playing = (capture.playing + 1) % WAV_QUEUED_BUFFERS;
    }
}

bool WavCapture_Close(WavCapture& capture, std::string& error) {
    if (!capture.file) return true;
    uint8_t header[kHeaderBytes];
    Header(header, static_cast<uint32_t>(capture.dataBytes));
    if (capture.error.empty() &&
        (std::fseek(capture.file, 0, SEEK_SET) != 0 ||
         std::fwrite(header, 1, kHeaderBytes, capture.file) != kHeaderBytes))
        Fail(capture, WriteFailure(capture));
    if (std::fclose(capture.file) != 0) Fail(capture, WriteFailure(capture));
    capture.file = nullptr;
    error = capture.error;
    return error.empty();
}
