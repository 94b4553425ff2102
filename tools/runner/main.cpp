// brallivane-run: the Amstrad CPC without windows, for tests, benchmarks and scripts.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "common/host_services.h"
#include "common/machine/emulation.h"
#include "common/machine/machine.h"
#include "common/machine/snapshot.h"
#include "common/tape/tape.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"
#include "platform/drive_slots.h"
#include "platform/remote_server.h"
#include "platform/settings_path.h"
#include "platform/xdg_folders.h"
#include "tools/runner/runner_disks.h"
#include "tools/runner/runner_machine.h"
#include "tools/runner/runner_options.h"
#include "tools/runner/runner_tape.h"
#include "tools/runner/screenshot.h"
#include "tools/runner/wav_capture.h"

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_BAD_USAGE = 1;
constexpr int EXIT_NO_MACHINE = 2;
constexpr int EXIT_OUT_OF_TIME = 3;

constexpr uint64_t MICROSECONDS_PER_MILLISECOND = 1000;

int Fail(const std::string& message, int code) {
    std::fprintf(stderr, "brallivane-run: %s\n", message.c_str());
    return code;
}

// Everything written to standard output so far has reached it.
bool OutputWritten() {
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

int OutputFailed() {
    return Fail(std::string("cannot write to standard output: ") + std::strerror(errno),
                EXIT_BAD_USAGE);
}

void PrintStop(const RunnerMachine& machine) {
    const char* message = Emul_StopMessage(machine.stopReason);
    std::printf("stop: PC=%04X%s%s\n", machine.stopPC, message ? " " : "", message ? message : "");
}

// The console's bytes as printable text: the character column of the memory panel may
// hold any byte.
void PrintGrid(const std::vector<std::string>& rows) {
    for (std::string row : rows) {
        for (char& c : row)
            if (c < ' ' || c > '~') c = '?';
        row.erase(row.find_last_not_of(' ') + 1);
        std::printf("%s\n", row.c_str());
    }
}

// The end of a run action: a stop is told and is not a failure; running out of time is.
int AfterRun(const RunnerMachine& machine, bool done, const std::string& timeoutMessage) {
    if (done) return EXIT_DONE;
    switch (machine.outcome) {
        case RunnerOutcome::Stopped: PrintStop(machine); return EXIT_DONE;
        case RunnerOutcome::KeysNotTaken:
            return Fail("the keys were not taken in: the firmware does not read the keyboard",
                        EXIT_OUT_OF_TIME);
        default: return Fail(timeoutMessage, EXIT_OUT_OF_TIME);
    }
}

int RunMonitor(RunnerMachine& machine, const std::string& line, bool script) {
    std::vector<std::string> messages;
    if (!Runner_Monitor(machine, line, &messages))
        return Fail("the monitor did not answer \"" + line + "\"", EXIT_NO_MACHINE);
    for (const std::string& message : messages) std::printf("monitor: %s\n", message.c_str());
    // A line the monitor took comes back first, from its first non-blank on; without it
    // the line was lost, and an action that did nothing must not pass as done.
    size_t first = line.find_first_not_of(' ');
    if (first != std::string::npos && (messages.empty() || messages.front() != line.substr(first)))
        return Fail("the monitor did not take \"" + line + "\"", EXIT_BAD_USAGE);
    for (const std::string& message : messages) {
        if (script && message == "Script not found")
            return Fail(
                "--monitor-script: no file " + line.substr(5) + " (nor in ../Files/ or ../Test/)",
                EXIT_BAD_USAGE);
    }
    return EXIT_DONE;
}

// The WAV file being written. Opened and closed while the machine is held; the emulation
// thread advances it at the end of every slice.
WavCapture* g_Wav = nullptr;
// In a paced run the stand-in device plays by the host's clock, as a real one does, so
// that the ring's level and its speed correction behave as with a real device. Played by
// the emulated time instead, it would take each buffer just as it was made: the ring would
// stay nearly empty and its correction would drive the machine 5 % ahead of real time.
bool g_WavOnHostClock = false;
std::chrono::steady_clock::time_point g_WavLastAdvance;

void AdvanceWav(uint32_t microseconds) {
    if (!g_Wav) return;
    if (g_WavOnHostClock) {
        // After the machine was held between actions, a slice plays at most 100 ms.
        constexpr int64_t kLongestPlay = 100000;
        auto now = std::chrono::steady_clock::now();
        int64_t played =
            std::chrono::duration_cast<std::chrono::microseconds>(now - g_WavLastAdvance).count();
        g_WavLastAdvance = now;
        microseconds = static_cast<uint32_t>(std::clamp<int64_t>(played, 0, kLongestPlay));
    }
    WavCapture_Advance(*g_Wav, microseconds);
}

// Ends the WAV file being written, if any; an exit code.
int CloseWav(WavCapture& capture) {
    std::string error;
    if (!WavCapture_Close(capture, error)) return Fail(error, EXIT_BAD_USAGE);
    return EXIT_DONE;
}

int StartWav(WavCapture& capture, const std::string& path) {
    if (CloseWav(capture) != EXIT_DONE) return EXIT_BAD_USAGE;
    std::string error;
    if (!WavCapture_Open(capture, path, error)) return Fail(error, EXIT_BAD_USAGE);
    g_WavLastAdvance = std::chrono::steady_clock::now();
    if (!g_Wav) {
        g_Wav = &capture;
        Runner_AddSliceListener(AdvanceWav);
    }
    return EXIT_DONE;
}

// Snapshots are read and written on the emulation thread, between instructions.
struct SnapshotJob {
    const std::string* path;
    const SNA_Image* image;  // to apply; none to save
    std::string error;
    bool done = false;
};

void RunSnapshotJob(Z80_State* state, void* argument) {
    auto* job = static_cast<SnapshotJob*>(argument);
    if (job->image) {
        SNA_Apply(state, *job->image);
        job->done = true;
    } else {
        job->done = SNA_SaveFile(state, job->path->c_str(), &job->error);
    }
}

int SaveSnapshot(RunnerMachine& machine, const std::string& path) {
    SnapshotJob job{&path, nullptr, {}, false};
    if (!Emul_RunOnThread(&machine.control, RunSnapshotJob, &job))
        return Fail("--save-snapshot: the machine has ended", EXIT_NO_MACHINE);
    return job.done ? EXIT_DONE : Fail("--save-snapshot: " + job.error, EXIT_BAD_USAGE);
}

// Runs one action; returns an exit code, EXIT_DONE to go on.
int RunAction(RunnerMachine& machine, const RunnerOptions& options, const RunnerAction& action,
              WavCapture& wav) {
    const uint64_t limit = action.milliseconds * MICROSECONDS_PER_MILLISECOND;
    switch (action.kind) {
        case RunnerActionKind::RunMs: return AfterRun(machine, Runner_Run(machine, limit), "");
        case RunnerActionKind::UntilText:
            return AfterRun(machine, Runner_RunUntilText(machine, action.text, limit),
                            "\"" + action.text + "\" was not on the screen within " +
                                std::to_string(action.milliseconds) + " ms");
        case RunnerActionKind::UntilStop:
            if (Runner_RunUntilStop(machine, limit)) {
                PrintStop(machine);
                return EXIT_DONE;
            }
            return AfterRun(
                machine, false,
                "the machine did not stop within " + std::to_string(action.milliseconds) + " ms");
        case RunnerActionKind::Type:
            return AfterRun(machine, Runner_Type(machine, action.strokes), "");
        case RunnerActionKind::Monitor: return RunMonitor(machine, action.text, false);
        case RunnerActionKind::MonitorScript:
            return RunMonitor(machine, "PLAY " + action.text, true);
        case RunnerActionKind::Screenshot: {
            std::string error;
            if (!Runner_WriteScreenshot(action.text.c_str(), Runner_LastFrame(machine).data(),
                                        PAL_GetPalette(), error))
                return Fail(error, EXIT_BAD_USAGE);
            return EXIT_DONE;
        }
        case RunnerActionKind::Autorun: {
            std::string message;
            bool tape = !options.tape.empty() && options.disks[0].empty();
            uint8_t type = options.type;
            switch (tape ? Runner_AutorunTape(machine, type, limit, message)
                         : Runner_Autorun(machine, limit, message)) {
                case AutorunResult::Typed:
                    std::fprintf(stderr, "brallivane-run: autorun typed %s\n", message.c_str());
                    return EXIT_DONE;
                case AutorunResult::BadDisk: return Fail(message, EXIT_BAD_USAGE);
                case AutorunResult::RunEnded: return AfterRun(machine, false, message);
            }
            return EXIT_DONE;
        }
        case RunnerActionKind::Wav: return StartWav(wav, action.text);
        case RunnerActionKind::SaveSnapshot: return SaveSnapshot(machine, action.text);
        case RunnerActionKind::NewDisk: {
            std::string error;
            FDC_BlankFormat format =
                action.milliseconds ? FDC_BlankFormat::System : FDC_BlankFormat::Data;
            if (!PAL_CreateBlankDisk(action.text.c_str(), format, false, error))
                return Fail("--new-disk: cannot write " + action.text + ": " + error,
                            EXIT_BAD_USAGE);
            return EXIT_DONE;
        }
        case RunnerActionKind::ScreenText:
            for (const std::string& line : Runner_ScreenText()) std::printf("%s\n", line.c_str());
            return EXIT_DONE;
        case RunnerActionKind::DumpMonitor:
            PrintGrid(Runner_MonitorGrid(machine));
            return EXIT_DONE;
        case RunnerActionKind::GdbWait:
            std::printf("gdb: waiting for a client\n");
            if (!OutputWritten()) return OutputFailed();
            Runner_ServeDebugger(machine);
            return EXIT_DONE;
    }
    return EXIT_DONE;
}

bool WantsFrames(const RunnerOptions& options) {
    for (const RunnerAction& action : options.actions)
        if (action.kind == RunnerActionKind::Screenshot) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    // A closed pipe then fails the write, which is reported, instead of ending the program.
    std::signal(SIGPIPE, SIG_IGN);

    RunnerOptions options;
    std::string error;
    switch (Runner_ParseArguments(argc, argv, options, error)) {
        case RunnerParseResult::Help:
            std::fputs(Runner_HelpText(), stdout);
            return OutputWritten() ? EXIT_DONE : OutputFailed();
        case RunnerParseResult::Error: return Fail(error, EXIT_BAD_USAGE);
        case RunnerParseResult::Run: break;
    }

    if (!options.trace) XT_AdjustTraceLevel(0);  // from 1 to 0: the trace call does nothing

    PAL_SetSettingsPath(options.settingsPath.c_str());
    RunnerMachine machine;
    machine.keepGoing = options.keepGoing;
    machine.realtime = options.realtime;
    g_WavOnHostClock = options.realtime;
    machine.keepFrames = WantsFrames(options);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> frameHashes(nullptr, std::fclose);
    if (!options.frameHashes.empty()) {
        frameHashes.reset(std::fopen(options.frameHashes.c_str(), "w"));
        if (!frameHashes)
            return Fail("--frame-hashes: cannot create " + options.frameHashes + ": " +
                            std::strerror(errno),
                        EXIT_BAD_USAGE);
        machine.frameHashes = frameHashes.get();
    }
    // A snapshot is read in full before the machine starts: it may name another model.
    SNA_Image snapshot;
    if (!options.snapshot.empty()) {
        if (!SNA_ReadFile(options.snapshot.c_str(), options.type, &snapshot, &error))
            return Fail("--snapshot: " + error, EXIT_BAD_USAGE);
        if (snapshot.model != options.type)
            std::fprintf(stderr, "brallivane-run: the snapshot is of a %s: the machine is one\n",
                         SNA_ModelName(snapshot.model));
        options.type = snapshot.model;
    }
    uint8_t type = options.fast ? (options.type | CPC_TYPE_SPEED_BITS) : options.type;
    if (options.romDirectory.empty()) options.romDirectory = PAL_DefaultRomDirectory();
    if (!Runner_StartMachine(machine, type, options.crtcType, options.romDirectory, error)) {
        return Fail(error, EXIT_NO_MACHINE);
    }
    for (int drive = 0; drive < 2; ++drive) {
        std::string failure = PAL_GetDiskLoadError(drive);
        if (options.disks[drive].empty() && !failure.empty()) {
            std::fprintf(
                stderr, "brallivane-run: drive %c: the disk the settings name was not loaded: %s\n",
                'A' + drive, failure.c_str());
        }
    }
    if (!Runner_InsertDisks(options, error)) {
        Runner_ShutdownMachine(machine);
        PAL_EjectAll();
        return Fail(error, EXIT_BAD_USAGE);
    }
    if (options.realtime) g_TapePublished.fastLoading.store(0);  // real time asked for
    std::string tapeWarning;
    if (!Runner_InsertTape(options, error, tapeWarning)) {
        Runner_ShutdownMachine(machine);
        PAL_EjectAll();
        return Fail(error, EXIT_BAD_USAGE);
    }
    if (!tapeWarning.empty())
        std::fprintf(stderr, "brallivane-run: --tape: %s\n", tapeWarning.c_str());

    if (!options.snapshot.empty()) {
        SnapshotJob job{&options.snapshot, &snapshot, {}, false};
        Emul_RunOnThread(&machine.control, RunSnapshotJob, &job);
    }

    if (options.gdbPort >= 0) {
        uint16_t port = PAL_StartRemoteServer(static_cast<uint16_t>(options.gdbPort), error);
        if (port == 0) {
            Runner_ShutdownMachine(machine);
            PAL_EjectAll();
            return Fail("--gdb: " + error, EXIT_BAD_USAGE);
        }
        std::printf("gdb: listening on port %u\n", port);
        if (!OutputWritten()) return OutputFailed();
    }

    PAL_StartDiskWriter();  // changed disks reach their files as in the desktop program
    auto hostStart = std::chrono::steady_clock::now();
    uint64_t emulatedStart = Runner_Elapsed(machine);
    int code = EXIT_DONE;
    auto wav = std::make_unique<WavCapture>();
    for (const RunnerAction& action : options.actions) {
        code = RunAction(machine, options, action, *wav);
        if (code == EXIT_DONE && !OutputWritten()) code = OutputFailed();
        if (code != EXIT_DONE) break;
    }
    int wavCode = CloseWav(*wav);
    if (code == EXIT_DONE) code = wavCode;
    auto hostMilliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now() - hostStart)
                                .count();

    if (options.bench) {
        uint64_t speed = (Runner_Elapsed(machine) - emulatedStart) /
                         static_cast<uint64_t>(hostMilliseconds > 0 ? hostMilliseconds : 1);
        std::printf("speed: %llu\n", static_cast<unsigned long long>(speed));
        if (!OutputWritten() && code == EXIT_DONE) code = OutputFailed();
    }
    Runner_ReportRepeatedStops(machine, stderr);
    if (!Runner_FinishTapeRecording(options, error)) {
        int failed = Fail(error, EXIT_BAD_USAGE);
        if (code == EXIT_DONE) code = failed;
    }
    PAL_StopRemoteServer();
    Runner_ShutdownMachine(machine);
    PAL_StopDiskWriter();
    PAL_EjectAll();
    for (int drive = 0; drive < 2; ++drive) {
        std::string unsaved = PAL_TakeDiskSaveError(drive);
        if (!unsaved.empty()) code = Fail(unsaved, EXIT_BAD_USAGE);
    }
    if (frameHashes) {
        bool written = !machine.frameHashWriteFailed && std::fflush(frameHashes.get()) == 0 &&
                       !std::ferror(frameHashes.get());
        if (!written && code == EXIT_DONE)
            code = Fail("--frame-hashes: cannot write " + options.frameHashes, EXIT_BAD_USAGE);
    }
    return code;
}
