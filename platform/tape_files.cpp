// Tape files on the host. The recording path is shared with the emulation thread, which
// hands a finished recording to the sink below.
#include "platform/tape_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

#include "platform/atomic_file.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"

namespace {

std::mutex g_Mutex;
std::string g_TapePath;
std::string g_Warning;
std::vector<std::string> g_BlockNames;

// The tape in the deck is remembered in the settings, as the disks are.
void RememberTape(const std::string& path) {
    std::string settings = PAL_GetSettingsPath();
    if (!settings.empty())
        PAL_WriteProfileString(PAL_SETTINGS_SECTION, "Tape", path.c_str(), settings.c_str());
}
// The files of the recordings armed and not yet written, oldest first.
std::deque<std::string> g_RecordingPaths;
std::string g_RecordingError;

bool ReadWhole(const std::string& path, std::vector<uint8_t>& bytes, std::string& error) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        bytes.insert(bytes.end(), chunk, chunk + got);
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) error = path + ": cannot be read";
    return !failed;
}

void WriteRecording(std::vector<uint64_t>&& edges) {
    std::string path, error;
    {
        std::lock_guard<std::mutex> lock(g_Mutex);
        if (g_RecordingPaths.empty()) return;
        path = g_RecordingPaths.front();
        g_RecordingPaths.pop_front();
    }
    PAL_WriteTapeRecording(path, edges, error);
    std::lock_guard<std::mutex> lock(g_Mutex);
    g_RecordingError = error;
}

}  // namespace

bool PAL_ReadTapeFile(const std::string& path, TAPE_Image& image, std::string& error) {
    std::vector<uint8_t> bytes;
    if (!ReadWhole(path, bytes, error)) return false;
    std::string problem;
    if (!TAPE_ReadImage(bytes.data(), bytes.size(), image, problem)) {
        error = path + ": " + problem;
        return false;
    }
    if (!image.warning.empty()) image.warning = path + ": " + image.warning;
    return true;
}

bool PAL_WriteTapeRecording(const std::string& path, const std::vector<uint64_t>& edges,
                            std::string& error) {
    std::vector<uint8_t> bytes = TAPE_EncodeRecording(edges);
    std::string why;
    if (PAL_WriteFileAtomically(path, bytes.data(), bytes.size(), why)) return true;
    error = path + ": cannot write the recording: " + why;
    return false;
}

std::string PAL_InsertTapeFile(const char* path) {
    auto image = std::make_unique<TAPE_Image>();
    std::string error;
    if (!path || !PAL_ReadTapeFile(path, *image, error)) return path ? error : "no file named";
    {
        std::lock_guard<std::mutex> lock(g_Mutex);
        g_TapePath = path;
        g_Warning = image->warning;
        g_BlockNames.clear();
        for (const TAPE_Block& block : image->blocks) g_BlockNames.push_back(block.name);
    }
    RememberTape(path);
    TAPE_Post(TAPE_RequestKind::Insert, 0, image.release());
    TAPE_Post(TAPE_RequestKind::Play);  // PLAY down: the firmware's motor now decides
    return {};
}

std::string PAL_TapeWarning() {
    std::lock_guard<std::mutex> lock(g_Mutex);
    return g_Warning;
}

std::string PAL_TapePath() {
    std::lock_guard<std::mutex> lock(g_Mutex);
    return g_TapePath;
}

void PAL_EjectTape() {
    {
        std::lock_guard<std::mutex> lock(g_Mutex);
        g_TapePath.clear();
        g_Warning.clear();
        g_BlockNames.clear();
    }
    RememberTape("");
    TAPE_Post(TAPE_RequestKind::Eject);
}

void PAL_ArmTapeRecording(const char* path) {
    {
        std::lock_guard<std::mutex> lock(g_Mutex);
        g_RecordingPaths.push_back(path ? path : "");
        g_RecordingError.clear();
    }
    TAPE_SetRecordingSink(WriteRecording);
    TAPE_Post(TAPE_RequestKind::Record);
}

std::string PAL_TapeRecordingError() {
    std::lock_guard<std::mutex> lock(g_Mutex);
    return g_RecordingError;
}

std::vector<std::string> PAL_TapeBlockNames() {
    std::lock_guard<std::mutex> lock(g_Mutex);
    return g_BlockNames;
}
