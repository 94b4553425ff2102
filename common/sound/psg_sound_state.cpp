// The process-wide sound parameters and the pacing feedback of the sample ring.
#include "common/sound/psg_sound_state.h"

#include "common/sound/psg.h"

PSG_SoundState g_PsgSound;

const uint16_t PSG_BASE_VOLUME[PSG_VOLUME_LEVELS] = {
    0, 120, 166, 229, 315, 435, 601, 829, 1145, 1580, 2181, 3010, 4154, 5733, 7912, 10920};

void PSG_ClearChannel(PSG_Channel* channel) {
    channel->frequency = 0;
    channel->counter = 0;
    channel->halfPeriod = 0;
    channel->amplitude = 0;
    channel->toneOutput = 0;
    channel->toneEnabled = 0;
    channel->noiseEnabled = 0;
    channel->envelopeMode = 0;
}

void Emul_AdjustSpeed(int16_t delta) {
    constexpr int LIMIT = 100;
    if (delta == PSG_SPEED_RESET) {
        g_PsgSound.speedCorrection = 0;
        g_PsgSound.correctionSum = 0;
        g_PsgSound.correctionCount = 0;
        return;
    }

    int correction = g_PsgSound.speedCorrection;
    if (delta != 0) {
        correction += delta;
        if (correction > LIMIT) correction = LIMIT;
        if (correction < -LIMIT) correction = -LIMIT;
    } else if (correction > 5) {
        correction -= 5;  // a ring back in its middle band lets the correction decay
    } else if (correction > 0) {
        correction -= 1;
    } else if (correction < -5) {
        correction += 5;
    } else if (correction < 0) {
        correction += 1;
    }
    g_PsgSound.speedCorrection = static_cast<int16_t>(correction);

    if (g_PsgSound.correctionCount == PSG_CORRECTION_AT_LIMIT) return;
    if (correction == LIMIT || correction == -LIMIT) {
        // Once at a limit the status line shows the limit itself, not an average.
        g_PsgSound.correctionCount = PSG_CORRECTION_AT_LIMIT;
        g_PsgSound.correctionSum = correction;
    } else {
        g_PsgSound.correctionSum = g_PsgSound.correctionSum + correction;
        g_PsgSound.correctionCount = g_PsgSound.correctionCount + 1;
    }
}
