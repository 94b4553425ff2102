// The thread that writes changed disks back a little after their last change.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "common/host_services.h"
#include "platform/drive_slots.h"

namespace {
constexpr auto kPollInterval = std::chrono::milliseconds(250);

std::mutex g_writerMutex;
std::condition_variable g_wake;
std::thread g_writer;
bool g_stop = false;  // under g_writerMutex
}  // namespace

void PAL_StartDiskWriter() {
    std::lock_guard<std::mutex> lock(g_writerMutex);
    if (g_writer.joinable()) return;
    g_stop = false;
    g_writer = std::thread([] {
        std::unique_lock<std::mutex> lock(g_writerMutex);
        while (!g_wake.wait_for(lock, kPollInterval, [] { return g_stop; })) {
            lock.unlock();
            PAL_FlushDisks(PAL_GetTickCount(), false);
            lock.lock();
        }
    });
}

void PAL_StopDiskWriter() {
    std::thread writer;
    {
        std::lock_guard<std::mutex> lock(g_writerMutex);
        g_stop = true;
        writer.swap(g_writer);
    }
    g_wake.notify_all();
    if (writer.joinable()) writer.join();
}
