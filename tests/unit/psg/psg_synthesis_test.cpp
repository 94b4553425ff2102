// Both sound engines from register writes to samples: the envelope shapes, the mixer, the
// sample ring with its feedback, and the thread-driven engine's blocks. Tone frequencies
// are measured on the real firmware (firmware/sound_test.cpp).
#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "common/sound/psg_sound_state.h"
#include "psg_test_support.h"

namespace {

using Frame = std::pair<int16_t, int16_t>;

// Frames as the audio side receives them: left then right, low byte first.
std::vector<Frame> Frames(const uint8_t* bytes, size_t count) {
    std::vector<Frame> frames;
    for (size_t at = 0; at + 4 <= count; at += 4)
        frames.push_back({static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8),
                          static_cast<int16_t>(bytes[at + 2] | bytes[at + 3] << 8)});
    return frames;
}

class PsgSynthesis : public PsgTest {
   protected:
    void SetUp() override {
        PsgTest::SetUp();
        PSG_Unmute();
        Emul_AdjustSpeed(PSG_SPEED_RESET);
        g_PsgSound.bufferHighIndicator = 0;
        g_PsgSound.bufferLowIndicator = 0;
    }
    // One block of the thread-driven engine, or everything the ring holds.
    static std::vector<Frame> TakeFrames() {
        std::vector<uint8_t> bytes;
        uint8_t buffer[4096];
        while (uint32_t count = PSG_FillBuffer(buffer, sizeof buffer)) {
            bytes.insert(bytes.end(), buffer, buffer + count);
            if (g_PsgSound.threadDriven) break;
        }
        return Frames(bytes.data(), bytes.size());
    }
};

}  // namespace

TEST_F(PsgSynthesis, EnvelopeShapesStepOnceAPeriod) {
    const std::string fall = "FEDCBA9876543210", rise = "0123456789ABCDEF";
    const std::string low(16, '0'), high(16, 'F');
    // Levels after the restart and after each of the next 47 periods.
    const std::string expected[16] = {
        fall + low + low,   fall + low + low,   fall + low + low,   fall + low + low,
        rise + low + low,   rise + low + low,   rise + low + low,   rise + low + low,
        fall + fall + fall, fall + low + low,   fall + rise + fall, fall + high + high,
        rise + rise + rise, rise + high + high, rise + fall + rise, rise + low + low};
    WriteRegister(11, 1);  // 16 microseconds a step
    WriteRegister(8, 0x10);
    WriteRegister(9, 5);
    for (uint8_t shape = 0; shape < 16; ++shape) {
        WriteRegister(13, shape);
        std::string levels;
        for (int step = 0; step < 48; ++step, Run(16)) {
            const uint16_t* level = std::find(PSG_BASE_VOLUME, PSG_BASE_VOLUME + PSG_VOLUME_LEVELS,
                                              g_PsgSound.channels[0].amplitude);
            levels += "0123456789ABCDEF"[level - PSG_BASE_VOLUME];  // NUL when none
        }
        EXPECT_EQ(levels, expected[shape]) << "shape " << int(shape);
    }
    EXPECT_EQ(g_PsgSound.channels[1].amplitude, PSG_BASE_VOLUME[5]) << "not in envelope mode";
}

TEST_F(PsgSynthesis, APeriodShorterThanTheStepTogglesEveryCall) {
    WriteRegister(0, 1);  // 8 microseconds a half period
    for (int call = 0; call < 4; ++call) {
        uint8_t before = g_PsgSound.channels[0].toneOutput;
        PSG_Update(12);
        EXPECT_NE(g_PsgSound.channels[0].toneOutput, before);
        EXPECT_LE(g_PsgSound.channels[0].counter, 8);
    }
}

TEST_F(PsgSynthesis, EventsComeOnTheirMicrosecond) {
    // A toggle, a noise step, an envelope step and a frame each fall on a known call of
    // one microsecond; time in between may be counted late, events never.
    WriteRegister(0, 3);  // 24 microseconds a half period
    WriteRegister(6, 1);  // a noise step every 16
    WriteRegister(8, 0x10);
    WriteRegister(11, 1);  // an envelope step every 16
    WriteRegister(13, 0x0C);
    g_PsgSound.sampleAccumulator = 1000000 - 3 * 44100;  // the first frame is 3 calls away
    std::vector<int> toggles, noiseSteps, envelopeSteps, frames;
    for (int call = 1; call <= 100; ++call) {
        uint8_t tone = g_PsgSound.channels[0].toneOutput;
        uint32_t noise = g_PsgSound.noiseShiftRegister;
        uint16_t amplitude = g_PsgSound.channels[0].amplitude;
        uint32_t written = g_PsgSound.ringWrite;
        PSG_Update(1);
        if (g_PsgSound.channels[0].toneOutput != tone) toggles.push_back(call);
        if (g_PsgSound.noiseShiftRegister != noise) noiseSteps.push_back(call);
        if (g_PsgSound.channels[0].amplitude != amplitude) envelopeSteps.push_back(call);
        if (g_PsgSound.ringWrite != written) frames.push_back(call);
    }
    EXPECT_EQ(toggles, (std::vector<int>{1, 24, 48, 72, 96}));
    EXPECT_EQ(noiseSteps, (std::vector<int>{1, 16, 32, 48, 64, 80, 96}));
    EXPECT_EQ(envelopeSteps, (std::vector<int>{16, 32, 48, 64, 80, 96}));
    EXPECT_EQ(frames, (std::vector<int>{3, 26, 49, 72, 94}));
}

TEST_F(PsgSynthesis, RingLevelFeedbackAndCopy) {
    for (uint32_t i = 0; i < PSG_SAMPLE_RING_BYTES; ++i)
        g_PsgSound.sampleRing[i] = static_cast<uint8_t>(i * 7);
    struct Case {
        uint32_t read, write, size, copied, readAfter;
        int correction;
        uint8_t highBefore, high, low;
    };
    const Case cases[] = {
        {100, 100, 4096, 0, 100, -15, 0, 0, 2},        // empty: low, then empty
        {0, 30000, 4096, 4096, 4096, 5, 0, 1, 0},      // high
        {0, 30000, 4096, 4096, 4096, 5, 2, 2, 0},      // a full mark stays
        {30000, 10000, 4096, 4096, 1328, 0, 0, 0, 0},  // middle band; wraps round
        {32000, 1000, 4096, 1768, 1000, -5, 0, 0, 1},  // low; all of it, wrapping
        {32760, 0, 4096, 8, 0, -5, 0, 0, 1},           // up to the end of the ring
    };
    for (const Case& c : cases) {
        Emul_AdjustSpeed(PSG_SPEED_RESET);
        g_PsgSound.bufferHighIndicator = c.highBefore;
        g_PsgSound.bufferLowIndicator = 0;
        g_PsgSound.ringRead = c.read;
        g_PsgSound.ringWrite = c.write;
        uint8_t buffer[4096] = {};
        EXPECT_EQ(PSG_FillBuffer(buffer, c.size), c.copied) << c.read;
        EXPECT_EQ(g_PsgSound.ringRead, c.readAfter) << c.read;
        EXPECT_EQ(g_PsgSound.speedCorrection, c.correction) << c.read;
        EXPECT_EQ(g_PsgSound.bufferHighIndicator, c.high) << c.read;
        EXPECT_EQ(g_PsgSound.bufferLowIndicator, c.low) << c.read;
        for (uint32_t i = 0; i < c.copied; ++i)
            ASSERT_EQ(buffer[i], static_cast<uint8_t>((c.read + i) % 32768 * 7)) << c.read;
    }

    // Room for two frames; 100 microseconds make four: the rest of the call is dropped and
    // the phase stays where the third frame fell due (69 microseconds in).
    Emul_AdjustSpeed(PSG_SPEED_RESET);
    g_PsgSound.ringRead = 12;
    g_PsgSound.ringWrite = 0;
    PSG_Update(100);
    EXPECT_EQ(g_PsgSound.ringWrite, 8u);
    EXPECT_EQ(g_PsgSound.bufferHighIndicator, 2);
    EXPECT_EQ(g_PsgSound.speedCorrection, 10);
    EXPECT_EQ(g_PsgSound.sampleAccumulator, 69u * 44100 - 3000000);
}

// Both engines from the same register writes: the side each channel is heard on, the
// mixer's plus or minus the amplitude, the envelope's start level, the noise rate (NP
// above 15 too) and the mute flag.
TEST_F(PsgSynthesis, BothEnginesMixAndStepTheNoiseAlike) {
    struct Case {
        uint8_t mixer, a, b, c, shape;  // volumes; an envelope shape, or 0xFF for none
        Frame frame;
    };
    const Case cases[] = {
        {0x3F, 15, 0, 0, 0xFF, {-10920, 0}},  // nothing enabled: -amplitude
        {0x3F, 0, 15, 0, 0xFF, {-10920, -10920}},
        {0x3F, 0, 0, 15, 0xFF, {0, -10920}},
        {0x3E, 15, 0, 0, 0xFF, {10920, 0}},  // a tone of period 0: +amplitude
        {0x3D, 0, 15, 0, 0xFF, {10920, 10920}},
        {0x3B, 0, 0, 15, 0xFF, {0, 10920}},
        {0x1F, 0, 0, 15, 0xFF, {0, -10920}},  // noise with period 0 is off
        {0x3E, 0x10, 0, 0, 0, {10920, 0}},    // decay: level 15 until the first step
        {0x3E, 0x10, 0, 0, 4, {0, 0}},        // attack: level 0
    };
    uint8_t buffer[4096];
    for (bool fastest : {false, true}) {
        SCOPED_TRACE(fastest ? "Fastest" : "Best");
        if (fastest) g_Machine.Type |= CPC_TYPE_THREAD_SOUND;
        PSG_Init();
        WriteRegister(12, 0xFF);  // an envelope step a second
        for (const Case& c : cases) {
            WriteRegister(7, c.mixer);
            WriteRegister(8, c.a);
            WriteRegister(9, c.b);
            WriteRegister(10, c.c);
            if (c.shape != 0xFF) WriteRegister(13, c.shape);
            Run(100);
            std::vector<Frame> frames = TakeFrames();
            ASSERT_EQ(frames.size() == 1024, fastest) << int(c.mixer);
            ASSERT_FALSE(frames.empty());
            for (Frame frame : frames) ASSERT_EQ(frame, c.frame) << int(c.mixer);
        }

        // One step every 16 x 25 microseconds: 58 in a block's 23220, the first at once.
        const uint32_t start = g_PsgSound.noiseShiftRegister;
        WriteRegister(6, 0x19);
        if (fastest)
            TakeFrames();
        else
            Run(23200);
        uint32_t shiftRegister = start;
        uint16_t output = 0;
        int steps = 0;
        for (; shiftRegister != g_PsgSound.noiseShiftRegister && steps < 1000; ++steps)
            PSG_StepNoise(&shiftRegister, &output);
        EXPECT_EQ(steps, fastest ? 58 : 59);

        TakeFrames();
        std::memset(buffer, 0x5A, sizeof buffer);
        PSG_Mute();
        Run(1000);
        EXPECT_EQ(PSG_FillBuffer(buffer, sizeof buffer), fastest ? 4096u : 0u);
        EXPECT_TRUE(std::all_of(buffer, buffer + 4096, [](uint8_t b) { return b == 0x5A; }));
        PSG_Unmute();
    }
    EXPECT_EQ(PSG_FillBuffer(buffer, 102), 100u) << "the whole frames of a smaller buffer";
}

TEST_F(PsgSynthesis, TheRingPassesWholeFramesBetweenTwoThreads) {
    WriteRegister(7, 0x3F);
    WriteRegister(8, 15);  // every frame (-10920, 0), while volume writes go on
    std::atomic<bool> done{false};
    std::vector<uint8_t> taken;
    std::thread audio([&] {
        uint8_t buffer[4096];
        while (!done.load() || g_PsgSound.ringRead != g_PsgSound.ringWrite) {
            uint32_t bytes = PSG_FillBuffer(buffer, sizeof buffer);
            taken.insert(taken.end(), buffer, buffer + bytes);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        WriteRegister(8, 15);
        Run(200);
    }
    done = true;
    audio.join();
    EXPECT_GT(taken.size(), 4000u);
    for (Frame frame : Frames(taken.data(), taken.size())) ASSERT_EQ(frame, Frame(-10920, 0));
}
