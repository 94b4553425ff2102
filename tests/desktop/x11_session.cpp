// Process handling for the desktop tests: Xvfb, the program, xdotool.
#include "x11_session.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

pid_t g_server = -1;

pid_t Spawn(const std::vector<std::string>& arguments, const std::string& directory,
            const std::vector<std::string>& environment, int outputFd) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    if (!directory.empty() && chdir(directory.c_str()) != 0) _exit(127);
    for (const std::string& entry : environment) putenv(const_cast<char*>(entry.c_str()));
    if (outputFd >= 0) dup2(outputFd, STDOUT_FILENO);
    std::vector<char*> argv;
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

void Sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace

std::string StartXServer(std::string* why) {
    for (const char* tool : {"Xvfb", "xdotool", "setxkbmap"}) {
        int status = -1;
        RunTool({"sh", "-c", std::string("command -v ") + tool}, &status);
        if (status != 0) {
            *why = std::string(tool) + " is not installed (scripts/install-deps.sh installs it)";
            return {};
        }
    }
    for (int number = 90 + getpid() % 50; number < 200; ++number) {
        std::string lock = "/tmp/.X" + std::to_string(number) + "-lock";
        if (fs::exists(lock)) continue;
        std::string display = ":" + std::to_string(number);
        int null = open("/dev/null", O_WRONLY);
        g_server = Spawn({"Xvfb", display, "-screen", "0", "1600x1000x24", "-nolisten", "tcp"}, "",
                         {}, null);
        close(null);
        std::string socket = "/tmp/.X11-unix/X" + std::to_string(number);
        for (int i = 0; i < 100 && !fs::exists(socket); ++i) Sleep(50);
        if (fs::exists(socket)) return display;
        StopXServer();
    }
    *why = "Xvfb did not start";
    return {};
}

void StopXServer() {
    if (g_server > 0) {
        kill(g_server, SIGTERM);
        waitpid(g_server, nullptr, 0);
    }
    g_server = -1;
}

std::string RunTool(const std::vector<std::string>& arguments, int* status) {
    int pipes[2];
    if (pipe(pipes) != 0) return {};
    pid_t pid = Spawn(arguments, "", {}, pipes[1]);
    close(pipes[1]);
    std::string output;
    char buffer[256];
    for (ssize_t n; (n = read(pipes[0], buffer, sizeof buffer)) > 0;) output.append(buffer, n);
    close(pipes[0]);
    int result = 0;
    waitpid(pid, &result, 0);
    if (status) *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    return output;
}

std::string MakeRunDirectory(const std::string& name, const std::string& romDirectory,
                             const std::string& settings) {
    fs::path run =
        fs::temp_directory_path() / ("brallivane_desktop_" + std::to_string(getpid()) + "_" + name);
    fs::remove_all(run);
    fs::create_directories(run / "bin");
    if (!romDirectory.empty()) fs::create_directory_symlink(romDirectory, run / "ROM");
    if (!settings.empty()) std::ofstream(run / "Brallivane.ini") << settings;
    return run.string();
}

bool StartProgram(DesktopProgram& program, const std::vector<std::string>& environment,
                  const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {DESKTOP_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    program.pid = Spawn(command, program.runDirectory + "/bin", environment, -1);
    return program.pid > 0;
}

unsigned long WaitForWindow(const std::string& title, int milliseconds) {
    for (int waited = 0; waited < milliseconds; waited += 100) {
        std::string ids =
            RunTool({"xdotool", "search", "--onlyvisible", "--name", "^" + title + "$"});
        if (!ids.empty()) return std::strtoul(ids.c_str(), nullptr, 10);
        Sleep(100);
    }
    return 0;
}

bool WaitForExit(DesktopProgram& program, int milliseconds, int* exitCode) {
    for (int waited = 0; waited < milliseconds; waited += 50) {
        int status = 0;
        if (waitpid(program.pid, &status, WNOHANG) == program.pid) {
            if (exitCode) *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            program.pid = -1;
            return true;
        }
        Sleep(50);
    }
    return false;
}

void StopProgram(DesktopProgram& program) {
    if (program.pid <= 0) return;
    kill(program.pid, SIGTERM);
    if (!WaitForExit(program, 5000)) {
        kill(program.pid, SIGKILL);
        waitpid(program.pid, nullptr, 0);
    }
    program.pid = -1;
}

void SendKeys(unsigned long window, const std::vector<std::string>& commands) {
    std::vector<std::string> arguments = {"xdotool", "windowfocus", "--sync",
                                          std::to_string(window)};
    arguments.insert(arguments.end(), commands.begin(), commands.end());
    RunTool(arguments);
}

std::vector<std::string> TypeCommands(const std::string& text) {
    struct Named {
        char c;
        const char* keysym;
        bool shift;
    };
    static const Named kNamed[] = {
        {' ', "space", false},    {'"', "apostrophe", true}, {';', "semicolon", false},
        {':', "semicolon", true}, {'+', "equal", true},      {',', "comma", false},
        {'.', "period", false},   {'*', "8", true},          {'@', "2", true},
        {'?', "slash", true},     {'\n', "Return", false},   {'(', "9", true},
        {')', "0", true},         {'=', "equal", false},
    };
    std::vector<std::string> commands;
    for (char c : text) {
        std::string keysym(1, static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        bool shift = std::isupper(static_cast<unsigned char>(c)) != 0;
        for (const Named& named : kNamed) {
            if (named.c == c) {
                keysym = named.keysym;
                shift = named.shift;
            }
        }
        // The key goes up before SHIFT does, as a typist's would.
        if (shift) commands.insert(commands.end(), {"keydown", "shift"});
        commands.insert(commands.end(), {"key", keysym});
        if (shift) commands.insert(commands.end(), {"keyup", "shift"});
        commands.insert(commands.end(), {"sleep", "0.08"});
    }
    return commands;
}
