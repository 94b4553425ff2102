// What a fresh process does with the trace library. Each test runs trace_probe as a child
// with its own log (ZINDREL_LOG) and a library search path it chooses: the real library
// (bin/), an empty folder, or a library without the record entry point. The library writes
// one "== Zindrel: ..." line when its output is opened, so the number of those lines is the
// number of times the program loaded it, and one line per record.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {
struct ProbeResult {
    int exitCode = -1;
    std::string output;
};

std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += (c == '\'') ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

class TraceLibrary : public ::testing::Test {
   protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "brallivane-trace-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        log_ = folder_ / "trace.log";
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    // Runs the probe with the library search limited to libraryDir ("" = nowhere).
    ProbeResult RunProbe(const std::string& libraryDir, const std::string& commands) {
        std::string command = "env -u LD_LIBRARY_PATH ZINDREL_LOG=" + Quote(log_.string());
        if (!libraryDir.empty()) command += " LD_LIBRARY_PATH=" + Quote(libraryDir);
        command += " " + Quote(TRACE_PROBE_PATH) + " " + commands;
        ProbeResult result;
        std::FILE* pipe = popen(command.c_str(), "r");
        if (!pipe) return result;
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe)) result.output += buffer;
        int status = pclose(pipe);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }

    std::vector<std::string> LogLines() const {
        std::vector<std::string> lines;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    int CountLoads() const {
        auto lines = LogLines();
        return static_cast<int>(std::count_if(lines.begin(), lines.end(), [](const std::string& l) {
            return l.rfind("== Zindrel: ", 0) == 0;
        }));
    }
    int CountRecords() const { return static_cast<int>(LogLines().size()) - CountLoads(); }

    static std::string LibraryDir() { return fs::path(TRACE_LIBRARY_PATH).parent_path().string(); }

    fs::path folder_;
    fs::path log_;
};
}  // namespace

TEST_F(TraceLibrary, RecordsReachTheLibraryFormattedByIt) {
    ProbeResult run = RunProbe(LibraryDir(), "trace 3");
    ASSERT_EQ(run.exitCode, 0) << run.output;
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 4u);

    char host[256] = {};
    gethostname(host, sizeof host - 1);
    EXPECT_EQ(lines[0].rfind(std::string("== Zindrel: output port tcp on ") + host + ",", 0), 0u)
        << lines[0];
    EXPECT_EQ(lines[1], "trace_probe(): record 1 of 3, &BEEF = BEEFH");
    EXPECT_EQ(lines[3], "trace_probe(): record 3 of 3, &BEEF = BEEFH");
}

TEST_F(TraceLibrary, MissingLibraryIsSilentAndNotRetried) {
    ProbeResult run = RunProbe("", "trace 3");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "level 1\n");
    EXPECT_FALSE(fs::exists(log_));

    // The library appears in the search path after the first failed load: later records
    // still go nowhere, although the library could now be loaded.
    fs::path late = folder_ / "late";
    fs::create_directory(late);
    run =
        RunProbe(late.string(), "trace 1 provide " + Quote(TRACE_LIBRARY_PATH) + " " +
                                    Quote((late / "libZindrel.so").string()) + " trace 2 findable");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("findable yes"), std::string::npos) << run.output;
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(TraceLibrary, LibraryWithoutRecordEntryPointCountsAsAbsent) {
    ProbeResult run = RunProbe(INCOMPLETE_TRACE_LIBRARY_DIR, "trace 2");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.output.find("level 1"), std::string::npos);
    EXPECT_FALSE(fs::exists(log_)) << "the output port of an unusable library was opened";
}

TEST_F(TraceLibrary, LevelBelowOneFromTheStartNeverLoads) {
    ProbeResult run = RunProbe(LibraryDir(), "off trace 5 off on trace 2");
    EXPECT_EQ(run.output, "level 0\n");
    EXPECT_FALSE(fs::exists(log_));

    // From -1 it takes two switch-ons; the load happens with the first record traced.
    run = RunProbe(LibraryDir(), "off off on trace 4 on trace 2");
    EXPECT_NE(run.output.find("level 1"), std::string::npos);
    EXPECT_EQ(CountLoads(), 1);
    EXPECT_EQ(CountRecords(), 2);
}

TEST_F(TraceLibrary, ThreadsTracingFirstTogetherLoadOnce) {
    constexpr int kThreads = 8;
    constexpr int kRecordsEach = 50;
    const std::string threads =
        "threads " + std::to_string(kThreads) + " " + std::to_string(kRecordsEach);
    ProbeResult run = RunProbe(LibraryDir(), threads + " trace 1");
    ASSERT_EQ(run.exitCode, 0) << run.output;
    EXPECT_EQ(CountLoads(), 1);
    // Records traced by the other threads while the load runs are dropped; the loading
    // thread's own records all arrive, and so does everything after the load.
    int records = CountRecords();
    EXPECT_LE(records, kThreads * kRecordsEach + 1);
    EXPECT_GE(records, kRecordsEach + 1);
    std::vector<std::string> lines = LogLines();
    for (size_t i = 1; i + 1 < lines.size(); ++i) {
        ASSERT_EQ(lines[i].rfind("trace_probe(): record ", 0), 0u) << "torn line: " << lines[i];
        ASSERT_NE(lines[i].find(" of " + std::to_string(kRecordsEach) + ", &BEEF = BEEFH"),
                  std::string::npos)
            << lines[i];
    }
    EXPECT_EQ(lines.back(), "trace_probe(): record 1 of 1, &BEEF = BEEFH");

    fs::remove(log_);
    run = RunProbe("", threads);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(TraceLibrary, FailedAssertionIsTracedAndTheProgramGoesOn) {
    ProbeResult run = RunProbe(LibraryDir(), "assert");
    ASSERT_EQ(run.exitCode, 0) << run.output;
    EXPECT_NE(run.output.find("continued after assert"), std::string::npos);

    std::string where = run.output.substr(10, run.output.find('\n') - 10);  // "assert at F:L"
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], "ASSERT FAILED: (" + where + ") \"0\" not verified (NOT IMPLEMENTED)");
}
