#include "psg_test_support.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

#include "common/machine/machine.h"
#include "common/sound/psg.h"

namespace {
std::string g_logPath;
std::streamoff g_logStart = 0;

std::streamoff LogSize() {
    std::ifstream log(g_logPath, std::ios::binary | std::ios::ate);
    return log ? static_cast<std::streamoff>(log.tellg()) : 0;
}

// Loads the trace library before the first record, so the trace call's one load by name
// finds it, and points its output at a file of this process's own.
class TraceLibraryEnvironment : public ::testing::Environment {
   public:
    void SetUp() override {
        g_logPath = ::testing::TempDir() + "psg_trace_" + std::to_string(getpid()) + ".log";
        std::remove(g_logPath.c_str());
        setenv("ZINDREL_LOG", g_logPath.c_str(), 1);
        ASSERT_NE(dlopen(PSG_TRACE_LIBRARY_PATH, RTLD_NOW | RTLD_GLOBAL), nullptr) << dlerror();
    }
    void TearDown() override { std::remove(g_logPath.c_str()); }
};
[[maybe_unused]] ::testing::Environment* const g_traceEnvironment =
    ::testing::AddGlobalTestEnvironment(new TraceLibraryEnvironment);
}  // namespace

std::ostream& operator<<(std::ostream& out, const QueuedKey& key) {
    return out << "{row " << int(key.row) << ", mask 0x" << std::hex << int(key.mask) << std::dec
               << (key.pressed ? ", down}" : ", up}");
}

std::vector<QueuedKey> QueuedKeys() {
    const PSG_State& psg = g_Machine.psg;
    std::vector<QueuedKey> keys;
    for (uint8_t i = psg.keyQueueRead; i != psg.keyQueueWrite; i = (i + 1) % PSG_KEY_QUEUE_SLOTS) {
        keys.push_back({static_cast<uint8_t>(psg.keyQueue[i][0] & 0x0F), psg.keyQueue[i][1],
                        (psg.keyQueue[i][0] & PSG_KEY_PRESSED_BIT) != 0});
    }
    return keys;
}

std::vector<std::string> TraceRecords() {
    std::vector<std::string> records;
    std::ifstream log(g_logPath, std::ios::binary);
    if (!log) return records;
    log.seekg(g_logStart);
    std::string line;
    while (std::getline(log, line)) {
        if (line.rfind("== Zindrel:", 0) != 0) records.push_back(line);
    }
    return records;
}

void ClearTraceRecords() {
    g_logStart = LogSize();
}

bool TraceRecorded(const std::string& record) {
    for (const std::string& line : TraceRecords()) {
        if (line == record) return true;
    }
    return false;
}

void PsgTest::SetUp() {
    // Machine start-up value-initialises the record; do the same for the PSG's part.
    new (&g_Machine.psg) PSG_State{};
    g_Machine.Type = CPC_MODEL_6128;
    g_Machine.processor = &processor_;
    PSG_Init();
    PSG_Reset();
    ClearTraceRecords();
}

void PsgTest::TearDown() {
    g_Machine.processor = nullptr;
}

void PsgTest::Run(uint32_t microseconds) {
    for (; microseconds >= 4; microseconds -= 4) PSG_Update(4);
    if (microseconds) PSG_Update(static_cast<uint8_t>(microseconds));
}
