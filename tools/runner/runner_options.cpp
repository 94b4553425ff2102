// Argument parsing of brallivane-run. Every option is checked before the machine starts,
// so bad usage never leaves half of the actions done.
#include "tools/runner/runner_options.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "common/machine/machine.h"

namespace {

constexpr uint64_t DEFAULT_TIMEOUT_MS = 30000;
// Long enough for anything sensible, small enough that microseconds never overflow.
constexpr uint64_t MAX_MILLISECONDS = 1000ull * 1000 * 1000 * 1000;

const char* const HELP_TEXT =
    "Usage: brallivane-run [machine options] [actions]\n"
    "\n"
    "Runs an Amstrad CPC without windows. The machine starts running at once; the\n"
    "actions then run in the order given.\n"
    "\n"
    "Machine options:\n"
    "  --model 464|464fdi|664|6128  machine (default 6128)\n"
    "  --crtc 0|1                   CRTC type (default 1)\n"
    "  --fast                       the \"Fastest\" speed mode: the line-based CRTC and\n"
    "                               the thread-driven sound engine, which computes sound\n"
    "                               when the audio side asks for it (hardware envelopes\n"
    "                               hold their start level). Without it, \"Best\": the\n"
    "                               precise CRTC and the time-driven sound engine, which\n"
    "                               produces sound with the emulated time\n"
    "  --roms DIR                   folder holding CPC464.rom, CPC664.rom, CPC6128.rom\n"
    "                               and amsdos.rom (default ../ROM/)\n"
    "  --timeout-ms N               time limit of the --until-text actions that follow\n"
    "                               (emulated milliseconds, default 30000)\n"
    "  --bench                      at the end, print \"speed: N\": emulated microseconds\n"
    "                               per host millisecond over all the actions\n"
    "  --no-trace                   write no trace records (otherwise the trace library\n"
    "                               beside the program, when present, logs them)\n"
    "  --help                       print this text\n"
    "\n"
    "Actions:\n"
    "  --run-ms N                   run N emulated milliseconds\n"
    "  --until-text TEXT            run until TEXT is on the screen\n"
    "  --type TEXT                  type TEXT on the CPC keyboard, one key after the\n"
    "                               other; upper-case letters are typed with SHIFT.\n"
    "                               Escapes: \\n RETURN, \\e ESC, \\t TAB, \\b DEL,\n"
    "                               \\\\ a backslash, and \\{NAME} for the keys RETURN,\n"
    "                               ENTER, ESC, TAB, DEL, CLR, COPY, SPACE, UP, DOWN,\n"
    "                               LEFT, RIGHT and F0 to F9\n"
    "  --screenshot FILE.png        write the frame buffer as a 768 x 540 PNG\n"
    "  --screen-text                print the text on the CPC screen, one line per\n"
    "                               character row (modes 0, 1 and 2)\n"
    "  --wav FILE                   from here on, write what a listener would hear to\n"
    "                               FILE (WAV, 44100 Hz, 16-bit stereo), taking the sound\n"
    "                               out at the real-time rate as the audio device does\n"
    "\n"
    "Stops of the emulated machine (unsupported ports and instructions) are reported on\n"
    "standard error; the machine keeps running.\n"
    "\n"
    "Exit codes: 0 done, 1 bad usage or input, 2 the machine could not start (for\n"
    "example a ROM file is missing), 3 a text was not seen in time.\n";

bool ParseModel(const std::string& value, uint8_t& type) {
    if (value == "464")
        type = CPC_MODEL_464;
    else if (value == "464fdi")
        type = CPC_MODEL_464_FDI;
    else if (value == "664")
        type = CPC_MODEL_664;
    else if (value == "6128")
        type = CPC_MODEL_6128;
    else
        return false;
    return true;
}

bool ParseMilliseconds(const std::string& value, uint64_t& result) {
    if (value.empty() || value[0] < '0' || value[0] > '9') return false;
    errno = 0;
    char* end = nullptr;
    unsigned long long parsed = std::strtoull(value.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || parsed > MAX_MILLISECONDS) return false;
    result = parsed;
    return true;
}

}  // namespace

const char* Runner_HelpText() {
    return HELP_TEXT;
}

RunnerParseResult Runner_ParseArguments(int argc, const char* const* argv, RunnerOptions& options,
                                        std::string& error) {
    uint64_t timeoutMs = DEFAULT_TIMEOUT_MS;
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        if (option == "--help" || option == "-h") return RunnerParseResult::Help;
        if (option == "--bench") {
            options.bench = true;
            continue;
        }
        if (option == "--fast") {
            options.fast = true;
            continue;
        }
        if (option == "--no-trace") {
            options.trace = false;
            continue;
        }
        if (option == "--screen-text") {
            options.actions.push_back({RunnerActionKind::ScreenText, 0, {}, {}});
            continue;
        }

        bool takesValue = option == "--model" || option == "--crtc" || option == "--roms" ||
                          option == "--timeout-ms" || option == "--run-ms" ||
                          option == "--until-text" || option == "--type" ||
                          option == "--screenshot" || option == "--wav";
        if (!takesValue) {
            error = "unknown option '" + option + "' (see --help)";
            return RunnerParseResult::Error;
        }
        if (i + 1 >= argc) {
            error = option + " needs a value";
            return RunnerParseResult::Error;
        }
        std::string value = argv[++i];

        if (option == "--model") {
            if (!ParseModel(value, options.type)) {
                error = "--model must be 464, 464fdi, 664 or 6128, not '" + value + "'";
                return RunnerParseResult::Error;
            }
        } else if (option == "--crtc") {
            if (value != "0" && value != "1") {
                error = "--crtc must be 0 or 1, not '" + value + "'";
                return RunnerParseResult::Error;
            }
            options.crtcType = static_cast<uint8_t>(value[0] - '0');
        } else if (option == "--roms") {
            if (value.empty()) {
                error = "--roms needs a folder";
                return RunnerParseResult::Error;
            }
            if (value.back() != '/') value += '/';
            options.romDirectory = value;
        } else if (option == "--timeout-ms") {
            if (!ParseMilliseconds(value, timeoutMs)) {
                error = "--timeout-ms needs a number of milliseconds, not '" + value + "'";
                return RunnerParseResult::Error;
            }
        } else if (option == "--run-ms") {
            uint64_t milliseconds = 0;
            if (!ParseMilliseconds(value, milliseconds)) {
                error = "--run-ms needs a number of milliseconds, not '" + value + "'";
                return RunnerParseResult::Error;
            }
            options.actions.push_back({RunnerActionKind::RunMs, milliseconds, {}, {}});
        } else if (option == "--until-text") {
            if (value.empty()) {
                error = "--until-text needs a non-empty text";
                return RunnerParseResult::Error;
            }
            options.actions.push_back({RunnerActionKind::UntilText, timeoutMs, value, {}});
        } else if (option == "--type") {
            std::vector<KeyStroke> strokes;
            std::string keyError;
            if (!Runner_ParseTypedText(value, strokes, keyError)) {
                error = "--type: " + keyError;
                return RunnerParseResult::Error;
            }
            options.actions.push_back({RunnerActionKind::Type, 0, value, std::move(strokes)});
        } else if (option == "--screenshot") {
            if (value.empty()) {
                error = "--screenshot needs a file name";
                return RunnerParseResult::Error;
            }
            options.actions.push_back({RunnerActionKind::Screenshot, 0, value, {}});
        } else if (option == "--wav") {
            if (value.empty()) {
                error = "--wav needs a file name";
                return RunnerParseResult::Error;
            }
            options.actions.push_back({RunnerActionKind::Wav, 0, value, {}});
        }
    }
    return RunnerParseResult::Run;
}
