// The run loop under the monitor's keys and the host's requests: stepping, breakpoints,
// stop messages and the PC log (run_loop.txt), pause, reset, stop and quit, CPC time, and
// threads.
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "monitor_fixture.h"

namespace {

using RunLoop = MonitorTest;

std::atomic<uint32_t> g_posted{0};
void RecordPost(void*, uint32_t message) {
    g_posted = message;
}

}  // namespace

// The session in run_loop.txt.
TEST_F(RunLoop, StepsBreakpointsStopsAndThePcLog) {
    PlaySession("run_loop.txt");
    EXPECT_EQ(Cpu().running, 0);
}

TEST_F(RunLoop, PauseResetAndQuit) {
    // Held by the pause request, a running machine executes nothing.
    ASSERT_TRUE(Runner_Run(machine_, 1000));
    EXPECT_EQ(machine_.control.paused.load(), 1);
    const uint32_t time = Cpu().time;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(Cpu().time, time);
    EXPECT_EQ(Cpu().running, 1);

    // A reset while running restarts at 0 and runs on; while stopped it stays at 0.
    auto reset = [this] {
        machine_.control.resetRequest.store(1);
        while (machine_.control.resetRequest.load()) std::this_thread::yield();
        Runner_MonitorGrid(machine_);  // the reset is done once the monitor answers again
    };
    Enter("BR 0003");
    reset();
    EXPECT_EQ(Cpu().PC, 0);
    EXPECT_EQ(Cpu().running, 1);
    ASSERT_TRUE(Runner_RunUntilStop(machine_, 100000));
    EXPECT_EQ(Cpu().PC, 0x0003);
    EXPECT_EQ(machine_.stopReason, Z80_STOP_BREAKPOINT);
    reset();
    EXPECT_EQ(Cpu().PC, 0);
    EXPECT_EQ(Cpu().running, 0);
    EXPECT_EQ(Row(12, 57), "PC 0000          |") << "the panels show the stopped machine's reset";

    // Esc ends the thread on its own, with the message to the main window.
    g_posted = 0;
    machine_.control.postMessage = RecordPost;
    machine_.console.PushKeys({PAL_KEY_ESCAPE});
    PAL_WaitEvent(&machine_.stoppedEvent);
    EXPECT_EQ(machine_.control.ended.load(), 1);
    EXPECT_EQ(g_posted, EMUL_MSG_ENDED);
}

TEST_F(RunLoop, RunsInCpcTime) {
    // A loop reading a port: part of each IN's time reaches the devices before the
    // access, and the processor's counter leaves it out; a run lasts the devices' time.
    Enter("PC 0030");
    const uint64_t start = Runner_Elapsed(machine_);
    const uint32_t processorStart = Cpu().time;
    ASSERT_TRUE(Runner_Run(machine_, 100000));
    const uint64_t elapsed = Runner_Elapsed(machine_) - start;
    EXPECT_GE(elapsed, 100000u);
    EXPECT_LT(elapsed, 100000u + 8);
    EXPECT_LT(Cpu().time - processorStart, 90000u);
}

TEST_F(RunLoop, ThreadsMeetOnlyThroughTheControlBlockAndTheConsole) {
    // Run under ThreadSanitizer: monitor keys from one thread, the host's requests from
    // another, while the machine runs and stops.
    Enter("PC 000B");
    std::atomic<bool> done{false};
    std::thread keys([&] {
        const std::vector<uint8_t> run = {PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5};
        const std::vector<uint8_t> stop = {'B', 'R', 'N', 'O', 'W', PAL_KEY_ENTER};
        for (int i = 0; !done; ++i) {
            machine_.console.PushKeys(i % 2 ? stop : run);
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
        }
    });
    std::thread host([&] {
        for (int i = 0; !done; ++i) {
            machine_.control.pauseRequest.store(i % 3 == 0);
            if (i % 7 == 0) machine_.control.resetRequest.store(1);
            (void)machine_.control.paused.load();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    done = true;
    keys.join();
    host.join();
    machine_.control.pauseRequest.store(1);
    EXPECT_EQ(Enter("BRNOW").front(), "BRNOW");
    Enter("REG A 5");
    EXPECT_EQ(Cpu().AF.hi, 5);
}

TEST_F(RunLoop, AStoppedMachineWaitsWithoutSpinning) {
    // The emulation thread's own processor time over 300 ms of a stopped machine: a loop
    // that spins uses nearly all of it, one that sleeps between looks a few milliseconds.
    clockid_t clock;
    ASSERT_EQ(pthread_getcpuclockid(machine_.thread.native_handle(), &clock), 0);
    auto used = [clock] {
        timespec now{};
        clock_gettime(clock, &now);
        return now.tv_sec * 1000.0 + now.tv_nsec / 1e6;
    };
    const double before = used();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(used() - before, 100.0) << "milliseconds of processor time while stopped";
    EXPECT_EQ(Enter("REG A 7").front(), "REG A 7");  // and it still answers at once
    EXPECT_EQ(Cpu().AF.hi, 7);

    // The host's stop request ends the thread without the quit message.
    g_posted = 0;
    machine_.control.postMessage = RecordPost;
    Runner_ShutdownMachine(machine_);
    EXPECT_EQ(machine_.control.ended.load(), 0);
    EXPECT_EQ(g_posted, 0u);
}
