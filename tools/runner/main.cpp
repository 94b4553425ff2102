// brallivane-run: the Amstrad CPC without windows, for tests, benchmarks and scripts.
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"
#include "tools/runner/runner_machine.h"
#include "tools/runner/runner_options.h"
#include "tools/runner/screenshot.h"
#include "tools/runner/wav_capture.h"

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_BAD_USAGE = 1;
constexpr int EXIT_NO_MACHINE = 2;
constexpr int EXIT_TEXT_NOT_SEEN = 3;

constexpr uint64_t MICROSECONDS_PER_MILLISECOND = 1000;

int Fail(const std::string& message, int code) {
    std::fprintf(stderr, "brallivane-run: %s\n", message.c_str());
    return code;
}

void AdvanceWav(void* capture, uint64_t microseconds) {
    WavCapture_Advance(*static_cast<WavCapture*>(capture), microseconds);
}

// Ends the WAV file being written, if any; an exit code.
int CloseWav(WavCapture& capture) {
    std::string error;
    if (!WavCapture_Close(capture, error)) return Fail(error, EXIT_BAD_USAGE);
    return EXIT_DONE;
}

// Runs one action; returns an exit code, EXIT_DONE to go on.
int RunAction(RunnerMachine& machine, const RunnerAction& action, WavCapture& wav) {
    switch (action.kind) {
        case RunnerActionKind::RunMs:
            if (!Runner_Run(machine, action.milliseconds * MICROSECONDS_PER_MILLISECOND)) {
                return Fail("the processor stopped advancing time", EXIT_NO_MACHINE);
            }
            return EXIT_DONE;
        case RunnerActionKind::UntilText:
            if (!Runner_RunUntilText(machine, action.text,
                                     action.milliseconds * MICROSECONDS_PER_MILLISECOND)) {
                if (machine.stalled)
                    return Fail("the processor stopped advancing time", EXIT_NO_MACHINE);
                return Fail("\"" + action.text + "\" was not on the screen within " +
                                std::to_string(action.milliseconds) + " ms",
                            EXIT_TEXT_NOT_SEEN);
            }
            return EXIT_DONE;
        case RunnerActionKind::Type:
            if (!Runner_Type(machine, action.strokes)) {
                return Fail("the keys were not taken in (processor stalled)", EXIT_NO_MACHINE);
            }
            return EXIT_DONE;
        case RunnerActionKind::Screenshot: {
            std::string error;
            if (!Runner_WriteScreenshot(action.text.c_str(), machine.frameBuffer.data(),
                                        PAL_GetPalette(), error)) {
                return Fail(error, EXIT_BAD_USAGE);
            }
            return EXIT_DONE;
        }
        case RunnerActionKind::Wav: {
            if (CloseWav(wav) != EXIT_DONE) return EXIT_BAD_USAGE;
            std::string error;
            if (!WavCapture_Open(wav, action.text, error)) return Fail(error, EXIT_BAD_USAGE);
            machine.sliceHook = AdvanceWav;
            machine.sliceContext = &wav;
            return EXIT_DONE;
        }
        case RunnerActionKind::ScreenText:
            for (const std::string& line : Runner_ScreenText()) std::printf("%s\n", line.c_str());
            std::fflush(stdout);
            return EXIT_DONE;
    }
    return EXIT_DONE;
}

}  // namespace

int main(int argc, char** argv) {
    RunnerOptions options;
    std::string error;
    switch (Runner_ParseArguments(argc, argv, options, error)) {
        case RunnerParseResult::Help: std::fputs(Runner_HelpText(), stdout); return EXIT_DONE;
        case RunnerParseResult::Error: return Fail(error, EXIT_BAD_USAGE);
        case RunnerParseResult::Run: break;
    }

    if (!options.trace) XT_AdjustTraceLevel(0);  // from 1 to 0: the trace call does nothing

    RunnerMachine machine;
    uint8_t type = options.fast ? (options.type | CPC_TYPE_SPEED_BITS) : options.type;
    if (!Runner_StartMachine(machine, type, options.crtcType, options.romDirectory, error)) {
        return Fail(error, EXIT_NO_MACHINE);
    }

    auto hostStart = std::chrono::steady_clock::now();
    int code = EXIT_DONE;
    auto wav = std::make_unique<WavCapture>();
    for (const RunnerAction& action : options.actions) {
        code = RunAction(machine, action, *wav);
        if (code != EXIT_DONE) break;
    }
    int wavCode = CloseWav(*wav);
    if (code == EXIT_DONE) code = wavCode;
    auto hostMilliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now() - hostStart)
                                .count();

    if (options.bench) {
        uint64_t speed =
            machine.elapsed / static_cast<uint64_t>(hostMilliseconds > 0 ? hostMilliseconds : 1);
        std::printf("speed: %llu\n", static_cast<unsigned long long>(speed));
    }
    Runner_ReportRepeatedStops(machine, stderr);
    Runner_ShutdownMachine(machine);
    return code;
}
