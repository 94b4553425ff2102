// Loading and saving the machine as a snapshot: a file is read and checked in full before
// the machine changes, and the machine is written as one whole file.
#include "common/machine/snapshot.h"

#include <cstring>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/machine/snapshot_internal.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"
#include "common/z80/z80.h"

namespace {

uint8_t RunningModel() {
    return static_cast<uint8_t>(g_Machine.Type & ~CPC_TYPE_SPEED_BITS);
}

// Our chunk holds the counters of one CRTC variant and one sound engine: it continues the
// machine exactly only in the speed mode it was saved in.
bool OwnStateFits(const SNA_Image& image) {
    if (image.ownState.size() != SNA_OwnStateSize()) return false;
    if (image.ownState[4] == g_Machine.Type) return true;
    XT_Trace("SNA: saved in the other speed mode: the registers are loaded, not the counters");
    return false;
}

}  // namespace

void SNA_Apply(Z80_State* state, const SNA_Image& image) {
    CPC_Machine& m = g_Machine;
    const uint8_t running = state->running;
    const uint8_t stopReason = state->stopReason;
    Z80_Reset(state);
    state->running = running;
    state->stopReason = stopReason;
    for (size_t block = 0; block < 8; ++block) {
        uint8_t* page = block < 4 ? m.baseRam[block] : m.extraRam[block - 4];
        if (page && (block + 1) * CPC_PAGE_SIZE <= image.ram.size())
            std::memcpy(page, image.ram.data() + block * CPC_PAGE_SIZE, CPC_PAGE_SIZE);
    }
    SNA_ApplyHeader(state, image.header);
    if (OwnStateFits(image)) SNA_LoadOwnState(state, image.ownState.data());
    uint8_t* frame = PAL_GetFrameBuffer();
    if (frame && image.frame.size() == PAL_FRAME_BUFFER_SIZE)
        std::memcpy(frame, image.frame.data(), PAL_FRAME_BUFFER_SIZE);
}

bool SNA_ReadFile(const char* path, uint8_t runningModel, SNA_Image* image, std::string* error) {
    std::string bytes, problem;
    if (!PAL_ReadWholeFile(path, SNA_MAX_FILE_SIZE, bytes, problem)) {
        *error = problem;
        return false;
    }
    if (!SNA_Parse(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), runningModel,
                   image, &problem)) {
        *error = std::string(path) + ": " + problem;
        return false;
    }
    return true;
}

bool SNA_LoadFile(Z80_State* state, const char* path, std::string* error) {
    SNA_Image image;
    if (!SNA_ReadFile(path, RunningModel(), &image, error)) return false;
    if (image.model != RunningModel()) {
        *error = std::string(path) + ": a snapshot of a " + SNA_ModelName(image.model) +
                 "; the machine is a " + SNA_ModelName(RunningModel());
        return false;
    }
    SNA_Apply(state, image);
    return true;
}

bool SNA_SaveFile(Z80_State* state, const char* path, std::string* error) {
    std::vector<uint8_t> file = SNA_Build(state);
    return PAL_WriteFileAtomically(path, file.data(), file.size(), *error);
}
