// The runner's command line and the text of its --type action.
#include <gtest/gtest.h>

#include <vector>

#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "tools/runner/key_script.h"
#include "tools/runner/runner_options.h"

namespace {
// A command line with its arguments separated by '|'.
RunnerParseResult Parse(const std::string& line, RunnerOptions& options) {
    std::vector<std::string> words = {"brallivane-run"};
    for (size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
        end = line.find('|', start);
        words.push_back(line.substr(start, end - start));
    }
    std::vector<const char*> args;
    for (const std::string& word : words) args.push_back(word.c_str());
    std::string error;
    RunnerParseResult result =
        Runner_ParseArguments(static_cast<int>(args.size()), args.data(), options, error);
    EXPECT_EQ(result == RunnerParseResult::Error, !error.empty()) << error;
    return result;
}
}  // namespace

TEST(RunnerOptions, MachineOptionsAndActionsInOrder) {
    RunnerOptions options;
    ASSERT_EQ(Parse("--model|464fdi|--crtc|0|--roms|/x/roms|--fast|--realtime|--keep-going|"
                    "--bench|--no-trace|--until-text|Ready|--timeout-ms|500|--type|run\\n|"
                    "--until-text|Bye|--run-ms|20|--screenshot|a.png|--screen-text|--until-stop|"
                    "--monitor|BR 0038|--monitor-script|s.txt|--dump-monitor|--wav|b.wav|"
                    "--frame-hashes|h.txt|--new-disk|n.dsk|system",
                    options),
              RunnerParseResult::Run);
    EXPECT_EQ(options.type, CPC_MODEL_464_FDI);
    EXPECT_EQ(options.crtcType, 0);
    EXPECT_EQ(options.romDirectory, "/x/roms/");
    EXPECT_TRUE(options.bench);
    EXPECT_FALSE(options.trace);
    EXPECT_TRUE(options.realtime);
    EXPECT_TRUE(options.keepGoing);
    EXPECT_TRUE(options.fast);
    EXPECT_EQ(options.frameHashes, "h.txt");
    // Kind, time (limits for UntilText: 30 s until --timeout-ms changes it), text.
    using K = RunnerActionKind;
    const std::vector<std::tuple<K, uint64_t, std::string>> expected = {
        {K::UntilText, 30000, "Ready"}, {K::Type, 0, "run\\n"},
        {K::UntilText, 500, "Bye"},     {K::RunMs, 20, ""},
        {K::Screenshot, 0, "a.png"},    {K::ScreenText, 0, ""},
        {K::UntilStop, 500, ""},        {K::Monitor, 0, "BR 0038"},
        {K::MonitorScript, 0, "s.txt"}, {K::DumpMonitor, 0, ""},
        {K::Wav, 0, "b.wav"},           {K::NewDisk, 1, "n.dsk"}};
    ASSERT_EQ(options.actions.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        auto [kind, ms, text] = expected[i];
        EXPECT_EQ(options.actions[i].kind, kind) << i;
        EXPECT_EQ(options.actions[i].text, text) << i;
        if (kind == K::UntilText || kind == K::RunMs || kind == K::UntilStop ||
            kind == K::NewDisk) {
            EXPECT_EQ(options.actions[i].milliseconds, ms) << i;
        }
    }
}

TEST(RunnerOptions, BadUsageIsExplained) {
    for (const char* line :
         {"--model|6129", "--crtc|2", "--run-ms|-5", "--run-ms|12x", "--run-ms", "--until-text|",
          "--type|\\q", "--frobnicate", "--type|caf\xC3\xA9", "--timeout-ms|99999999999999999999",
          "--monitor|", "--monitor|REG A 01\t", "--monitor|BR ~", "--monitor-script|",
          "--frame-hashes|",
          "--monitor|FILL 4000 0100 00 00000000000000000000000000000000000000000",
          // A machine option after an action.
          "--run-ms|5|--roms|x", "--run-ms|5|--realtime", "--run-ms|5|--keep-going",
          "--run-ms|5|--snapshot|s.sna", "--save-snapshot|",
          // Disks: the 464 has no interface; protection and new disks take their values.
          "--model|464|--disk-a|x.dsk", "--disk-b|x.dsk|--model|464", "--model|464|--autorun",
          "--write-protect|c", "--new-disk|n.dsk", "--new-disk|n.dsk|raw"}) {
        RunnerOptions options;
        EXPECT_EQ(Parse(line, options), RunnerParseResult::Error) << line;
    }
    RunnerOptions options;
    EXPECT_EQ(Parse("--run-ms|5|--help", options), RunnerParseResult::Help);
    EXPECT_NE(std::string(Runner_HelpText()).find("--until-text"), std::string::npos);
}

TEST(KeyScript, CharactersAndEscapesBecomeKeys) {
    std::vector<KeyStroke> strokes;
    std::string error;
    auto keys = [&](const std::string& text) {
        std::vector<std::pair<uint8_t, bool>> codes;
        EXPECT_TRUE(Runner_ParseTypedText(text, strokes, error)) << error;
        for (const KeyStroke& s : strokes) codes.push_back({s.code, s.shifted});
        return codes;
    };
    using Codes = std::vector<std::pair<uint8_t, bool>>;
    // The key translator adds SHIFT for symbols itself; upper-case letters carry it here.
    // clang-format off
    EXPECT_EQ(keys("Pr 6*\xC2\xA3"), (Codes{{'P', true}, {'R', false}, {PSG_KEY_SPACE, false},
                                            {'6', false}, {'*', false}, {PSG_KEY_POUND, false}}));
    EXPECT_EQ(keys("\\n\\e\\t\\b\\\\\\{COPY}\\{F7}\\{LEFT}"),
              (Codes{{PSG_KEY_RETURN, false}, {PSG_KEY_ESC, false}, {PSG_KEY_TAB, false},
                     {PSG_KEY_DEL, false}, {'\\', false}, {PSG_KEY_COPY, false},
                     {PSG_KEY_F0 + 7, false}, {PSG_KEY_CURSOR_LEFT, false}}));
    // clang-format on
    for (const char* bad : {"\\", "\\x", "\\{NOPE}", "\\{COPY", "~", "\x01"}) {
        error.clear();
        EXPECT_FALSE(Runner_ParseTypedText(bad, strokes, error)) << bad;
        EXPECT_FALSE(error.empty()) << bad;
    }
}
