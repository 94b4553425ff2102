// The processor's trace lines, read back from the trace library's log.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "z80_fixture.h"

namespace {

namespace fs = std::filesystem;

fs::path TraceLog() {
    static fs::path path =
        fs::temp_directory_path() /
        ("brallivane-z80-trace-" + std::to_string(static_cast<long>(getpid())) + ".log");
    return path;
}

// Loaded before main, so no test traces before the library is in place: the trace call
// tries to load it only once per process.
struct TraceLibraryLoader {
    TraceLibraryLoader() {
        setenv("ZINDREL_LOG", TraceLog().c_str(), 1);
        loaded = dlopen(Z80_TRACE_LIBRARY_PATH, RTLD_NOW | RTLD_GLOBAL) != nullptr;
    }
    ~TraceLibraryLoader() {
        std::error_code ignored;
        fs::remove(TraceLog(), ignored);
    }
    bool loaded = false;
} g_traceLibrary;

class Z80Trace : public Z80Test {
   protected:
    void SetUp() override {
        ASSERT_TRUE(g_traceLibrary.loaded) << Z80_TRACE_LIBRARY_PATH;
        Z80Test::SetUp();
        NewTraces();
    }

    // Records written since the last call.
    std::vector<std::string> NewTraces() {
        std::vector<std::string> lines;
        std::ifstream in(TraceLog(), std::ios::binary);
        if (!in) return lines;
        in.seekg(static_cast<std::streamoff>(offset_));
        for (std::string line; std::getline(in, line);)
            if (line.rfind("== Zindrel: ", 0) != 0) lines.push_back(line);
        in.clear();
        in.seekg(0, std::ios::end);
        offset_ = static_cast<size_t>(in.tellg());
        return lines;
    }

   private:
    size_t offset_ = 0;
};

using Lines = std::vector<std::string>;

}  // namespace

TEST_F(Z80Trace, ResetAddressAndInvalidPrefixes) {
    FlatMachine_Load(0, {0xDD, 0xFD, 0x00});
    Step();
    EXPECT_EQ(NewTraces(), (Lines{"Z80_Step(): --------------- Reset ---------------",
                                  "* Z80_Step(): PC=0001H, INVALID FD PREFIX"}));
    cpu.PC = 0x0100;
    Execute({0xED, 0xCB});
    Execute({0xDD, 0xED});
    Execute({0xED, 0xED});
    EXPECT_EQ(NewTraces(), (Lines{"* Z80_Step(): PC=0101H, INVALID CB PREFIX",
                                  "* Z80_Step(): PC=0103H, INVALID ED PREFIX",
                                  "* Z80_Step(): PC=0105H, INVALID ED PREFIX"}));
}

TEST_F(Z80Trace, UnknownEdInstruction) {
    cpu.PC = 0x0300;
    Execute({0xED, 0xB3});
    EXPECT_EQ(NewTraces(), (Lines{"* Z80_Step_ED(): PC=0301H, UNKNOWN INSTRUCTION: ED B3"}));
}

TEST_F(Z80Trace, HaltWithInterruptsOffAndIgnoredInterrupts) {
    cpu.PC = 0x0100;
    Execute({0x76});
    EXPECT_EQ(NewTraces(),
              (Lines{"* Z80_Step_Regular(): HALT entered while INT DISABLED. Processor hung..."}));
    cpu.halted = 0;
    cpu.IFF1 = 1;
    g_Flat.interruptPending = true;
    Execute({0x00});
    EXPECT_EQ(NewTraces(), (Lines{"* Z80_Step(): INT Mode (0) not supported - INT Ignored"}));
}
