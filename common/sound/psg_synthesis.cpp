// Time-driven sound engine.
#include "common/sound/psg_sound_state.h"

// Tones, noise, envelope and samples arrive with the sound engines; until then no sound.
void PSG_UpdateSound(uint8_t) {}
