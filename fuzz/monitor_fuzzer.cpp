// The monitor's interpreter on random input: command lines, keys into the line editor,
// command scripts, and LOAD of program files with random headers. The machine is a 464
// built from stand-in ROM images in a folder of the fuzzer's own, which is the current
// folder while an input runs, so that LOAD, PLAY and PCLOG only ever touch files there.
// (A crash inside an input leaves its artifact there too, unless -artifact_prefix names
// an absolute folder.)
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/monitor/breakpoints.h"
#include "common/monitor/monitor.h"
#include "common/monitor/monitor_internal.h"
#include "common/xtools/xtools.h"
#include "platform/memory_console.h"

namespace {

constexpr size_t kMaxLine = 80;  // longer than the input line, to try the limits
constexpr int kMaxScriptPolls = 64;
constexpr uint32_t kPollInterval = 25000;

enum Mode : uint8_t { COMMANDS, KEYS, SCRIPT, PROGRAM, MODES };

Z80_State g_processor;
MemoryConsole* g_console = nullptr;
std::string g_folder;
std::string g_runFolder;   // the current folder while an input runs
std::string g_homeFolder;  // the fuzzer's own current folder, where its corpus paths lead

void RemoveFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(g_folder, ignored);
}

bool WriteFile(const char* path, const uint8_t* data, size_t size) {
    std::FILE* file = std::fopen(path, "wb");
    if (!file) return false;
    bool written = std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

// Lines of the input, each cut at a newline or at kMaxLine characters.
template <typename Action>
void ForEachLine(const uint8_t* data, size_t size, Action action) {
    std::string line;
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == '\n' || line.size() == kMaxLine) {
            if (!line.empty()) action(line);
            line.clear();
            if (i < size && data[i] != '\n') line += static_cast<char>(data[i]);
        } else {
            line += static_cast<char>(data[i]);
        }
    }
}

// The poll, made to look at the keyboard and the script at once.
uint8_t Poll() {
    g_Monitor.pollCounter = kPollInterval - 1;
    return Dbg_PollKeys(&g_processor);
}

void PrepareMachine() {
    // Each input starts from the same machine: RAM cleared, processor and monitor reset.
    for (uint8_t* block : g_Machine.baseRam) std::memset(block, 0, CPC_PAGE_SIZE);
    Z80_FreeBreakpoints(&g_processor);
    Z80_Reset(&g_processor);
    Dbg_ResetMonitor();
    Dbg_CreateConsole();
    g_TraceLevel.store(0);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char folder[] = "/tmp/brallivane-monitor-fuzz-XXXXXX";
    if (!mkdtemp(folder)) return 1;
    std::string base = folder;
    g_folder = base;
    std::atexit(RemoveFolder);
    g_homeFolder = std::filesystem::current_path().string();
    std::string rom(2 * CPC_PAGE_SIZE, '\0');
    rom[0] = '\x18';  // JR $: the lower ROM waits where it starts
    rom[1] = '\xFE';
    if (!WriteFile((base + "/CPC464.rom").c_str(), reinterpret_cast<const uint8_t*>(rom.data()),
                   rom.size()))
        return 1;
    PAL_SetRomDirectory(base.c_str());
    // Scripts and program files are looked for under ../Files/ too.
    g_runFolder = base + "/run";
    std::string files = base + "/Files";
    if (mkdir(g_runFolder.c_str(), 0700) != 0 || mkdir(files.c_str(), 0700) != 0) return 1;

    g_console = new MemoryConsole();
    PAL_SetConsole(g_console->Operations());
    CPC_Machine* machine = CPC_Init(CPC_MODEL_464, 1);
    if (!machine) return 1;
    Z80_Init(&g_processor, machine);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || chdir(g_runFolder.c_str()) != 0) return 0;
    PrepareMachine();
    const uint8_t mode = data[0] % MODES;
    ++data;
    --size;
    switch (mode) {
        case COMMANDS:
            ForEachLine(data, size, [](const std::string& line) {
                Dbg_ExecuteCommand(&g_processor, line.c_str());
            });
            break;
        case KEYS:
            g_console->PushKeys(std::vector<uint8_t>(data, data + size));
            for (size_t i = 0; i < size; ++i)
                if (Poll() == DBG_QUIT) break;
            break;
        case SCRIPT:
            if (!WriteFile("../Files/fuzz.txt", data, size)) break;
            Dbg_ExecuteCommand(&g_processor, "PLAY fuzz.txt");
            for (int i = 0; i < kMaxScriptPolls && g_Monitor.script; ++i) Poll();
            break;
        case PROGRAM: {
            // The first byte picks the command's form, the rest is the file.
            if (size == 0 || !WriteFile("../Files/prog.bin", data + 1, size - 1)) break;
            static const char* const kForms[] = {"LOAD prog.bin", "LOAD prog.bin,C000",
                                                 "LOAD prog.bin , 0", "LOAD prog.bin,FFFF"};
            Dbg_ExecuteCommand(&g_processor, kForms[data[0] % 4]);
            break;
        }
    }
    // Keys the input left unread must not reach the next one.
    const PAL_ConsoleOperations* console = g_console->Operations();
    while (console->keyWaiting(console->context)) console->readKey(console->context);
    if (chdir(g_homeFolder.c_str()) != 0) std::abort();
    return 0;
}
