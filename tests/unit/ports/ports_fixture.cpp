#include "ports_fixture.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "common/host_services.h"

namespace fs = std::filesystem;

std::vector<CrtcPortWrite> PortsTest::crtcWrites_;
uint32_t PortsTest::crtcTicks_;

namespace {

fs::path ScratchFolder() {
    static fs::path folder = fs::temp_directory_path() /
                             ("brallivane-ports-" + std::to_string(static_cast<long>(getpid())));
    return folder;
}
fs::path TraceLog() {
    return ScratchFolder() / "trace.log";
}

void WriteFilled(const fs::path& path, uint8_t first, size_t firstSize, uint8_t second,
                 size_t secondSize) {
    std::ofstream out(path, std::ios::binary);
    out << std::string(firstSize, static_cast<char>(first))
        << std::string(secondSize, static_cast<char>(second));
}

// Once per process, before the first record: stand-in ROM files, and the trace library
// loaded from its build location with its log in the scratch folder. The machine's trace
// call then finds the library already loaded under its plain name.
void PrepareOnce() {
    static bool prepared = false;
    if (prepared) return;
    prepared = true;
    fs::create_directories(ScratchFolder());
    for (const char* name : {"CPC464.rom", "CPC664.rom", "CPC6128.rom"}) {
        WriteFilled(ScratchFolder() / name, FAKE_LOWER_ROM_BYTE, CPC_PAGE_SIZE, FAKE_BASIC_BYTE,
                    CPC_PAGE_SIZE);
    }
    WriteFilled(ScratchFolder() / "amsdos.rom", FAKE_AMSDOS_BYTE, CPC_PAGE_SIZE, 0, 0);
    setenv("ZINDREL_LOG", TraceLog().c_str(), 1);
    dlopen(TRACE_LIBRARY_PATH, RTLD_NOW | RTLD_GLOBAL);
    std::atexit([] {
        std::error_code ignored;
        fs::remove_all(ScratchFolder(), ignored);
    });
}

void RecordCrtcReset() {}
void RecordCrtcOut(uint8_t index, uint8_t value) {
    PortsTest::crtcWrites_.push_back({index, value});
}
uint8_t RecordCrtcIn(uint8_t index) {
    return static_cast<uint8_t>(0xC0 | index);
}
void RecordCrtcTick(uint8_t microseconds) {
    PortsTest::crtcTicks_ += microseconds;
}

}  // namespace

void PortsTest::StartMachine(uint8_t type) {
    PrepareOnce();
    std::string folder = ScratchFolder().string() + "/";
    PAL_SetRomDirectory(folder.c_str());
    ASSERT_NE(CPC_Init(type, 1), nullptr);
    g_Machine.crtcOps = {RecordCrtcReset, RecordCrtcOut, RecordCrtcIn, RecordCrtcTick};
    CPC_Reset();
    processor_ = Z80_State{};
    g_Machine.processor = &processor_;
    crtcWrites_.clear();
    crtcTicks_ = 0;
    NewTraces();
}

void PortsTest::TearDown() {
    g_Machine.processor = nullptr;
    CPC_Shutdown(&g_Machine);
}

std::vector<std::string> PortsTest::NewTraces() {
    std::vector<std::string> lines;
    std::ifstream in(TraceLog(), std::ios::binary);
    if (!in) return lines;
    in.seekg(static_cast<std::streamoff>(traceOffset_));
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("== Zindrel: ", 0) != 0) lines.push_back(line);
    }
    in.clear();
    in.seekg(0, std::ios::end);
    traceOffset_ = static_cast<size_t>(in.tellg());
    return lines;
}

bool PortsTest::Contains(const std::vector<std::string>& traces, const std::string& text) {
    for (const std::string& line : traces) {
        if (line == text) return true;
    }
    return false;
}

bool PortsTest::ContainsPrefix(const std::vector<std::string>& traces, const std::string& prefix) {
    for (const std::string& line : traces) {
        if (line.rfind(prefix, 0) == 0) return true;
    }
    return false;
}
