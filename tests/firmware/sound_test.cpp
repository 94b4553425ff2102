// BASIC's SOUND and ENV through both sound engines, measured in the WAV files the runner's
// capture writes.

#include <algorithm>
#include <memory>

#include "common/machine/machine.h"
#include "common/sound/psg_sound_state.h"
#include "firmware_support.h"
#include "sound_analysis.h"
#include "temp_folder.h"
#include "tools/runner/wav_capture.h"

namespace {

// The capture the slice listener feeds, while a sound is being measured.
WavCapture* g_Capture = nullptr;

void AdvanceCapture(uint32_t microseconds) {
    if (g_Capture) WavCapture_Advance(*g_Capture, microseconds);
}

// The configuration's speed bits: 0 for the time-driven engine ("Best"), both for the
// thread-driven one ("Fastest").
class Sound : public FirmwareTest, public ::testing::WithParamInterface<int> {
   protected:
    // Types COMMAND, then captures the sound from the RETURN that starts it on.
    WavSamples Play(const std::string& command) {
        WavSamples samples;
        std::vector<KeyStroke> strokes, enter;
        std::string error;
        EXPECT_TRUE(Runner_ParseTypedText(command, strokes, error)) << error;
        EXPECT_TRUE(Runner_ParseTypedText("\\n", enter, error)) << error;
        EXPECT_TRUE(Runner_Type(machine_, strokes));

        TempFolder folder;
        const std::string path = folder.File("sound.wav");
        auto capture = std::make_unique<WavCapture>();
        EXPECT_TRUE(WavCapture_Open(*capture, path, error)) << error;
        g_Capture = capture.get();
        EXPECT_TRUE(Runner_Type(machine_, enter));
        EXPECT_TRUE(Runner_Run(machine_, 1500 * 1000));
        g_Capture = nullptr;
        EXPECT_TRUE(WavCapture_Close(*capture, error)) << error;
        EXPECT_TRUE(ReadWav(path, samples)) << path;
        return samples;
    }
};

}  // namespace

TEST_P(Sound, TonesNoiseAndEnvelopeFromBasic) {
    Start(static_cast<uint8_t>(CPC_MODEL_6128 | GetParam()));
    if (HasFatalFailure()) return;
    Runner_AddSliceListener(AdvanceCapture);
    TypeAndExpect("", "Ready");

    // Channel 1 is the PSG's channel A, heard on the left only. The PSG divides its 1 MHz
    // clock by 16 x the period.
    for (auto [period, hertz] : {std::pair<int, double>{142, 440}, {284, 220}}) {
        WavSamples wav = Play("SOUND 1," + std::to_string(period) + ",100,7");
        std::vector<size_t> changes = SignChanges(wav.left);
        ASSERT_GT(changes.size(), 100u) << period;
        EXPECT_NEAR(Frequency(changes), hertz, hertz / 100) << period;
        EXPECT_TRUE(std::all_of(wav.right.begin(), wav.right.end(), [](int16_t s) { return !s; }));
    }

    std::vector<size_t> noise = SignChanges(Play("SOUND 1,0,100,7,,,15").left);
    EXPECT_GT(noise.size(), 1000u);
    EXPECT_GT(HalfWaveSpread(noise), 0.5) << "noise, not a tone";

    // Volume 0 climbing one step every 40 ms: the amplitude of each 40 ms window rises
    // through the volume table (at the output's master level, a quarter of it) to 15.
    TypeAndExpect("ENV 1,15,1,4\\n", "Ready");
    WavSamples wav = Play("SOUND 1,142,100,0,1");
    std::vector<size_t> changes = SignChanges(wav.left);
    ASSERT_GT(changes.size(), 100u);
    EXPECT_NEAR(Frequency(changes), 440, 4.4);
    std::vector<int> levels;
    for (size_t from = changes.front(); from + 1764 <= changes.back(); from += 1764) {
        int16_t peak = *std::max_element(wav.left.begin() + from, wav.left.begin() + from + 1764);
        auto level = std::find_if(PSG_BASE_VOLUME, PSG_BASE_VOLUME + PSG_VOLUME_LEVELS,
                                  [peak](uint16_t base) { return base / 4 == peak; });
        ASSERT_NE(level, PSG_BASE_VOLUME + PSG_VOLUME_LEVELS) << "peak " << peak;
        levels.push_back(static_cast<int>(level - PSG_BASE_VOLUME));
    }
    EXPECT_TRUE(std::is_sorted(levels.begin(), levels.end()));
    EXPECT_LE(levels.front(), 2);
    EXPECT_EQ(levels.back(), 15);
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    EXPECT_GE(levels.size(), 10u) << "the level follows the envelope step by step";
}

INSTANTIATE_TEST_SUITE_P(Engines, Sound, ::testing::Values(0, int{CPC_TYPE_SPEED_BITS}));
