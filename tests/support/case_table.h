#pragma once
// Tables of cases, one case a line, read by the test players. Blank lines and lines
// starting with '#' are left out; a line "> RECORD" after a case is a trace record the case
// writes, ">! RECORD" one it must not write.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

struct CaseLine {
    int number;
    std::string text;
    std::vector<std::string> traces, absentTraces;
};

inline std::vector<CaseLine> ReadCaseTable(const std::string& path) {
    std::ifstream in(path);
    std::vector<CaseLine> cases;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.rfind(">! ", 0) == 0 && !cases.empty())
            cases.back().absentTraces.push_back(line.substr(3));
        else if (line.rfind("> ", 0) == 0 && !cases.empty())
            cases.back().traces.push_back(line.substr(2));
        else if (!line.empty() && line[0] != '#')
            cases.push_back({number, line, {}, {}});
    }
    EXPECT_FALSE(cases.empty()) << "no cases in " << path;
    return cases;
}
