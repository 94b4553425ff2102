// DD and FD instructions, each checked against its unprefixed counterpart: a form on
// IX/IY or their halves behaves as the same opcode on HL, H and L; a form on (IX+d)
// as the same opcode on (HL) with HL = IX + d; every other form runs as the
// unprefixed instruction and stops the machine.
#include <algorithm>
#include <cstring>

#include "z80_fixture.h"

namespace {

using namespace z80_flags;

// Forms that name HL, H or L unprefixed and IX, IXH or IXL here; one microsecond more.
const uint8_t kRegisterForms[] = {
    0x09, 0x19, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E,
    0x39, 0x44, 0x45, 0x4C, 0x4D, 0x54, 0x55, 0x5C, 0x5D, 0x60, 0x61, 0x62, 0x63, 0x64,
    0x65, 0x67, 0x68, 0x69, 0x6A, 0x6B, 0x6C, 0x6D, 0x6F, 0x7C, 0x7D, 0x84, 0x85, 0x8C,
    0x94, 0x95, 0xA4, 0xAC, 0xAD, 0xB4, 0xB5, 0xBC, 0xBD, 0xE1, 0xE3, 0xE5, 0xE9, 0xF9};

// Forms on (IX+d) for (HL), keeping the real H and L; three microseconds more.
bool IsDisplacementForm(uint8_t opcode) {
    if (opcode == 0x34 || opcode == 0x35 || opcode == 0x36) return true;
    if (opcode < 0x40 || opcode >= 0xC0 || opcode == 0x76) return false;
    return (opcode & 7) == 6 || (opcode >= 0x70 && opcode < 0x78);
}

// Each run places its instruction to end at the same address, so that PC and pushed
// return addresses agree; memory compares leave out kAt - 4 to kAt + 4.
constexpr uint16_t kAt = 0x0100;
constexpr int8_t kDisplacement = -3;
constexpr uint16_t kAddress = 0x4321, kIndex = static_cast<uint16_t>(kAddress - kDisplacement);
constexpr uint16_t kUnused = 0x1111;

struct Outcome {
    Z80_State cpu;
    uint32_t deviceTime;
    std::vector<uint8_t> memory;
};

class Z80Indexed : public Z80Test {
   protected:
    // Loads the bytes at the address over patterned memory, with registers that make
    // every operand distinct.
    void Prepare(const std::vector<uint8_t>& bytes, uint16_t at, uint16_t hl, uint16_t ix) {
        SetUp();
        for (int i = 0; i < 0x10000; ++i) g_Flat.memory[i] = static_cast<uint8_t>(i * 37 + 11);
        FlatMachine_Load(at, bytes);
        cpu.PC = at;
        cpu.AF.w = 0x3C00 | C;
        cpu.BC.w = 0x1357, cpu.DE.w = 0x2468, cpu.HL.w = hl, cpu.IX.w = cpu.IY.w = ix;
        cpu.AF_.w = 0xA1A1, cpu.BC_.w = 0xB2B2;
        cpu.running = 1;
        cpu.intExtra = 1;  // as every step starts
    }
    Outcome Capture() const {
        return {cpu, g_Flat.updatedMicroseconds, {g_Flat.memory, g_Flat.memory + 0x10000}};
    }
    Outcome Run(const std::vector<uint8_t>& bytes, uint16_t at, uint16_t hl, uint16_t ix) {
        Prepare(bytes, at, hl, ix);
        Z80_StepInstruction(&cpu);
        return Capture();
    }
};

// Registers, flags, PC, memory outside the program bytes and the interrupt timing.
void ExpectSameOutcome(const Outcome& plain, const Outcome& indexed, const std::string& name) {
    auto state = [](const Z80_State& c) {
        return std::vector<int>{c.AF.w,  c.BC.w,  c.DE.w,     c.SP,    c.PC,
                                c.AF_.w, c.BC_.w, c.intExtra, c.halted};
    };
    EXPECT_EQ(state(indexed.cpu), state(plain.cpu))
        << name << ": AF BC DE SP PC AF' BC' timing HALT";
    const uint8_t *a = indexed.memory.data(), *b = plain.memory.data();
    EXPECT_TRUE(std::memcmp(a, b, kAt - 4) == 0 &&
                std::memcmp(a + kAt + 4, b + kAt + 4, 0x10000 - kAt - 4) == 0)
        << name << ": memory";
}

}  // namespace

TEST_F(Z80Indexed, EveryFormMatchesItsUnprefixedCounterpart) {
    for (uint8_t prefix : {0xDD, 0xFD}) {
        for (int code = 0; code < 256; ++code) {
            uint8_t opcode = static_cast<uint8_t>(code);
            if (opcode == 0xCB || opcode == 0xDD || opcode == 0xED || opcode == 0xFD) continue;
            std::string name = ::testing::PrintToString(std::vector<int>{prefix, opcode});
            bool registerForm =
                std::count(std::begin(kRegisterForms), std::end(kRegisterForms), opcode) != 0;
            bool displacementForm = IsDisplacementForm(opcode);
            const uint8_t n1 = 0x9A, n2 = 0x5B;  // immediates after the opcode
            uint16_t plainHl = registerForm ? kIndex : kAddress;
            Outcome plain = Run({opcode, n1, n2}, kAt, plainHl, kUnused);
            Outcome indexed =
                displacementForm
                    ? Run({prefix, opcode, static_cast<uint8_t>(kDisplacement), n1, n2}, kAt - 2,
                          kAddress, kIndex)
                    : Run({prefix, opcode, n1, n2}, kAt - 1, registerForm ? kUnused : kAddress,
                          registerForm ? kIndex : kUnused);
            ExpectSameOutcome(plain, indexed, name);
            int indexSum = indexed.cpu.IX.w + indexed.cpu.IY.w;
            if (registerForm) {
                EXPECT_EQ(indexed.cpu.HL.w, kUnused) << name << ": HL touched";
                EXPECT_EQ(indexSum - kIndex, plain.cpu.HL.w) << name;
            } else {
                EXPECT_EQ(indexed.cpu.HL.w, plain.cpu.HL.w) << name;
                EXPECT_EQ(indexSum, 2 * (displacementForm ? kIndex : kUnused)) << name;
            }
            bool known = registerForm || displacementForm;
            EXPECT_EQ(indexed.cpu.stopReason, known ? Z80_STOP_NONE : Z80_STOP_INVALID_PREFIX)
                << name;
            EXPECT_EQ(indexed.cpu.running, known ? plain.cpu.running : 0) << name;
            EXPECT_EQ(indexed.deviceTime, plain.deviceTime + (displacementForm ? 3 : 1)) << name;
        }
    }
}

TEST_F(Z80Indexed, BitGroupMatchesTheCbFormsOnHl) {
    for (uint8_t prefix : {0xDD, 0xFD}) {
        for (int code = 0; code < 256; ++code) {
            uint8_t op = static_cast<uint8_t>(code);
            std::string name = ::testing::PrintToString(std::vector<int>{prefix, op});
            const std::vector<uint8_t> bytes = {prefix, 0xCB, static_cast<uint8_t>(kDisplacement),
                                                op};
            Outcome indexed = Run(bytes, kAt - 3, kAddress, kIndex);
            if ((op & 7) == 6) {
                Outcome plain = Run({0xCB, op}, kAt - 1, kAddress, kIndex);
                ExpectSameOutcome(plain, indexed, name);
                EXPECT_EQ(indexed.cpu.stopReason, Z80_STOP_NONE) << name;
                EXPECT_EQ(indexed.deviceTime, plain.deviceTime + 3) << name;
                continue;
            }
            // Not implemented: nothing happens, and PC and R are back on the prefix.
            Prepare(bytes, kAt - 3, kAddress, kIndex);
            ExpectSameOutcome(Capture(), indexed, name);
            EXPECT_EQ(indexed.cpu.HL.w, kAddress) << name;
            EXPECT_EQ(indexed.cpu.R, 1) << name;
            EXPECT_EQ(indexed.cpu.stopReason, Z80_STOP_UNKNOWN_INSTRUCTION) << name;
            EXPECT_EQ(indexed.cpu.running, 0) << name;
            EXPECT_EQ(indexed.deviceTime, 0u) << name;
        }
    }
}
