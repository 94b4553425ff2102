// Register writes into sound parameters and their traces, the stops of the I/O port
// registers, and the speed correction. The keyboard read through register 14 is checked
// through the PPI in the machine tests.
#include "common/sound/psg_sound_state.h"
#include "psg_test_support.h"

namespace {
using PsgRegisters = PsgTest;
}  // namespace

TEST_F(PsgRegisters, PeriodsOfTheTimeDrivenEngine) {
    processor_.time = 1234;
    WriteRegister(1, 0x1F);  // the upper four bits are not part of the period
    WriteRegister(0, 0x34);
    EXPECT_EQ(g_Machine.psg.registers[1], 0x1F);
    EXPECT_EQ(g_PsgSound.channels[0].halfPeriod, 3892 * 8);
    EXPECT_EQ(g_PsgSound.channels[0].frequency, 0) << "only the engine in use is computed";
    EXPECT_EQ(Traces(), (Records{"U:1234-PSG_out(1,31): Ch(0): Period=3840",
                                 "U:1234-PSG_out(0,52): Ch(0): Period=3892"}));
    WriteRegister(4, 3);
    EXPECT_EQ(g_PsgSound.channels[2].halfPeriod, 24) << "short periods still toggle";
    WriteRegister(5, 0x0F);
    WriteRegister(4, 0xFF);
    EXPECT_EQ(g_PsgSound.channels[2].halfPeriod, 4095 * 8);

    Traces();
    WriteRegister(6, 0x35);
    EXPECT_EQ(g_PsgSound.noisePeriod, 21 * 16);
    EXPECT_EQ(Traces(),
              (Records{"PSG_out(6,53): NoiseFreq: Bad value", "PSG_out(6,53): Period=21"}));
}

TEST_F(PsgRegisters, ThreadDrivenEngineGetsFrequencies) {
    g_Machine.Type |= CPC_TYPE_THREAD_SOUND;
    processor_.time = 77;
    WriteRegister(3, 0x0F);
    WriteRegister(2, 0x34);
    EXPECT_EQ(g_PsgSound.channels[1].frequency, 62500 / 3892);
    EXPECT_EQ(g_PsgSound.channels[1].halfPeriod, 0) << "only the engine in use is computed";
    EXPECT_TRUE(TraceLog::Has(Traces(), "U:77-PSG_out(2,52): Ch(1): Freq=16 (Period=3892)"));
    WriteRegister(3, 0);
    WriteRegister(2, 5);
    EXPECT_EQ(g_PsgSound.channels[1].frequency, 12500);
    WriteRegister(2, 4);
    EXPECT_EQ(g_PsgSound.channels[1].frequency, 0) << "periods below 5 are silent";

    Traces();
    WriteRegister(6, 0x15);
    EXPECT_EQ(g_PsgSound.noiseFrequency, 62500 / 21);
    WriteRegister(6, 0x00);
    EXPECT_EQ(g_PsgSound.noiseFrequency, 0);
    EXPECT_EQ(Traces(), (Records{"PSG_out(6,21): NoiseFreq, Freq=2976 (Period=21)",
                                 "PSG_out(6,0): NoiseFreq, Freq=0 (Period=0)"}));
}

TEST_F(PsgRegisters, MixerAndIoPortRegisters) {
    const PSG_Channel* ch = g_PsgSound.channels;
    WriteRegister(7, 0x15);
    EXPECT_EQ(ch[0].toneEnabled + 2 * ch[1].toneEnabled + 4 * ch[2].toneEnabled, 2);
    EXPECT_EQ(ch[0].noiseEnabled + 2 * ch[1].noiseEnabled + 4 * ch[2].noiseEnabled, 5);
    EXPECT_EQ(Traces(),
              (Records{"PSG_out(7,21): Mixer Control",
                       "PSG_out(): Ch(0): [T:0,N:1] Ch(1): [T:1,N:0] Ch(2): [T:0,N:1] "}));
    EXPECT_EQ(processor_.stopReason, Z80_STOP_NONE);

    WriteRegister(7, 0x78);  // port A as output
    EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT);
    EXPECT_EQ(Traces(),
              (Records{"PSG_out(7,120): Mixer Control",
                       "PSG_out(): PSG port A set to output: UNSUPPORTED",
                       "PSG_out(): Ch(0): [T:1,N:0] Ch(1): [T:1,N:0] Ch(2): [T:1,N:0] "}));

    for (uint8_t reg : {15, 14}) {
        processor_.stopReason = Z80_STOP_NONE;
        WriteRegister(reg, reg == 15 ? 0x01 : 0xFF);
        EXPECT_EQ(processor_.stopReason, Z80_STOP_UNSUPPORTED_PORT) << int(reg);
    }
    EXPECT_EQ(Traces(), (Records{"PSG_out(15,1)", "PSG_out(14,255)"}));
    // Without a processor there is nobody to stop, and a register past 15 is refused.
    g_Machine.processor = nullptr;
    PSG_out(14, 0);
    PSG_out(16, 1);
    EXPECT_TRUE(TraceLog::Has(Traces(), "* PSG_out(16,1): No such register, ignored"));
}

TEST_F(PsgRegisters, VolumeIsConstantOrFollowsTheEnvelopeScaledByTheMaster) {
    processor_.time = 5;
    WriteRegister(8, 0x0F);
    EXPECT_EQ(g_PsgSound.channels[0].amplitude, 10920);
    WriteRegister(13, 0x00);  // decay: starts at level 15
    WriteRegister(9, 0x13);
    EXPECT_EQ(g_PsgSound.channels[1].envelopeMode, 1);
    EXPECT_EQ(g_PsgSound.channels[1].amplitude, 10920);
    Records traces = Traces();
    EXPECT_TRUE(
        TraceLog::Has(traces, "U:5-PSG_out(8,15): Ch(0): Vol=15 (10920), Amplitude:Constant"));
    EXPECT_TRUE(TraceLog::Has(traces, "U:5-PSG_out(9,19): Ch(1): Vol=3 (10920), Amplitude:Env"));

    WriteRegister(13, 0x0C);  // attack: restarts at level 0
    EXPECT_EQ(g_PsgSound.envelopeStep, 1);
    EXPECT_EQ(g_PsgSound.channels[1].amplitude, 0);
    EXPECT_EQ(g_PsgSound.channels[0].amplitude, 10920) << "a constant volume stays";
    EXPECT_TRUE(TraceLog::Has(Traces(), "PSG_out(13,12): Env Shape: 12"));

    g_PsgSound.envelopeTime = 999;
    WriteRegister(11, 0x34);
    WriteRegister(12, 0x12);
    EXPECT_EQ(g_PsgSound.envelopeTime, 0u) << "a period write restarts the envelope too";
    EXPECT_EQ(g_PsgSound.envelopePeriod, 0x1234u * 16);
    EXPECT_TRUE(TraceLog::Has(Traces(), "PSG_out(12,18): Env Period: 4660"));

    // Reset clears the sound parameters but keeps the registers and the envelope level.
    WriteRegister(0, 0x10);
    g_PsgSound.ringWrite = 400;
    PSG_Reset();
    EXPECT_EQ(g_PsgSound.channels[0].halfPeriod | g_PsgSound.channels[0].envelopeMode |
                  g_PsgSound.channels[1].envelopeMode | g_PsgSound.envelopePeriod |
                  g_PsgSound.ringWrite,
              0u);
    EXPECT_EQ(g_PsgSound.envelopeLevel, 0) << "level and step stay where the attack began";
    EXPECT_EQ(g_PsgSound.envelopeStep, 1);
    EXPECT_EQ(g_Machine.psg.registers[12], 0x12);

    // The master volume scales the amplitudes from the next volume write on.
    PSG_SetMasterVolume(12);
    WriteRegister(8, 15);
    WriteRegister(9, 1);
    EXPECT_EQ(g_PsgSound.channels[0].amplitude, 2730);
    EXPECT_EQ(g_PsgSound.channels[1].amplitude, 30);
    PSG_SetMasterVolume(0xF0);  // only the low four bits count: silence
    EXPECT_EQ(g_PsgSound.channels[0].amplitude, 2730);
    WriteRegister(8, 15);
    EXPECT_EQ(g_PsgSound.channels[0].amplitude, 0);
    PSG_SetMasterVolume(15);
}

TEST(SpeedCorrection, ClampsDecaysAndAverages) {
    Emul_AdjustSpeed(PSG_SPEED_RESET);
    Emul_AdjustSpeed(-7);
    for (int i = 0; i < 4; ++i) Emul_AdjustSpeed(0);  // -2, -1, 0, 0
    EXPECT_EQ(g_PsgSound.speedCorrection, 0);
    EXPECT_EQ(g_PsgSound.correctionSum, -10);
    EXPECT_EQ(g_PsgSound.correctionCount, 5u);
    Emul_AdjustSpeed(-150);
    EXPECT_EQ(g_PsgSound.speedCorrection, -100);
    EXPECT_EQ(g_PsgSound.correctionSum, -100);

    Emul_AdjustSpeed(PSG_SPEED_RESET);
    for (int i = 0; i < 10; ++i) Emul_AdjustSpeed(+10);
    EXPECT_EQ(g_PsgSound.speedCorrection, 100);
    EXPECT_EQ(g_PsgSound.correctionCount, PSG_CORRECTION_AT_LIMIT);
    EXPECT_EQ(g_PsgSound.correctionSum, 100);
    Emul_AdjustSpeed(+10);
    Emul_AdjustSpeed(0);
    EXPECT_EQ(g_PsgSound.speedCorrection, 95);
    EXPECT_EQ(g_PsgSound.correctionSum, 100) << "the sum stays at the limit until cleared";
    Emul_AdjustSpeed(PSG_SPEED_RESET);
    EXPECT_EQ(g_PsgSound.speedCorrection, 0);
    EXPECT_EQ(g_PsgSound.correctionCount, 0u);
}
