// Plays machine_cases.txt: each line a machine built from the stand-in ROMs, port and
// memory accesses, and checks; the words are described at the top of that file.
#include <fstream>
#include <sstream>

#include "case_table.h"
#include "common/sound/psg.h"
#include "stand_in_machine.h"

namespace {

long Hex(const std::string& text) {
    return std::stol(text, nullptr, 16);
}

class MachineCases : public MachineTest {
   protected:
    // The machine record's bytes a word may set (name=V) or check (name?V).
    uint8_t* Byte(const std::string& name) {
        CPC_Machine& m = g_Machine;
        // clang-format off
        const std::pair<const char*, uint8_t*> bytes[] = {
            {"portA", &m.ppi.portA}, {"portB", &m.ppi.portB}, {"portC", &m.ppi.portC},
            {"control", &m.ppi.control}, {"counter", &m.ga.intLineCounter},
            {"intPending", &m.ga.intPending}, {"mode", &m.ga.screenMode},
            {"stop", &processor_.stopReason}};
        // clang-format on
        for (auto [key, at] : bytes)
            if (name == key) return at;
        if (name.rfind("ink", 0) == 0) return &m.ga.penInks[std::stoi(name.substr(3))];
        if (name.rfind("psg", 0) == 0) return &m.psg.registers[std::stoi(name.substr(3))];
        if (name.rfind("ram", 0) == 0) {  // the first byte of a RAM block, 4-7 the extra ones
            int block = std::stoi(name.substr(3));
            return block < 4 ? &m.baseRam[block][0] : &m.extraRam[block - 4][0];
        }
        return nullptr;
    }
    // The RAM block (0-7) each page's writes go to.
    static std::string WriteBlocks() {
        std::string blocks;
        for (uint8_t* page : g_Machine.writeMap) {
            for (int block = 0; block < 8; ++block) {
                uint8_t* start =
                    block < 4 ? g_Machine.baseRam[block] : g_Machine.extraRam[block - 4];
                if (page == start) blocks += (blocks.empty() ? "" : ",") + std::to_string(block);
            }
        }
        return blocks;
    }
    static std::string Joined(const Bytes& values) {
        std::ostringstream out;
        out << std::hex << std::uppercase;
        for (size_t i = 0; i < values.size(); ++i) out << (i ? "," : "") << values[i];
        return out.str();
    }

    void Play(const CaseLine& c) {
        std::istringstream words(c.text);
        std::string model;
        words >> model;
        uint8_t type = model == "464"      ? CPC_MODEL_464
                       : model == "464fdi" ? CPC_MODEL_464_FDI
                       : model == "664"    ? CPC_MODEL_664
                                           : CPC_MODEL_6128;
        if (model == "6128fast") type |= CPC_TYPE_FAST_CRTC;
        Start(type);
        crtcWrites.clear();
        std::vector<std::string> traces;
        for (std::string word; words >> word;) {
            SCOPED_TRACE("line " + std::to_string(c.number) + ", at " + word);
            size_t mark = word.find_first_of("=?");
            std::string name = word.substr(0, mark), value = word.substr(mark + 1);
            bool check = mark != std::string::npos && word[mark] == '?';
            size_t colon = name.find(':');
            std::string verb = name.substr(0, colon), arg = name.substr(colon + 1);
            if (verb == "out") {
                CPC_out(static_cast<uint16_t>(Hex(arg)), static_cast<uint8_t>(Hex(value)));
            } else if (verb == "in") {  // in:PORT?V, or in:PORT&MASK?V
                size_t amp = arg.find('&');
                long mask = amp == std::string::npos ? 0xFF : Hex(arg.substr(amp + 1));
                EXPECT_EQ(CPC_in(static_cast<uint16_t>(Hex(arg.substr(0, amp)))) & mask,
                          Hex(value));
            } else if (verb == "write") {
                CPC_WriteMem(static_cast<uint16_t>(Hex(arg)), static_cast<uint8_t>(Hex(value)));
            } else if (verb == "read") {
                EXPECT_EQ(CPC_ReadMem(static_cast<uint16_t>(Hex(arg))), Hex(value));
            } else if (verb == "block") {  // block:ADDRESS/ROMCONFIG?B,B
                Bytes expected;
                std::istringstream list(value);
                for (std::string b; std::getline(list, b, ',');) expected.push_back(int(Hex(b)));
                std::vector<uint8_t> bytes(expected.size());
                size_t slash = arg.find('/');
                CPC_ReadBlock(static_cast<uint16_t>(Hex(arg.substr(0, slash))), bytes.data(),
                              static_cast<uint16_t>(bytes.size()),
                              static_cast<uint16_t>(Hex(arg.substr(slash + 1))));
                EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), expected);
            } else if (name == "access-read") {  // the monitor's block read, one byte at 0
                uint8_t byte = 0;
                CPC_BlockRequest request = {0x0000, &byte, 1, 0x0000};
                CPC_MemAccess(CPC_MEM_READ_BLOCK, &request);
                EXPECT_EQ(byte, Hex(value));
            } else if (name == "access-rom" && !check) {
                CPC_MemAccess(CPC_MEM_SET_ROM_CONFIG,
                              reinterpret_cast<void*>(uintptr_t(Hex(value))));
            } else if (name == "access-rom") {
                uint16_t config = 0;
                CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, &config);
                EXPECT_EQ(config, Hex(value));
            } else if (word == "access-bad") {  // requests that must do nothing
                uint16_t config = 0;
                CPC_MemAccess(9, &config);
                CPC_MemAccess(CPC_MEM_GET_ROM_CONFIG, nullptr);
                CPC_MemAccess(CPC_MEM_READ_BLOCK, nullptr);
            } else if (name == "ramconfig" || name == "badram") {
                EXPECT_EQ(CPC_SetRamConfig(static_cast<uint8_t>(Hex(value))), name == "ramconfig");
            } else if (name == "romconfig") {
                CPC_SetRomConfig(static_cast<uint16_t>(Hex(value)));
            } else if (name == "key") {
                PSG_KeyEvent(static_cast<uint8_t>(Hex(value)), 1);
                for (int i = 0; i < 100; ++i) CPC_Update(250);
            } else if (word == "reset") {
                CPC_Reset();
            } else if (word == "nocpu") {
                g_Machine.processor = nullptr;
            } else if (name == "crtc") {  // the CRTC writes since the last check: INDEX:VALUE,...
                std::ostringstream got;
                got << std::hex << std::uppercase;
                for (auto [index, v] : crtcWrites)
                    got << (got.tellp() ? "," : "") << int(index) << ":" << int(v);
                crtcWrites.clear();
                EXPECT_EQ(got.str(), value);
            } else if (name == "pages") {
                EXPECT_EQ(Joined(Pages()), value);
            } else if (name.rfind("page", 0) == 0) {
                EXPECT_EQ(PageStart(std::stoi(name.substr(4))), Hex(value));
            } else if (name == "blocks") {
                EXPECT_EQ(WriteBlocks(), value);
            } else if (name == "memSelect") {
                EXPECT_EQ(g_Machine.memSelect, Hex(value));
            } else if (name == "offset") {
                EXPECT_EQ(g_Machine.horizontalOffset.load(), std::stol(value));
            } else if (name == "ack") {
                EXPECT_EQ(CPC_IntAck(), Hex(value));
            } else if (uint8_t* byte = Byte(name)) {
                if (check)
                    EXPECT_EQ(*byte, Hex(value));
                else
                    *byte = static_cast<uint8_t>(Hex(value));
            } else {
                ADD_FAILURE() << "unknown word";
            }
            for (const std::string& record : Traces()) traces.push_back(record);
        }
        EXPECT_EQ(traces, c.traces) << "line " << c.number;
        g_Machine.processor = nullptr;
        CPC_Shutdown(&g_Machine);
    }
};

}  // namespace

TEST_F(MachineCases, EveryLineOfTheTable) {
    for (const CaseLine& c : ReadCaseTable(UNIT_TEST_DIR "/machine_cases.txt")) Play(c);
}
