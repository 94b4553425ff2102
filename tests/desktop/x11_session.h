#pragma once
// A virtual X server (Xvfb) for the desktop tests, the program started in a run directory
// of its own, keys sent through the server with xdotool, and the windows read back.
#include <sys/types.h>

#include <string>
#include <vector>

// Starts Xvfb on a free display (the caller sets DISPLAY for the tools and the program);
// empty with the reason in *why when it cannot.
std::string StartXServer(std::string* why);
void StopXServer();

// Runs a tool against the X server; its standard output, "" on failure.
std::string RunTool(const std::vector<std::string>& arguments, int* status = nullptr);

struct DesktopProgram {
    std::string runDirectory;  // holds bin/ (current directory), ROM/, Brallivane.ini
    pid_t pid = -1;
    unsigned long mainWindow = 0;
    unsigned long monitorWindow = 0;
};

// A run directory with ROM/ linked to romDirectory ("" for none) and the settings text.
std::string MakeRunDirectory(const std::string& name, const std::string& romDirectory,
                             const std::string& settings);
// Starts the program with the environment additions and arguments; false when it did not
// start.
bool StartProgram(DesktopProgram& program, const std::vector<std::string>& environment,
                  const std::vector<std::string>& arguments = {});
// The visible window with exactly this title, 0 when none appears within the time.
unsigned long WaitForWindow(const std::string& title, int milliseconds);
// Waits for the program's end; false when it is still running after the time.
bool WaitForExit(DesktopProgram& program, int milliseconds, int* exitCode = nullptr);
void StopProgram(DesktopProgram& program);

// Focuses the window and sends the xdotool key commands ("key", "F5", "keydown", ...).
void SendKeys(unsigned long window, const std::vector<std::string>& commands);
// The key commands that type text on a US layout, each character held without SHIFT
// changes in between.
std::vector<std::string> TypeCommands(const std::string& text);
