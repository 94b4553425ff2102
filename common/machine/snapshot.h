#pragma once
// SNA snapshot files: the whole machine in the format CPC programs share. Versions 1 to 3
// are read, version 3 is written. What the format has no field for (the precise CRTC's
// and the sound engines' counters, the controller's phase, the key queue, the processor's
// internals, the picture being drawn) goes in chunks of our own that other programs skip,
// so that a snapshot saved and loaded here continues exactly as the machine would have.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct Z80_State;

constexpr size_t SNA_HEADER_SIZE = 256;
constexpr size_t SNA_BLOCK_SIZE = 65536;  // one 64 KB block of RAM
// Refused beyond this: no snapshot of a CPC machine this program runs is so big.
constexpr size_t SNA_MAX_FILE_SIZE = 4u << 20;

// A snapshot file read and checked in full, ready to be applied.
struct SNA_Image {
    uint8_t header[SNA_HEADER_SIZE] = {};
    uint8_t model = 0;              // CPC_MODEL_* the snapshot runs on
    std::vector<uint8_t> ram;       // 64 or 128 KB
    std::vector<uint8_t> ownState;  // our machine state chunk; empty when absent or unusable
    std::vector<uint8_t> frame;     // the frame buffer; empty when absent
};

// Checks the bytes of a snapshot file and fills image. runningModel (CPC_MODEL_*) is
// taken for a version 1 file, which does not say its model, when its memory fits.
// On failure error says what is wrong and image is unusable.
bool SNA_Parse(const uint8_t* data, size_t size, uint8_t runningModel, SNA_Image* image,
               std::string* error);
// "CPC 6128" and the like, for messages.
const char* SNA_ModelName(uint8_t model);

// On the emulation thread, while no instruction runs. The snapshot file of the machine.
std::vector<uint8_t> SNA_Build(Z80_State* state);
// Puts the machine in the snapshot's state; image.model must be the running model. The
// processor keeps its running flag, its breakpoints and its stop reason.
void SNA_Apply(Z80_State* state, const SNA_Image& image);

// Files, named in every message. SNA_ReadFile works on any thread; the others on the
// emulation thread, while no instruction runs. SNA_LoadFile refuses a snapshot of another
// model than the running one and then leaves the machine untouched, as on any failure.
bool SNA_ReadFile(const char* path, uint8_t runningModel, SNA_Image* image, std::string* error);
bool SNA_LoadFile(Z80_State* state, const char* path, std::string* error);
bool SNA_SaveFile(Z80_State* state, const char* path, std::string* error);
