#pragma once
// Trace records read back from the project's trace library. The library is loaded from
// its build location (TRACE_LIBRARY_PATH) before any test runs, so the trace call's one
// load by name finds it already in the process; its log is a file of this process.
// Shared by the machine and PSG tests.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

class TraceLog : public ::testing::Environment {
   public:
    void SetUp() override {
        path_ = ::testing::TempDir() + "brallivane_trace_" + std::to_string(getpid()) + ".log";
        std::remove(path_.c_str());
        setenv("ZINDREL_LOG", path_.c_str(), 1);
        ASSERT_NE(dlopen(TRACE_LIBRARY_PATH, RTLD_NOW | RTLD_GLOBAL), nullptr) << dlerror();
    }
    void TearDown() override { std::remove(path_.c_str()); }

    // Records written since the last call, without the library's own "== Zindrel:" lines.
    static std::vector<std::string> Take() {
        std::vector<std::string> records;
        std::ifstream in(path_, std::ios::binary);
        if (!in) return records;
        in.seekg(offset_);
        for (std::string line; std::getline(in, line);)
            if (line.rfind("== Zindrel:", 0) != 0) records.push_back(line);
        in.clear();
        in.seekg(0, std::ios::end);
        offset_ = in.tellg();
        return records;
    }
    static bool Has(const std::vector<std::string>& records, const std::string& record) {
        return std::find(records.begin(), records.end(), record) != records.end();
    }

   private:
    static inline std::string path_;
    static inline std::streamoff offset_ = 0;
};

inline ::testing::Environment* const g_traceLogEnvironment =
    ::testing::AddGlobalTestEnvironment(new TraceLog);
