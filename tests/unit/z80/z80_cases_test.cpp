// Plays cases.txt: one instruction (or a few) per line, the state before and what must
// hold after; the line's format is described at the top of that file.
#include <fstream>
#include <sstream>

#include "case_table.h"
#include "trace_log.h"
#include "z80_fixture.h"

namespace {

// A case line split at its bars: bytes, the state before, what must hold after.
struct Case {
    const CaseLine& line;
    std::vector<uint8_t> bytes;
    std::vector<std::string> before, after;
};

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

std::vector<uint8_t> HexBytes(const std::string& hex) {
    std::vector<uint8_t> bytes;
    for (size_t at = 0; at + 1 < hex.size(); at += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(at, 2), nullptr, 16)));
    return bytes;
}

// A value: hex, or flag names joined by '+'.
unsigned Value(const std::string& text) {
    static const std::pair<const char*, unsigned> kFlags[] = {
        {"S", Z80_FLAG_S}, {"Z", Z80_FLAG_Z}, {"H", Z80_FLAG_H},         {"PV", Z80_FLAG_PV},
        {"N", Z80_FLAG_N}, {"C", Z80_FLAG_C}, {"53", z80_flags::kBits53}};
    unsigned value = 0;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, '+');) {
        bool named = false;
        for (auto [name, bit] : kFlags)
            if (part == name) value |= bit, named = true;
        if (!named) value |= static_cast<unsigned>(std::stoul(part, nullptr, 16));
    }
    return value;
}

class Z80Cases : public Z80Test {
   protected:
    // The processor's registers and the flat machine's records by name; nullptr if unknown.
    uint8_t* Byte(const std::string& name) {
        // clang-format off
        const std::pair<const char*, uint8_t*> bytes[] = {
            {"A", &cpu.AF.hi}, {"F", &cpu.AF.lo}, {"B", &cpu.BC.hi}, {"C", &cpu.BC.lo},
            {"D", &cpu.DE.hi}, {"E", &cpu.DE.lo}, {"H", &cpu.HL.hi}, {"L", &cpu.HL.lo},
            {"I", &cpu.I}, {"R", &cpu.R}, {"IM", &cpu.IM}, {"IFF1", &cpu.IFF1}, {"IFF2", &cpu.IFF2},
            {"halted", &cpu.halted}, {"running", &cpu.running}, {"stop", &cpu.stopReason},
            {"prefix", &cpu.prefix}, {"port", &g_Flat.portValue}};
        // clang-format on
        for (auto [key, at] : bytes)
            if (name == key) return at;
        return nullptr;
    }
    uint16_t* Word(const std::string& name) {
        const std::pair<const char*, uint16_t*> words[] = {
            {"AF", &cpu.AF.w},        {"BC", &cpu.BC.w},   {"DE", &cpu.DE.w},   {"HL", &cpu.HL.w},
            {"IX", &cpu.IX.w},        {"IY", &cpu.IY.w},   {"SP", &cpu.SP},     {"PC", &cpu.PC},
            {"AF'", &cpu.AF_.w},      {"BC'", &cpu.BC_.w}, {"DE'", &cpu.DE_.w}, {"HL'", &cpu.HL_.w},
            {"startPC", &cpu.startPC}};
        for (auto [key, at] : words)
            if (name == key) return at;
        return nullptr;
    }

    void Prepare(const Case& c, bool interrupt) {
        SetUp();
        cpu.AF.w = 0x0100, cpu.BC.w = 0x0102;
        cpu.HL.w = cpu.DE.w = cpu.IX.w = cpu.IY.w = 0x4000;
        if (interrupt) cpu.IM = 1, cpu.IFF1 = cpu.IFF2 = 1, g_Flat.interruptPending = true;
        for (const std::string& word : c.before) {
            size_t equals = word.find('=');
            std::string name = word.substr(0, equals), value = word.substr(equals + 1);
            if (word == "int") {
                g_Flat.interruptPending = true;
            } else if (word == "reset") {  // after the registers before it
                Z80_Reset(&cpu);
            } else if (name == "IFF") {
                cpu.IFF1 = cpu.IFF2 = static_cast<uint8_t>(Value(value));
            } else if (name[0] == '(') {
                FlatMachine_Load(static_cast<uint16_t>(Value(name.substr(1))), HexBytes(value));
            } else if (uint8_t* byte = Byte(name)) {
                *byte = static_cast<uint8_t>(Value(value));
            } else if (uint16_t* reg = Word(name)) {
                *reg = static_cast<uint16_t>(Value(value));
            } else if (name != "steps" && name != "us" && name != "ack") {
                ADD_FAILURE() << "line " << c.line.number << ": unknown " << word;
            }
        }
        FlatMachine_Load(cpu.PC, c.bytes);
        TraceLog::Take();
    }

    // Runs the case's steps (whole instructions, or single bytes with "steps=bytes:N").
    uint32_t Run(const Case& c) {
        uint32_t before = cpu.time, steps = 1;
        bool bytes = false;
        for (const std::string& word : c.before) {
            if (word.rfind("steps=bytes:", 0) == 0)
                bytes = true, steps = std::stoul(word.substr(12));
            else if (word.rfind("steps=", 0) == 0)
                steps = std::stoul(word.substr(6));
        }
        for (uint32_t i = 0; i < steps; ++i) bytes ? Z80_Step(&cpu) : Z80_StepInstruction(&cpu);
        return cpu.time - before;
    }

    std::string Ports() const {
        std::ostringstream out;
        out << std::hex << std::uppercase;
        for (uint16_t port : g_Flat.reads) out << "in:" << port << " ";
        for (const FlatPortWrite& w : g_Flat.writes) out << w.port << ":" << int(w.value) << " ";
        return out.str();
    }

    void Check(const Case& c, const std::string& word, uint32_t counted) {
        size_t equals = word.find('=');
        std::string name = word.substr(0, equals), value = word.substr(equals + 1);
        unsigned actual = 0, expected = name == "ports" ? 0 : Value(value);
        if (name == "t") {
            actual = counted, expected = std::stoul(value);
        } else if (name == "dev") {
            actual = g_Flat.updatedMicroseconds, expected = std::stoul(value);
        } else if (name == "ahead") {
            actual = g_Flat.portUpdatedAt, expected = std::stoul(value);
        } else if (name == "retis" || name == "resets") {
            actual = static_cast<unsigned>(name == "retis" ? g_Flat.retis : g_Flat.resets);
        } else if (name == "int") {
            actual = g_Flat.interruptPending;
        } else if (name == "ports") {
            std::string expectedPorts = value + " ";
            std::replace(expectedPorts.begin(), expectedPorts.end(), ',', ' ');
            EXPECT_EQ(Ports(), expectedPorts == " " ? "" : expectedPorts) << c.line.text;
            return;
        } else if (name[0] == '(') {
            uint16_t at = static_cast<uint16_t>(Value(name.substr(1)));
            std::vector<uint8_t> want = HexBytes(value), have;
            for (size_t i = 0; i < want.size(); ++i) have.push_back(Memory(uint16_t(at + i)));
            EXPECT_EQ(have, want) << "line " << c.line.number << ": " << c.line.text;
            return;
        } else if (uint8_t* byte = Byte(name)) {
            actual = *byte;
        } else if (uint16_t* reg = Word(name)) {
            actual = *reg;
        } else {
            ADD_FAILURE() << "line " << c.line.number << ": unknown " << word;
        }
        EXPECT_EQ(actual, expected) << name << ", line " << c.line.number << ": " << c.line.text;
    }
};

}  // namespace

TEST_F(Z80Cases, EveryLineOfTheTable) {
    for (const CaseLine& line : ReadCaseTable(UNIT_TEST_DIR "/cases.txt")) {
        size_t bar1 = line.text.find('|'), bar2 = line.text.find('|', bar1 + 1);
        Case c{line,
               {},
               Words(line.text.substr(bar1 + 1, bar2 - bar1 - 1)),
               Words(line.text.substr(bar2 + 1))};
        for (const std::string& byte : Words(line.text.substr(0, bar1)))
            c.bytes.push_back(static_cast<uint8_t>(std::stoul(byte, nullptr, 16)));
        // Flag bits 5 and 3 are never computed: both presets must come through unchanged.
        bool keeps53 = std::count(c.after.begin(), c.after.end(), "keeps53") != 0;
        for (unsigned preset : {0u, keeps53 ? unsigned{z80_flags::kBits53} : 0u}) {
            Prepare(c, false);
            if (keeps53)
                cpu.AF.lo = static_cast<uint8_t>((cpu.AF.lo & ~z80_flags::kBits53) | preset);
            uint32_t counted = Run(c);
            for (const std::string& word : c.after) {
                if (word == "keeps53")
                    EXPECT_EQ(cpu.AF.lo & z80_flags::kBits53, preset) << c.line.text;
                else
                    Check(c, word, counted);
            }
            if (!c.line.traces.empty()) {
                EXPECT_EQ(TraceLog::Take(), c.line.traces) << c.line.text;
            }
            if (!keeps53) break;
        }
        // "us=N": N microseconds in all, the part ahead of a port access not counted by the
        // processor; an interrupt accepted right after costs 5 more ("ack=4": 4).
        for (const std::string& word : c.before) {
            if (word.rfind("us=", 0) != 0) continue;
            unsigned us = std::stoul(word.substr(3)), ack = 5;
            for (const std::string& other : c.before)
                if (other == "ack=4") ack = 4;
            Prepare(c, false);
            uint32_t counted = Run(c);
            EXPECT_EQ(g_Flat.updatedMicroseconds, us) << c.line.text;
            EXPECT_EQ(counted, us - g_Flat.portUpdatedAt) << c.line.text;
            EXPECT_EQ(cpu.stopReason, Z80_STOP_NONE) << c.line.text;
            if (std::count(c.before.begin(), c.before.end(), "ack=none")) continue;
            Prepare(c, true);
            Run(c);
            EXPECT_EQ(g_Flat.updatedMicroseconds, us + ack) << c.line.text;
            EXPECT_EQ(cpu.PC, 0x0038) << c.line.text;
        }
    }
}
