#pragma once
// Plays a file of sessions: "$ EXIT COMMAND" (a bash command line and the exit code it must
// end with), followed by what its output must hold:
//   out: TEXT     standard output holds TEXT ("\n" a line end)
//   no: TEXT      standard output does not hold TEXT
//   err: TEXT     standard error holds TEXT
//   same: A B     files A and B of the session's folder are equal and not empty
// Blank lines and lines starting with '#' are left out. In commands and texts, {tmp} is a
// fresh folder for each session and every other {NAME} is replaced as the caller says.
// A command with {as} runs twice: as row (with {step} empty), then as step (with {step}
// the caller's text); their outputs go to row.out and step.out in the folder, the step's
// without its first line, and the checks are made on the first run.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "temp_folder.h"

inline std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

struct SessionOutcome {
    int code;
    std::string out, err;
};

inline SessionOutcome RunSession(const TempFolder& folder, const std::string& command) {
    folder.Write("session.sh", "set -o pipefail\n" + command + "\n");
    CommandResult result =
        RunCommand("bash " + folder.File("session.sh") + " 2>" + folder.File("session.err"));
    return {result.code, result.out, ReadAll(folder.File("session.err"))};
}

// PREPARE runs in each session's folder first; a session that names a placeholder missing
// from NAMES is skipped (its component is absent).
inline void PlaySessions(const std::string& path, const std::map<std::string, std::string>& names,
                         const std::function<void(const TempFolder&)>& prepare = {}) {
    struct Session {
        int line = 0, exit = 0;
        std::string command;
        std::vector<std::pair<std::string, std::string>> checks;  // kind, text
    };
    std::ifstream in(path);
    std::vector<Session> sessions;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.rfind("$ ", 0) == 0) {
            sessions.push_back(
                {number, std::stoi(line.substr(2)), line.substr(line.find(' ', 2) + 1), {}});
        } else if (!line.empty() && line[0] != '#' && !sessions.empty()) {
            size_t colon = line.find(": ");
            sessions.back().checks.push_back(
                {line.substr(0, colon), ReplaceAll(line.substr(colon + 2), "\\n", "\n")});
        }
    }
    ASSERT_FALSE(sessions.empty()) << path;
    for (const Session& session : sessions) {
        SCOPED_TRACE(path + ":" + std::to_string(session.line));
        TempFolder folder;
        if (prepare) prepare(folder);
        bool present = true;
        // {name} of lower-case letters is a placeholder; {as} and {step} are left for later.
        auto expand = [&](std::string text) {
            for (size_t open = text.find('{'); open != std::string::npos;
                 open = text.find('{', open + 1)) {
                size_t close = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", open + 1);
                if (close == std::string::npos || text[close] != '}') continue;
                std::string name = text.substr(open + 1, close - open - 1);
                auto found = names.find(name);
                if (name == "as" || name == "step") continue;
                if (name != "tmp" && found == names.end()) present = false;
                if (name != "tmp" && found == names.end()) continue;
                text.replace(open, close - open + 1,
                             name == "tmp" ? folder.path.string() : found->second);
            }
            return text;
        };
        std::string command = expand(session.command);
        if (!present) continue;
        SessionOutcome outcome =
            RunSession(folder, ReplaceAll(ReplaceAll(command, "{as}", "row"), "{step}", ""));
        if (command.find("{as}") != std::string::npos) {
            folder.Write("row.out", outcome.out);
            SessionOutcome stepped = RunSession(
                folder,
                ReplaceAll(ReplaceAll(command, "{as}", "step"), "{step}", names.at("step")));
            EXPECT_EQ(stepped.code, session.exit) << stepped.err;
            folder.Write("step.out", stepped.out.substr(stepped.out.find('\n') + 1));
        }
        EXPECT_EQ(outcome.code, session.exit) << outcome.err;
        for (const auto& [kind, raw] : session.checks) {
            std::string text = expand(raw);
            const std::string& seen = kind == "err" ? outcome.err : outcome.out;
            if (kind == "out" || kind == "err") {
                EXPECT_NE(seen.find(text), std::string::npos) << text << "\nin:\n" << seen;
            } else if (kind == "no") {
                EXPECT_EQ(seen.find(text), std::string::npos) << text << "\nin:\n" << seen;
            } else if (kind == "same") {
                std::istringstream files(text);
                std::string a, b;
                files >> a >> b;
                std::string first = ReadAll(folder.File(a));
                EXPECT_FALSE(first.empty()) << a;
                EXPECT_TRUE(first == ReadAll(folder.File(b))) << a << " and " << b << " differ";
            } else {
                ADD_FAILURE() << "unknown check " << kind;
            }
        }
    }
}
