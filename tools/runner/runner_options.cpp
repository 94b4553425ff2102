// Argument parsing of brallivane-run. Every option is checked before the machine starts,
// so bad usage never leaves half of the actions done. Options live in one table: a new
// option is one row and, when it needs one, one small function.
#include "tools/runner/runner_options.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "common/machine/machine.h"

namespace {

// Long enough for anything sensible, small enough that microseconds never overflow.
constexpr uint64_t MAX_MILLISECONDS = 1000ull * 1000 * 1000 * 1000;
// The monitor's input line holds this many characters, from space to '}'.
constexpr size_t MONITOR_LINE_CHARS = 54;
constexpr char MONITOR_FIRST_KEY = ' ';
constexpr char MONITOR_LAST_KEY = '}';
constexpr const char* PLAY_COMMAND = "PLAY ";

const char* const HELP_TEXT =
    "Usage: brallivane-run [machine options] [actions]\n"
    "\n"
    "Runs an Amstrad CPC without windows, on the same emulation thread and monitor as the\n"
    "desktop program, with the monitor's console kept in memory. The machine starts\n"
    "stopped at address 0; the actions then run in the order given, and the first one that\n"
    "needs time sets the machine running, as F5 in the monitor does.\n"
    "\n"
    "Machine options (before the actions):\n"
    "  --model 464|464fdi|664|6128  machine (default 6128)\n"
    "  --crtc 0|1                   CRTC type (default 1)\n"
    "  --fast                       the \"Fastest\" speed mode: the line-based CRTC and\n"
    "                               the thread-driven sound engine, which computes sound\n"
    "                               when the audio side asks for it (hardware envelopes\n"
    "                               hold their start level). Without it, \"Best\": the\n"
    "                               precise CRTC and the time-driven sound engine, which\n"
    "                               produces sound with the emulated time\n"
    "  --roms DIR                   folder holding CPC464.rom, CPC664.rom, CPC6128.rom\n"
    "                               and amsdos.rom (default ../ROM/, or, where\n"
    "                               that is missing, ~/.local/share/brallivane/ROM/)\n"
    "  --disk-a FILE, --disk-b FILE disk image for drive A or B, standard or extended\n"
    "                               DSK; a name is looked for as given, then under\n"
    "                               ../Files/ and ../Test/, with .dsk added unless it\n"
    "                               ends in .dsk\n"
    "  --settings FILE              settings file (created when missing): the disks it\n"
    "                               names are loaded at start, and a disk given here is\n"
    "                               written to it; without it no settings are used\n"
    "  --tape FILE                  a CDT/TZX or CSW tape in the deck, PLAY pressed: it\n"
    "                               moves while the firmware runs the motor\n"
    "  --tape-record FILE           record what the machine writes to tape while the\n"
    "                               motor runs (REC and PLAY pressed); written as a CDT\n"
    "                               file when the runner ends\n"
    "  --write-protect a|b|ab       write-protect drive A, B or both (disks are otherwise\n"
    "                               written back to their files, as the desktop does)\n"
    "  --realtime                   pace the machine to real time (actual speed on)\n"
    "  --snapshot FILE              start from a snapshot file (SNA) instead of a reset;\n"
    "                               a snapshot of another model switches to that model\n"
    "  --keep-going                 count stops of the machine (breakpoints, unsupported\n"
    "                               ports and instructions), report them on standard\n"
    "                               error and run on, instead of stopping into the monitor\n"
    "  --gdb PORT                   listen for a GDB remote protocol client on\n"
    "                               127.0.0.1 and ::1 (one at a time); PORT 0 takes a\n"
    "                               free port. Prints \"gdb: listening on port N\"\n"
    "\n"
    "Settings (anywhere):\n"
    "  --timeout-ms N               time limit of the waiting actions that follow\n"
    "                               (emulated milliseconds, default 30000)\n"
    "  --bench                      at the end, print \"speed: N\": emulated microseconds\n"
    "                               per host millisecond over all the actions\n"
    "  --no-trace                   write no trace records (otherwise the trace library\n"
    "                               beside the program, when present, logs them)\n"
    "  --frame-hashes FILE          write a hash of every complete frame to FILE, one\n"
    "                               line each, to compare runs frame by frame\n"
    "  --help                       print this text\n"
    "\n"
    "Actions:\n"
    "  --run-ms N                   run N emulated milliseconds\n"
    "  --until-text TEXT            run until TEXT is on the screen\n"
    "  --until-stop                 run until the machine stops (a breakpoint, the end of\n"
    "                               a step over or run to, a stop reason)\n"
    "  --type TEXT                  type TEXT on the CPC keyboard, one key after the\n"
    "                               other; upper-case letters are typed with SHIFT.\n"
    "                               Escapes: \\n RETURN, \\e ESC, \\t TAB, \\b DEL,\n"
    "                               \\\\ a backslash, and \\{NAME} for the keys RETURN,\n"
    "                               ENTER, ESC, TAB, DEL, CLR, COPY, SPACE, UP, DOWN,\n"
    "                               LEFT, RIGHT and F0 to F9\n"
    "  --monitor \"CMD\"              type one command line into the monitor and print\n"
    "                               its messages (\"monitor: ...\")\n"
    "  --monitor-script FILE        run a monitor script (PLAY FILE) to its end\n"
    "  --save-snapshot FILE         write the machine to FILE as a snapshot (SNA v3)\n"
    "  --screenshot FILE.png        write the last complete frame as a 768 x 540 PNG\n"
    "  --screen-text                print the text on the CPC screen, one line per\n"
    "                               character row (modes 0, 1 and 2)\n"
    "  --autorun                    wait for Ready, then type the command that starts\n"
    "                               the program on the disk in drive A, the first of: a\n"
    "                               program named DISC or DISK; a BASIC program whose\n"
    "                               name is part of the image's file name; the only\n"
    "                               BASIC program; any program whose name is part of\n"
    "                               the image's file name; the only binary program; the\n"
    "                               first BASIC, then the first binary program (in\n"
    "                               directory order); |CPM when there is none. A file\n"
    "                               is BASIC or binary by its AMSDOS header; a file\n"
    "                               without one is ASCII BASIC when named .BAS or\n"
    "                               without extension, else not a program. With --tape\n"
    "                               and no disk: |TAPE (on the 664 and 6128), RUN\" and\n"
    "                               the key the firmware asks for\n"
    "  --wav FILE                   from here on, write what a listener would hear to\n"
    "                               FILE (WAV, 44100 Hz, 16-bit stereo), taking the sound\n"
    "                               out at the real-time rate as the audio device does\n"
    "                               (by the emulated clock, or with --realtime by the\n"
    "                               host's clock, as a real device plays)\n"
    "  --new-disk FILE data|system  write a blank formatted disk image to FILE (DATA:\n"
    "                               sectors C1-C9, SYSTEM: 41-49; 40 tracks); an\n"
    "                               existing file is not replaced\n"
    "  --dump-monitor               print the monitor's 75 x 41 console (a byte that is\n"
    "                               not printable ASCII shows as '?')\n"
    "  --gdb-wait                   (with --gdb) print \"gdb: waiting for a client\" and\n"
    "                               leave the machine to the client until one has\n"
    "                               attached and detached\n"
    "\n"
    "When the machine stops into the monitor, the running action ends and the runner\n"
    "prints \"stop: PC=XXXX\" with the monitor's message; the following actions work on\n"
    "the stopped machine, and the next one that needs time sets it running again. A\n"
    "monitor command that sets the machine running (RT) lets it run to the end of a slice\n"
    "of 2 ms, where it is held; --until-stop then waits for its stop, or reports it.\n"
    "Between actions the machine is held, so results never depend on the host's speed.\n"
    "\n"
    "Exit codes: 0 done, 1 bad usage or input (a disk image that cannot be loaded, or\n"
    "standard output that cannot be written), 2 the machine could not start (for example a ROM "
    "file is missing), 3 a\n"
    "wait ran out of time (a text not seen, no stop, keys not taken in).\n";

enum class OptionRole {
    Machine,  // configures the machine: only before the first action
    Setting,  // anywhere
    Action,
};

struct OptionRow {
    const char* name;
    OptionRole role;
    int values;  // 0 for a flag; several are joined with line breaks
    // Applies the option; false with error set. value is empty for a flag.
    bool (*apply)(RunnerOptions& options, const std::string& value, std::string& error);
};

bool ParseMilliseconds(const std::string& option, const std::string& value, uint64_t& result,
                       std::string& error) {
    if (!value.empty() && value[0] >= '0' && value[0] <= '9') {
        errno = 0;
        char* end = nullptr;
        unsigned long long parsed = std::strtoull(value.c_str(), &end, 10);
        if (errno == 0 && *end == '\0' && parsed <= MAX_MILLISECONDS) {
            result = parsed;
            return true;
        }
    }
    error = option + " needs a number of milliseconds, not '" + value + "'";
    return false;
}

bool NonEmpty(const char* option, const std::string& value, const char* what, std::string& error) {
    if (!value.empty()) return true;
    error = std::string(option) + " needs " + what;
    return false;
}

// A line the monitor's input takes as typed: printable keys, at most one line's width.
bool MonitorLine(const char* option, const std::string& line, std::string& error) {
    if (!NonEmpty(option, line, "a command line", error)) return false;
    if (line.size() > MONITOR_LINE_CHARS) {
        error = std::string(option) + ": the monitor's input line holds at most " +
                std::to_string(MONITOR_LINE_CHARS) + " characters";
        return false;
    }
    for (char c : line) {
        if (c < MONITOR_FIRST_KEY || c > MONITOR_LAST_KEY) {
            error = std::string(option) + ": the monitor has no key for '" + std::string(1, c) +
                    "' (it takes the characters from space to '}')";
            return false;
        }
    }
    return true;
}

void AddAction(RunnerOptions& o, RunnerActionKind kind, uint64_t milliseconds = 0,
               std::string text = {}, std::vector<KeyStroke> strokes = {}) {
    o.actions.push_back({kind, milliseconds, std::move(text), std::move(strokes)});
}

bool ApplyModel(RunnerOptions& o, const std::string& value, std::string& error) {
    const std::pair<const char*, uint8_t> models[] = {{"464", CPC_MODEL_464},
                                                      {"464fdi", CPC_MODEL_464_FDI},
                                                      {"664", CPC_MODEL_664},
                                                      {"6128", CPC_MODEL_6128}};
    for (auto [name, type] : models) {
        if (value == name) {
            o.type = type;
            return true;
        }
    }
    error = "--model must be 464, 464fdi, 664 or 6128, not '" + value + "'";
    return false;
}

bool ApplyCrtc(RunnerOptions& o, const std::string& value, std::string& error) {
    if (value != "0" && value != "1") {
        error = "--crtc must be 0 or 1, not '" + value + "'";
        return false;
    }
    o.crtcType = static_cast<uint8_t>(value[0] - '0');
    return true;
}

bool ApplyRoms(RunnerOptions& o, const std::string& value, std::string& error) {
    if (!NonEmpty("--roms", value, "a folder", error)) return false;
    o.romDirectory = value.back() == '/' ? value : value + '/';
    return true;
}

bool ApplyDisk(RunnerOptions& o, int drive, const std::string& value, std::string& error) {
    if (!NonEmpty(drive == 0 ? "--disk-a" : "--disk-b", value, "a file name", error)) return false;
    o.disks[drive] = value;
    return true;
}

bool ApplyWriteProtect(RunnerOptions& o, const std::string& value, std::string& error) {
    if (value != "a" && value != "b" && value != "ab") {
        error = "--write-protect must be a, b or ab, not '" + value + "'";
        return false;
    }
    o.writeProtect[0] = value.find('a') != std::string::npos;
    o.writeProtect[1] = value.find('b') != std::string::npos;
    return true;
}

bool ApplyNewDisk(RunnerOptions& o, const std::string& value, std::string& error) {
    std::string file = value.substr(0, value.find('\n'));
    std::string format = value.substr(file.size() + 1);
    if (!NonEmpty("--new-disk", file, "a file name", error)) return false;
    if (format != "data" && format != "system") {
        error = "--new-disk: the format must be data or system, not '" + format + "'";
        return false;
    }
    AddAction(o, RunnerActionKind::NewDisk, format == "system", file);
    return true;
}

bool ApplySettings(RunnerOptions& o, const std::string& value, std::string& error) {
    if (!NonEmpty("--settings", value, "a file name", error)) return false;
    std::error_code ignored;
    if (std::filesystem::exists(value, ignored) &&
        !std::filesystem::is_regular_file(value, ignored)) {
        error = "--settings: '" + value + "' is not a file";
        return false;
    }
    o.settingsPath = value;
    return true;
}

const OptionRow OPTIONS[] = {
    {"--model", OptionRole::Machine, true, ApplyModel},
    {"--crtc", OptionRole::Machine, true, ApplyCrtc},
    {"--roms", OptionRole::Machine, true, ApplyRoms},
    {"--disk-a", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) { return ApplyDisk(o, 0, v, e); }},
    {"--disk-b", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) { return ApplyDisk(o, 1, v, e); }},
    {"--settings", OptionRole::Machine, true, ApplySettings},
    {"--snapshot", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--snapshot", v, "a file name", e)) return false;
         o.snapshot = v;
         return true;
     }},
    {"--tape", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         return NonEmpty("--tape", v, "a file name", e) && (o.tape = v, true);
     }},
    {"--tape-record", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         return NonEmpty("--tape-record", v, "a file name", e) && (o.tapeRecord = v, true);
     }},
    {"--write-protect", OptionRole::Machine, true, ApplyWriteProtect},
    {"--new-disk", OptionRole::Action, 2, ApplyNewDisk},
    {"--fast", OptionRole::Machine, false,
     [](RunnerOptions& o, const std::string&, std::string&) { return o.fast = true; }},
    {"--realtime", OptionRole::Machine, false,
     [](RunnerOptions& o, const std::string&, std::string&) { return o.realtime = true; }},
    {"--keep-going", OptionRole::Machine, false,
     [](RunnerOptions& o, const std::string&, std::string&) { return o.keepGoing = true; }},
    {"--gdb", OptionRole::Machine, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         char* end = nullptr;
         errno = 0;
         unsigned long port = std::strtoul(v.c_str(), &end, 10);
         if (v.empty() || v[0] < '0' || v[0] > '9' || *end != '\0' || errno || port > 65535) {
             e = "--gdb needs a port number from 0 to 65535, not '" + v + "'";
             return false;
         }
         o.gdbPort = static_cast<int>(port);
         return true;
     }},

    {"--timeout-ms", OptionRole::Setting, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         return ParseMilliseconds("--timeout-ms", v, o.timeoutMs, e);
     }},
    {"--bench", OptionRole::Setting, false,
     [](RunnerOptions& o, const std::string&, std::string&) { return o.bench = true; }},
    {"--frame-hashes", OptionRole::Setting, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--frame-hashes", v, "a file name", e)) return false;
         o.frameHashes = v;
         return true;
     }},
    {"--no-trace", OptionRole::Setting, false,
     [](RunnerOptions& o, const std::string&, std::string&) {
         o.trace = false;
         return true;
     }},

    {"--run-ms", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         uint64_t milliseconds = 0;
         if (!ParseMilliseconds("--run-ms", v, milliseconds, e)) return false;
         AddAction(o, RunnerActionKind::RunMs, milliseconds);
         return true;
     }},
    {"--until-text", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--until-text", v, "a non-empty text", e)) return false;
         AddAction(o, RunnerActionKind::UntilText, o.timeoutMs, v);
         return true;
     }},
    {"--until-stop", OptionRole::Action, false,
     [](RunnerOptions& o, const std::string&, std::string&) {
         AddAction(o, RunnerActionKind::UntilStop, o.timeoutMs);
         return true;
     }},
    {"--type", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         std::vector<KeyStroke> strokes;
         std::string keyError;
         if (!Runner_ParseTypedText(v, strokes, keyError)) {
             e = "--type: " + keyError;
             return false;
         }
         AddAction(o, RunnerActionKind::Type, 0, v, std::move(strokes));
         return true;
     }},
    {"--monitor", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!MonitorLine("--monitor", v, e)) return false;
         AddAction(o, RunnerActionKind::Monitor, 0, v);
         return true;
     }},
    {"--monitor-script", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         // Played by the monitor's PLAY, so the name must fit its input line.
         if (!NonEmpty("--monitor-script", v, "a file name", e) ||
             !MonitorLine("--monitor-script", PLAY_COMMAND + v, e))
             return false;
         AddAction(o, RunnerActionKind::MonitorScript, 0, v);
         return true;
     }},
    {"--screenshot", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--screenshot", v, "a file name", e)) return false;
         AddAction(o, RunnerActionKind::Screenshot, 0, v);
         return true;
     }},
    {"--screen-text", OptionRole::Action, false,
     [](RunnerOptions& o, const std::string&, std::string&) {
         AddAction(o, RunnerActionKind::ScreenText);
         return true;
     }},
    {"--autorun", OptionRole::Action, false,
     [](RunnerOptions& o, const std::string&, std::string&) {
         AddAction(o, RunnerActionKind::Autorun, o.timeoutMs);
         return true;
     }},
    {"--wav", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--wav", v, "a file name", e)) return false;
         AddAction(o, RunnerActionKind::Wav, 0, v);
         return true;
     }},
    {"--save-snapshot", OptionRole::Action, true,
     [](RunnerOptions& o, const std::string& v, std::string& e) {
         if (!NonEmpty("--save-snapshot", v, "a file name", e)) return false;
         AddAction(o, RunnerActionKind::SaveSnapshot, 0, v);
         return true;
     }},
    {"--dump-monitor", OptionRole::Action, false,
     [](RunnerOptions& o, const std::string&, std::string&) {
         AddAction(o, RunnerActionKind::DumpMonitor);
         return true;
     }},
    {"--gdb-wait", OptionRole::Action, false,
     [](RunnerOptions& o, const std::string&, std::string& e) {
         if (o.gdbPort < 0) {
             e = "--gdb-wait needs --gdb PORT before it";
             return false;
         }
         AddAction(o, RunnerActionKind::GdbWait);
         return true;
     }},
};

const OptionRow* FindOption(const std::string& name) {
    for (const OptionRow& row : OPTIONS)
        if (name == row.name) return &row;
    return nullptr;
}

}  // namespace

const char* Runner_HelpText() {
    return HELP_TEXT;
}

RunnerParseResult Runner_ParseArguments(int argc, const char* const* argv, RunnerOptions& options,
                                        std::string& error) {
    for (int i = 1; i < argc; ++i) {
        std::string name = argv[i];
        if (name == "--help" || name == "-h") return RunnerParseResult::Help;
        const OptionRow* row = FindOption(name);
        if (!row) {
            error = "unknown option '" + name + "' (see --help)";
            return RunnerParseResult::Error;
        }
        if (row->role == OptionRole::Machine && !options.actions.empty()) {
            error = name + " is a machine option: give it before the first action";
            return RunnerParseResult::Error;
        }
        std::string value;
        if (i + row->values >= argc) {
            error = name + (row->values > 1 ? " needs " + std::to_string(row->values) + " values"
                                            : " needs a value");
            return RunnerParseResult::Error;
        }
        for (int v = 0; v < row->values; ++v) value += (v ? "\n" : "") + std::string(argv[++i]);
        if (!row->apply(options, value, error)) return RunnerParseResult::Error;
    }
    // The 464 alone has no disk interface: nothing could read a disk, and --autorun has
    // only a tape to start.
    bool autorun = false;
    for (const RunnerAction& action : options.actions)
        autorun |= action.kind == RunnerActionKind::Autorun;
    if (options.type == CPC_MODEL_464 && (!options.disks[0].empty() || !options.disks[1].empty() ||
                                          (autorun && options.tape.empty()))) {
        error =
            "the 464 has no disk interface: --disk-a and --disk-b need --model 464fdi, 664 or "
            "6128, and --autorun needs a --tape";
        return RunnerParseResult::Error;
    }
    return RunnerParseResult::Run;
}
