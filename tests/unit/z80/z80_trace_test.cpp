// The processor's trace lines, read back from the trace library's log.
#include <string>
#include <vector>

#include "trace_log.h"
#include "z80_fixture.h"

namespace {

class Z80Trace : public Z80Test {
   protected:
    void SetUp() override {
        Z80Test::SetUp();
        TraceLog::Take();
    }
    static std::vector<std::string> NewTraces() { return TraceLog::Take(); }
};

using Lines = std::vector<std::string>;

}  // namespace

TEST_F(Z80Trace, ResetAddressInvalidPrefixesAndUnknownInstructions) {
    FlatMachine_Load(0, {0xDD, 0xFD, 0x00});
    Step();
    cpu.PC = 0x0100;
    Execute({0xED, 0xCB});
    Execute({0xDD, 0xED});
    cpu.PC = 0x0300;
    Execute({0xED, 0xB3});
    Execute({0xFD, 0x8D});
    Execute({0xDD, 0xCB, 0x05, 0x00});
    EXPECT_EQ(NewTraces(), (Lines{"Z80_Step(): --------------- Reset ---------------",
                                  "* Z80_Step(): PC=0001H, INVALID FD PREFIX",
                                  "* Z80_Step(): PC=0101H, INVALID CB PREFIX",
                                  "* Z80_Step(): PC=0103H, INVALID ED PREFIX",
                                  "* Z80_Step_ED(): PC=0301H, UNKNOWN INSTRUCTION: ED B3",
                                  "* Z80_Step_DD_FD(): PC=0300H, UNKNOWN INSTRUCTION: FD 8D",
                                  "* Z80_Step_DD_FD(): PC=0303H, UNKNOWN INSTRUCTION: DD CB 00"}));
}

TEST_F(Z80Trace, HaltWithInterruptsOffAndIgnoredInterrupts) {
    cpu.PC = 0x0100;
    Execute({0x76});
    cpu.halted = 0;
    cpu.IFF1 = 1;
    g_Flat.interruptPending = true;
    Execute({0x00});
    EXPECT_EQ(NewTraces(),
              (Lines{"* Z80_Step_Regular(): HALT entered while INT DISABLED. Processor hung...",
                     "* Z80_Step(): INT Mode (0) not supported - INT Ignored"}));
}
