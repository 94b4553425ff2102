#include <gtest/gtest.h>

#include <vector>

#include "common/machine/machine.h"
#include "tools/runner/runner_options.h"

namespace {
RunnerParseResult Parse(std::vector<const char*> args, RunnerOptions& options, std::string& error) {
    args.insert(args.begin(), "brallivane-run");
    return Runner_ParseArguments(static_cast<int>(args.size()), args.data(), options, error);
}
}  // namespace

TEST(RunnerOptions, DefaultsAndMachineOptions) {
    RunnerOptions options;
    std::string error;
    ASSERT_EQ(Parse({}, options, error), RunnerParseResult::Run);
    EXPECT_EQ(options.type, CPC_MODEL_6128);
    EXPECT_EQ(options.crtcType, 1);
    EXPECT_EQ(options.romDirectory, "../ROM/");
    EXPECT_FALSE(options.bench);
    EXPECT_TRUE(options.trace);
    EXPECT_TRUE(options.actions.empty());

    ASSERT_EQ(
        Parse({"--model", "464fdi", "--crtc", "0", "--roms", "/x/roms", "--bench", "--no-trace"},
              options, error),
        RunnerParseResult::Run);
    EXPECT_EQ(options.type, CPC_MODEL_464_FDI);
    EXPECT_EQ(options.crtcType, 0);
    EXPECT_EQ(options.romDirectory, "/x/roms/");
    EXPECT_TRUE(options.bench);
    EXPECT_FALSE(options.trace);
}

TEST(RunnerOptions, ActionsKeepTheirOrderAndTimeouts) {
    RunnerOptions options;
    std::string error;
    ASSERT_EQ(
        Parse({"--until-text", "Ready", "--timeout-ms", "500", "--type", "run\\n", "--until-text",
               "Bye", "--run-ms", "20", "--screenshot", "a.png", "--screen-text"},
              options, error),
        RunnerParseResult::Run);
    ASSERT_EQ(options.actions.size(), 6u);
    EXPECT_EQ(options.actions[0].kind, RunnerActionKind::UntilText);
    EXPECT_EQ(options.actions[0].milliseconds, 30000u);
    EXPECT_EQ(options.actions[1].kind, RunnerActionKind::Type);
    EXPECT_EQ(options.actions[1].text, "run\\n");
    EXPECT_EQ(options.actions[2].text, "Bye");
    EXPECT_EQ(options.actions[2].milliseconds, 500u);
    EXPECT_EQ(options.actions[3].kind, RunnerActionKind::RunMs);
    EXPECT_EQ(options.actions[3].milliseconds, 20u);
    EXPECT_EQ(options.actions[4].kind, RunnerActionKind::Screenshot);
    EXPECT_EQ(options.actions[4].text, "a.png");
    EXPECT_EQ(options.actions[5].kind, RunnerActionKind::ScreenText);
}

TEST(RunnerOptions, BadUsageIsExplained) {
    const std::vector<std::vector<const char*>> bad = {
        {"--model", "6129"}, {"--crtc", "2"},
        {"--run-ms", "-5"},  {"--run-ms", "12x"},
        {"--run-ms"},        {"--until-text", ""},
        {"--type", "\\q"},   {"--type", "caf\xC3\xA9"},
        {"--frobnicate"},    {"--timeout-ms", "99999999999999999999"},
    };
    for (const auto& args : bad) {
        RunnerOptions options;
        std::string error;
        EXPECT_EQ(Parse(args, options, error), RunnerParseResult::Error) << args[0];
        EXPECT_FALSE(error.empty()) << args[0];
    }
    RunnerOptions options;
    std::string error;
    EXPECT_EQ(Parse({"--run-ms", "5", "--help"}, options, error), RunnerParseResult::Help);
    EXPECT_NE(std::string(Runner_HelpText()).find("--until-text"), std::string::npos);
}
