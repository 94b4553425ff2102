// Snapshot files from the desktop: read in full on this thread, then applied or written
// on the emulation thread between two of its passes.
#include "common/machine/machine.h"
#include "common/machine/snapshot.h"
#include "desktop/shell.h"

namespace {

struct Job {
    const char* path;
    const SNA_Image* image;  // to apply; none to save
    std::string error;
};

void RunJob(Z80_State* state, void* argument) {
    auto* job = static_cast<Job*>(argument);
    if (job->image)
        SNA_Apply(state, *job->image);
    else
        SNA_SaveFile(state, job->path, &job->error);
}

const char* kEnded = "The emulation has ended: no machine to take the snapshot.";

}  // namespace

std::string Shell_LoadSnapshot(const char* path) {
    EmulControl& control = g_Shell.control;
    const uint8_t speedBits = control.Type & CPC_TYPE_SPEED_BITS;
    SNA_Image image;
    std::string error;
    if (!SNA_ReadFile(path, static_cast<uint8_t>(control.Type & ~CPC_TYPE_SPEED_BITS), &image,
                      &error))
        return error;
    const uint8_t type = static_cast<uint8_t>(image.model | speedBits);
    if (type != control.Type) {
        Win32_ChangeType(type);
        if (control.Type != type) return {};  // not confirmed
    }
    Job job{path, &image, {}};
    if (!Emul_RunOnThread(&control, RunJob, &job)) return kEnded;
    g_Shell.ui.repaint(true);
    return {};
}

std::string Shell_SaveSnapshot(const char* path) {
    Job job{path, nullptr, {}};
    if (!Emul_RunOnThread(&g_Shell.control, RunJob, &job)) return kEnded;
    return job.error;
}
