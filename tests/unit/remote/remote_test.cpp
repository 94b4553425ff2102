// The remote protocol as a table of packets and answers (packets.txt), played on the flat
// machine with the monitor's test program.
#include "common/remote/remote.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "common/monitor/breakpoints.h"
#include "common/monitor/watchpoints.h"
#include "flat_machine.h"

namespace {

constexpr int kMostSteps = 100000;  // then the player interrupts the run as Ctrl-C would

// "{N:c}" stands for N times c, "\xHH" for a byte.
std::string Expand(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        size_t colon = text.find(':', i);
        if (text[i] == '{' && colon != std::string::npos && colon + 2 < text.size()) {
            out.append(std::stoul(text.substr(i + 1, colon - i - 1)), text[colon + 1]);
            i = colon + 2;
        } else if (text.compare(i, 2, "\\x") == 0) {
            out += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

const char* const kEventNames[] = {"", "PACKET", "BAD", "LONG", "INTERRUPT", "ACK", "NAK"};

// "! bytes" go to the framer and "= events" name what it found; "> packet" is handled and
// "< answer" is its reply (after c or s, the stop reply once the machine stopped).
TEST(Remote, PacketTable) {
    Z80_State cpu;
    FlatMachine_ResetProcessor(&cpu);
    FlatMachine_Load(0, LoadTestProgram("monitor"));
    Rsp_Framer framer;
    std::ifstream file(std::string(UNIT_TEST_DIR) + "/packets.txt");
    ASSERT_TRUE(file);
    std::string line, got, sent;
    char reply[RSP_REPLY_SIZE];
    for (int number = 1; std::getline(file, line); ++number) {
        SCOPED_TRACE("packets.txt:" + std::to_string(number) + " after " + sent);
        if (line.size() < 2 || line[0] == '#') continue;
        const std::string text = Expand(line.substr(2));
        if (line[0] == '!') {
            got.clear();
            for (char c : text) {
                Rsp_Event event = Rsp_Feed(&framer, static_cast<uint8_t>(c));
                if (event == RSP_NONE) continue;
                got += std::string(got.empty() ? "" : " ") + kEventNames[event];
                if (event == RSP_PACKET) got += std::string("(") + framer.packet + ")";
            }
        } else if (line[0] == '>') {
            sent = text;
            size_t length = 0;
            Rsp_Result result = Rsp_Handle(&cpu, text.data(), text.size(), reply, &length);
            bool interrupted = false;
            auto step = [&cpu] {  // as the run loop steps while read watches are set
                Wp_BeforeStep(&cpu);
                Z80_StepInstruction(&cpu);
                Wp_AfterStep(&cpu);
            };
            if (result == RSP_STEP) step();
            if (result == RSP_CONTINUE) {
                cpu.running = 1;
                for (int i = 0; cpu.running && i < kMostSteps; ++i) step();
                interrupted = cpu.running;
                cpu.running = 0;
            }
            if (result == RSP_STEP || result == RSP_CONTINUE)
                length = Rsp_StopReply(&cpu, interrupted, reply);
            got.assign(reply, length);
            if (result == RSP_KILL) got = "(kill)";
        } else {
            EXPECT_EQ(got, text);
        }
    }
    char framed[16];
    EXPECT_EQ(std::string(framed, Rsp_Encode("OK", 2, framed)), "$OK#9a");
    Wp_Clear(&cpu);
    Z80_FreeBreakpoints(&cpu);
}

}  // namespace
