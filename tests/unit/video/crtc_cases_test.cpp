// Plays crtc_cases.txt: each line a run of either CRTC variant, microsecond by
// microsecond, with register writes, waits and checks; the words are described at the top
// of that file.
#include <fstream>
#include <sstream>

#include "case_table.h"
#include "common/video/crtc_fast.h"
#include "trace_log.h"
#include "video_fixture.h"

namespace {

class CrtcCases : public VideoTest {
   protected:
    long Field(const std::string& name) {
        const CRTC_State& c = g_Machine.crtc;
        // clang-format off
        const std::pair<const char*, long> fields[] = {
            {"HCC", c.HCC}, {"VCC", c.VCC}, {"RA", c.RA}, {"SL", c.SL}, {"ML", c.ML}, {"MA", c.MA},
            {"lineStartMA", c.lineStartMA}, {"hsync", c.hsyncCountdown},
            {"vs", g_Machine.ppi.portB & 1},
            {"vadj", (c.status & CRTC_STATUS_VADJUST) ? c.verticalAdjustCounter : -1},
            {"counter", g_Machine.ga.intLineCounter}, {"mode", c.currentMode},
            {"selected", c.selectedRegister}, {"lBorder", c.fast.lBorder},
            {"rBorder", c.fast.rBorder}, {"frameLines", c.fast.frameLines},
            {"lineTimeLeft", c.fast.lineTimeLeft},
            {"fastTick", g_Machine.crtcOps.tick == CRTC_Tick_fast},
            {"since", static_cast<long>(now_ - mark_)},
            {"lines", static_cast<long>((now_ - mark_) / kLineMicroseconds)},
            {"ints", interrupts_}, {"frames", static_cast<long>(repaints().size())},
            {"newframes", static_cast<long>(repaints().size()) - markFrames_},
            {"mlgain", c.ML - markML_}, {"slgain", c.SL - markSL_}};
        // clang-format on
        for (auto [key, value] : fields)
            if (name == key) return value;
        if (name[0] == 'R') return c.R[std::stoi(name.substr(1))];
        if (name.rfind("in", 0) == 0) return g_Machine.crtcOps.in(std::stoi(name.substr(2)) & 3);
        ADD_FAILURE() << "unknown field " << name;
        return 0;
    }
    bool Holds(const std::string& conditions) {
        std::istringstream in(conditions);
        for (std::string one; std::getline(in, one, ',');) {
            size_t equals = one.find('=');
            if (Field(one.substr(0, equals)) != std::stol(one.substr(equals + 1), nullptr, 0))
                return false;
        }
        return true;
    }
    std::vector<long> Numbers(const std::string& list) {
        std::vector<long> numbers;
        std::istringstream in(list);
        for (std::string one; std::getline(in, one, ',');) numbers.push_back(std::stol(one));
        return numbers;
    }
    // Microseconds from the next HSYNC start until a mode change is in force, 0 when it is
    // not within two lines.
    long ModeChangeDelay() {
        Run(2 * kLineMicroseconds);  // any earlier mode change has run out
        g_Machine.ga.screenMode = g_Machine.crtc.currentMode = 0;
        RunUntil([] { return g_Machine.crtc.hsyncCountdown == 0; });
        RunUntil([] { return g_Machine.crtc.hsyncCountdown != 0; });
        g_Machine.ga.screenMode = 2;
        for (long us = 1; us <= 2 * kLineMicroseconds; ++us) {
            Tick();
            if (g_Machine.crtc.currentMode == 2) return us;
        }
        return 0;
    }

    void Play(const CaseLine& s) {
        std::istringstream words(s.text);
        std::vector<std::string> traces;
        for (std::string word; words >> word;) {
            SCOPED_TRACE("line " + std::to_string(s.number) + ", at " + word);
            size_t mark = word.find_first_of("=?:");
            std::string name = word.substr(0, mark), value = word.substr(mark + 1);
            char kind = mark == std::string::npos ? ' ' : word[mark];
            if (name == "precise" || name == "fast") {
                SetUp();
                if (name == "fast") {
                    g_Machine.Type = CPC_MODEL_6128 | CPC_TYPE_FAST_CRTC;
                    g_Machine.horizontalOffset = -8;
                }
                now_ = mark_ = 0;
                interrupts_ = 0;
                markFrames_ = markML_ = markSL_ = 0;
                ColdStart(static_cast<uint8_t>(std::stoi(value)));
                TraceLog::Take();
            } else if (word == "nobuffer") {
                PAL_SetFrameBuffer(nullptr);
            } else if (word == "fill") {  // pen 1 in mode 2 at 0xC000, pen 0 elsewhere
                std::fill(ram_.begin() + 3 * CPC_PAGE_SIZE, ram_.end(), 0xFF);
                g_Machine.ga.screenMode = 2;
            } else if (kind == '=' && name[0] == 'R') {
                WriteRegister(static_cast<uint8_t>(std::stoi(name.substr(1))),
                              static_cast<uint8_t>(std::stoul(value, nullptr, 0)));
            } else if (kind == '=' && name.rfind("out", 0) == 0) {
                g_Machine.crtcOps.out(static_cast<uint8_t>(std::stoi(name.substr(3))),
                                      static_cast<uint8_t>(std::stoul(value, nullptr, 0)));
            } else if (kind == '=' && name == "counter") {
                g_Machine.ga.intLineCounter = static_cast<uint8_t>(std::stoi(value));
            } else if (kind == '=' && name == "mode") {
                g_Machine.ga.screenMode = static_cast<uint8_t>(std::stoi(value));
            } else if (name == "run") {
                Run(std::stoul(value));
            } else if (name == "tick") {  // one call of many microseconds, no acknowledge
                g_Machine.crtcOps.tick(static_cast<uint8_t>(std::stoul(value)));
                now_ += std::stoul(value);
            } else if (name == "to") {
                RunUntil([&] { return Holds(value); });
            } else if (word == "vsync") {
                RunToVsyncStart();
            } else if (word == "line") {
                uint16_t line = g_Machine.crtc.SL;
                RunUntil([&] { return g_Machine.crtc.SL != line; });
            } else if (name == "frames" && kind == ':') {
                size_t count = std::stoul(value);
                RunUntil([&] { return repaints().size() >= count; }, 5 * kFrameMicroseconds);
            } else if (word == "mark") {
                mark_ = now_;
                interrupts_ = 0;
                markFrames_ = static_cast<long>(repaints().size());
                markML_ = g_Machine.crtc.ML, markSL_ = g_Machine.crtc.SL;
                TraceLog::Take();
            } else if (name == "area" && kind == '?') {
                std::vector<long> edges = Numbers(value);
                ExpectDisplayArea(int(edges[0]), int(edges[1]), int(edges[2]), int(edges[3]));
            } else if (name == "repaints" && kind == '?') {
                std::vector<long> expected = Numbers(value);
                ASSERT_GE(repaints().size(), expected.size());
                EXPECT_EQ(std::vector<long>(repaints().begin(),
                                            repaints().begin() + long(expected.size())),
                          expected);
            } else if (name == "modedelay" && kind == '?') {
                EXPECT_EQ(ModeChangeDelay(), std::stol(value));
            } else if (kind == '?') {
                EXPECT_EQ(Field(name), std::stol(value, nullptr, 0)) << name;
            } else {
                ADD_FAILURE() << "unknown word";
            }
        }
        traces = TraceLog::Take();
        for (const std::string& record : s.traces)
            EXPECT_TRUE(TraceLog::Has(traces, record))
                << "line " << s.number << ": " << record
                << "\nwritten: " << ::testing::PrintToString(traces);
        for (const std::string& record : s.absentTraces)
            EXPECT_FALSE(TraceLog::Has(traces, record)) << "line " << s.number << ": " << record;
    }

    uint64_t mark_ = 0;
    long markFrames_ = 0, markML_ = 0, markSL_ = 0;
};

}  // namespace

TEST_F(CrtcCases, EveryLineOfTheTable) {
    for (const CaseLine& c : ReadCaseTable(UNIT_TEST_DIR "/crtc_cases.txt")) Play(c);
}
