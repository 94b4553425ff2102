// What a fresh process does with the trace library. Each test runs trace_probe as a child
// with its own log (ZINDREL_LOG) and a library search path it chooses: the real library,
// an empty folder, or a library without the record entry point. The library writes one
// "== Zindrel: ..." line when its output is opened, so the number of those lines is the
// number of times the program loaded it, and one line per record.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "temp_folder.h"

namespace fs = std::filesystem;

namespace {
std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += (c == '\'') ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}
const std::string kLibraryDir = fs::path(TRACE_LIBRARY_PATH).parent_path().string();
const std::string kRecord = "trace_probe(): record ";

class TraceLibrary : public ::testing::Test {
   protected:
    // Runs the probe with the library search limited to libraryDir ("" = nowhere) and
    // returns what it printed; the probe must succeed.
    std::string Probe(const std::string& libraryDir, const std::string& commands) {
        std::string command = "env -u LD_LIBRARY_PATH ZINDREL_LOG=" + Quote(log_.string());
        if (!libraryDir.empty()) command += " LD_LIBRARY_PATH=" + Quote(libraryDir);
        command += " " + Quote(TRACE_PROBE_PATH) + " " + commands;
        CommandResult result = RunCommand(command);
        EXPECT_EQ(result.code, 0) << commands << "\n" << result.out;
        return result.out;
    }
    std::vector<std::string> LogLines() const {
        std::vector<std::string> lines;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    int CountLoads() const {
        int loads = 0;
        for (const std::string& line : LogLines()) loads += line.rfind("== Zindrel: ", 0) == 0;
        return loads;
    }

    TempFolder folder_;
    fs::path log_ = folder_.path / "trace.log";
};
}  // namespace

TEST_F(TraceLibrary, RecordsAndFailedAssertionsReachTheLibraryFormattedByIt) {
    std::string output = Probe(kLibraryDir, "trace 3 assert");
    EXPECT_NE(output.find("continued after assert"), std::string::npos) << output;
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 5u);
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    EXPECT_EQ(lines[0].rfind(std::string("== Zindrel: output port tcp on ") + host + ",", 0), 0u)
        << lines[0];
    EXPECT_EQ(lines[1], kRecord + "1 of 3, &BEEF = BEEFH");
    EXPECT_EQ(lines[3], kRecord + "3 of 3, &BEEF = BEEFH");
    std::string where = output.substr(10, output.find('\n') - 10);  // "assert at F:L"
    EXPECT_EQ(lines[4], "ASSERT FAILED: (" + where + ") \"0\" not verified (NOT IMPLEMENTED)");
}

TEST_F(TraceLibrary, MissingOrIncompleteLibraryIsSilentAndNotRetried) {
    std::string output = Probe("", "trace 3 assert");
    EXPECT_NE(output.find("continued after assert\nlevel 1\n"), std::string::npos) << output;
    EXPECT_FALSE(fs::exists(log_));

    // The library appears in the search path after the first failed load: later records
    // still go nowhere, although the library could now be loaded.
    fs::path late = folder_.path / "late";
    fs::create_directory(late);
    output =
        Probe(late.string(), "trace 1 provide " + Quote(TRACE_LIBRARY_PATH) + " " +
                                 Quote((late / "libZindrel.so").string()) + " trace 2 findable");
    EXPECT_NE(output.find("findable yes"), std::string::npos) << output;
    EXPECT_FALSE(fs::exists(log_));

    Probe(INCOMPLETE_TRACE_LIBRARY_DIR, "trace 2");
    EXPECT_FALSE(fs::exists(log_)) << "the output port of an unusable library was opened";
}

TEST_F(TraceLibrary, LevelBelowOneFromTheStartNeverLoads) {
    EXPECT_EQ(Probe(kLibraryDir, "off trace 5 off on trace 2"), "level 0\n");
    EXPECT_FALSE(fs::exists(log_));

    // From -1 it takes two switch-ons; the load happens with the first record traced.
    EXPECT_EQ(Probe(kLibraryDir, "off off on trace 4 on trace 2"), "level 1\n");
    EXPECT_EQ(CountLoads(), 1);
    EXPECT_EQ(LogLines().size(), 3u);
}

TEST_F(TraceLibrary, ThreadsTracingFirstTogetherLoadOnce) {
    constexpr int kThreads = 8, kEach = 50;
    const std::string threads = "threads " + std::to_string(kThreads) + " " + std::to_string(kEach);
    Probe(kLibraryDir, threads + " trace 1");
    EXPECT_EQ(CountLoads(), 1);
    // Records traced by the other threads while the load runs are dropped; the loading
    // thread's own records all arrive, and so does everything after the load.
    std::vector<std::string> lines = LogLines();
    EXPECT_LE(lines.size(), size_t{kThreads * kEach + 2});
    EXPECT_GE(lines.size(), size_t{kEach + 2});
    const std::string tail = " of " + std::to_string(kEach) + ", &BEEF = BEEFH";
    for (size_t i = 1; i + 1 < lines.size(); ++i) {
        ASSERT_EQ(lines[i].rfind(kRecord, 0), 0u) << "torn line: " << lines[i];
        ASSERT_NE(lines[i].find(tail), std::string::npos) << lines[i];
    }
    EXPECT_EQ(lines.back(), kRecord + "1 of 1, &BEEF = BEEFH");

    fs::remove(log_);
    Probe("", threads);
    EXPECT_FALSE(fs::exists(log_));
}
