#pragma once
// A folder of its own, removed with its contents at the end; files read whole; shell
// commands run with their standard output caught.
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct TempFolder {
    std::filesystem::path path;
    TempFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "brallivane-XXXXXX").string();
        if (mkdtemp(pattern.data())) path = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::string File(const std::string& name) const { return (path / name).string(); }
    void Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path / name, std::ios::binary) << bytes;
    }
};

inline std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

struct CommandResult {
    int code = -1;  // the exit code, -1 when the command did not exit
    std::string out;
};

inline CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe)) result.out += buffer;
    int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}
