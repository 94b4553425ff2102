// Disk insertion and --autorun for brallivane-run.
#include "tools/runner/runner_disks.h"

#include <vector>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "platform/amsdos_catalog.h"
#include "platform/drive_slots.h"
#include "tools/runner/key_script.h"

bool Runner_InsertDisks(const RunnerOptions& options, std::string& error) {
    for (int drive = 0; drive < 2; ++drive) {
        if (options.writeProtect[drive]) PAL_SetWriteProtect(drive, true, false);
        const std::string& name = options.disks[drive];
        if (name.empty() || PAL_LoadDisk(name.c_str(), drive)) continue;
        error = std::string("drive ") + static_cast<char>('A' + drive) + ": cannot load '" + name +
                "': " + PAL_GetDiskLoadError(drive);
        return false;
    }
    return true;
}

AutorunResult Runner_Autorun(RunnerMachine& machine, uint64_t timeoutMicroseconds,
                             std::string& message) {
    const FDC_Disk* disk = FDC_HostDisk(0);
    std::vector<AmsdosFile> files;
    if (!disk) {
        message = "--autorun: there is no disk in drive A";
        return AutorunResult::BadDisk;
    }
    if (!PAL_ReadAmsdosCatalog(*disk, files)) {
        message = "--autorun: the disk in drive A has no AMSDOS directory";
        return AutorunResult::BadDisk;
    }
    std::string path = PAL_GetDrivePath(0);
    std::string command = PAL_ChooseAutorunCommand(files, path.substr(path.rfind('/') + 1));

    std::string typed;
    for (char c : command) typed += c == '\\' ? "\\\\" : std::string(1, c);
    std::vector<KeyStroke> strokes;
    std::string keyError;
    if (!Runner_ParseTypedText(typed + "\\n", strokes, keyError)) {
        message = "--autorun: cannot type " + command + ": " + keyError;
        return AutorunResult::BadDisk;
    }
    if (!Runner_RunUntilText(machine, "Ready", timeoutMicroseconds)) {
        message = "--autorun: \"Ready\" was not on the screen in time";
        return AutorunResult::RunEnded;
    }
    if (!Runner_Type(machine, strokes)) {
        message = "--autorun: the machine did not take " + command + " in";
        return AutorunResult::RunEnded;
    }
    message = command;
    return AutorunResult::Typed;
}
