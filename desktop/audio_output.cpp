// The audio device and its thread. SDL's queue stands in for the device's buffer list:
// the thread knows the length of each of the six buffers it queued, and the bytes that
// have left the queue tell which of them the device has played.
#include "desktop/audio_output.h"

#include <SDL.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "common/sound/psg.h"
#include "common/sound/psg_sound_state.h"
#include "common/tape/tape.h"
#include "common/xtools/xtools.h"
#include "desktop/shell.h"

namespace {

// A quarter of a buffer's playing time: refills come well before the queue runs dry.
constexpr auto kPollInterval = std::chrono::milliseconds(5);

struct AudioOutput {
    SDL_AudioDeviceID device = 0;
    std::thread thread;
    std::atomic<bool> closing{false};
    std::mutex wakeMutex;
    std::condition_variable wake;

    // Audio thread only while it runs.
    uint8_t buffers[SND_BUFFER_COUNT][SND_BUFFER_BYTES];
    uint32_t lengths[SND_BUFFER_COUNT];
    int oldest = 0;        // the buffer the device plays first
    uint32_t inQueue = 0;  // bytes of the rotation handed to the device and not yet played

    std::atomic<bool> paused{false};
    std::atomic<uint32_t> queuedBuffers{0};
    std::atomic<uint64_t> refills{0};
    std::atomic<uint64_t> silentRefills{0};
    std::atomic<uint32_t> lastLength{0};
};
AudioOutput g_audio;
bool g_sdlAudioReady = false;

void Queue(AudioOutput& a, int index) {
    SDL_QueueAudio(a.device, a.buffers[index], a.lengths[index]);
    a.inQueue += a.lengths[index];
}

// A played buffer comes back full of what the ring holds; an empty ring gives a whole
// buffer of silence.
void Refill(AudioOutput& a, int index) {
    uint32_t length = PSG_FillBuffer(a.buffers[index], SND_BUFFER_BYTES);
    if (TAPE_Unpaced()) std::memset(a.buffers[index], 0, length);  // fast loading is silent
    if (length == 0) {
        std::memset(a.buffers[index], 0, SND_BUFFER_BYTES);
        length = SND_BUFFER_BYTES;
        a.silentRefills.fetch_add(1, std::memory_order_relaxed);
    }
    a.lengths[index] = length;
    a.lastLength.store(length, std::memory_order_relaxed);
    a.refills.fetch_add(1, std::memory_order_relaxed);
    Queue(a, index);
}

void Win32_SndThreadFunc() {
    AudioOutput& a = g_audio;
    XT_Trace("Win32_SndThreadFunc(): MM_WOM_OPEN");
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(a.wakeMutex);
            a.wake.wait_for(lock, kPollInterval, [&a] { return a.closing.load(); });
        }
        if (a.closing.load(std::memory_order_acquire)) break;
        uint32_t waiting = SDL_GetQueuedAudioSize(a.device);
        uint32_t played = a.inQueue > waiting ? a.inQueue - waiting : 0;
        int done = 0;
        while (done < SND_BUFFER_COUNT && a.lengths[a.oldest] <= played) {
            played -= a.lengths[a.oldest];
            a.inQueue -= a.lengths[a.oldest];
            Refill(a, a.oldest);
            a.oldest = (a.oldest + 1) % SND_BUFFER_COUNT;
            ++done;
        }
        a.queuedBuffers.store(SND_BUFFER_COUNT, std::memory_order_relaxed);
    }
    a.queuedBuffers.store(0, std::memory_order_relaxed);
    XT_Trace("Win32_SndThreadFunc(): MM_WOM_CLOSE");
}

}  // namespace

bool Win32_SndOpen() {
    AudioOutput& a = g_audio;
    a.closing.store(false);
    if (!g_sdlAudioReady) {
        // The program ends on SIGINT and SIGTERM as any other does.
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) {
            XT_Trace("* Win32_SndOpen(): no audio: %s", SDL_GetError());
            return false;
        }
        g_sdlAudioReady = true;
    }
    SDL_AudioSpec wanted{};
    wanted.freq = static_cast<int>(PSG_FRAMES_PER_SECOND);
    wanted.format = AUDIO_S16LSB;
    wanted.channels = 2;
    wanted.samples = SND_BUFFER_BYTES / PSG_FRAME_BYTES;
    SDL_AudioSpec obtained{};
    a.device = SDL_OpenAudioDevice(nullptr, 0, &wanted, &obtained, 0);
    if (a.device == 0) {
        XT_Trace("* Win32_SndOpen(): no audio device: %s", SDL_GetError());
        return false;
    }
    if (!g_Shell.soundEnabled) {
        a.paused.store(true);
        PSG_Mute();
    } else {
        a.paused.store(false);
    }
    PSG_SetMasterVolume(SND_MASTER_LEVEL);
    a.oldest = 0;
    a.inQueue = 0;
    a.refills.store(0);
    a.silentRefills.store(0);
    for (int i = 0; i < SND_BUFFER_COUNT; ++i) {
        std::memset(a.buffers[i], 0, SND_BUFFER_BYTES);
        a.lengths[i] = SND_BUFFER_BYTES;
        Queue(a, i);
    }
    a.queuedBuffers.store(SND_BUFFER_COUNT);
    SDL_PauseAudioDevice(a.device, a.paused.load() ? 1 : 0);
    a.thread = std::thread(Win32_SndThreadFunc);
    return true;
}

void Win32_SndClose() {
    AudioOutput& a = g_audio;
    XT_Trace("Win32_SndClose()");
    {
        std::lock_guard<std::mutex> lock(a.wakeMutex);
        a.closing.store(true, std::memory_order_release);
    }
    a.wake.notify_all();
    if (a.thread.joinable()) a.thread.join();
    if (a.device != 0) {
        SDL_PauseAudioDevice(a.device, 1);
        SDL_ClearQueuedAudio(a.device);
        SDL_CloseAudioDevice(a.device);
        a.device = 0;
    }
}

void Win32_SndPause() {
    g_audio.paused.store(true);
    if (g_audio.device != 0) SDL_PauseAudioDevice(g_audio.device, 1);
}

void Win32_SndRestart() {
    g_audio.paused.store(false);
    if (g_audio.device != 0) SDL_PauseAudioDevice(g_audio.device, 0);
}

SndStatus Snd_GetStatus() {
    const AudioOutput& a = g_audio;
    SndStatus status{};
    status.open = a.device != 0;
    status.paused = a.paused.load();
    status.queuedBuffers = a.queuedBuffers.load();
    status.refills = a.refills.load();
    status.silentRefills = a.silentRefills.load();
    status.lastLength = a.lastLength.load();
    return status;
}
