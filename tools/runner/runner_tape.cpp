// The runner's tape deck handling. The machine is held whenever these touch the deck.
#include "tools/runner/runner_tape.h"

#include <vector>

#include "common/machine/machine.h"
#include "common/tape/tape.h"
#include "platform/tape_files.h"
#include "tools/runner/key_script.h"

bool Runner_InsertTape(const RunnerOptions& options, std::string& error, std::string& warning) {
    if (!options.tape.empty()) {
        TAPE_Image image;
        if (!PAL_ReadTapeFile(options.tape, image, error)) {
            error = "--tape: " + error;
            return false;
        }
        warning = image.warning;
        // The tape's information blocks are told where the user sees them.
        for (const std::string& text : image.texts)
            warning += (warning.empty() ? "" : "\n") + std::string("the tape says: ") + text;
        TAPE_Insert(std::move(image));
        TAPE_SetPlaying(true);
    }
    if (!options.tapeRecord.empty()) TAPE_StartRecording();
    return true;
}

bool Runner_FinishTapeRecording(const RunnerOptions& options, std::string& error) {
    if (options.tapeRecord.empty()) return true;
    if (!PAL_WriteTapeRecording(options.tapeRecord, TAPE_StopRecording(), error)) {
        error = "--tape-record: " + error;
        return false;
    }
    return true;
}

namespace {

bool TypeText(RunnerMachine& machine, const std::string& text) {
    std::vector<KeyStroke> strokes;
    std::string error;
    return Runner_ParseTypedText(text, strokes, error) && Runner_Type(machine, strokes);
}

}  // namespace

AutorunResult Runner_AutorunTape(RunnerMachine& machine, uint8_t type, uint64_t timeoutMicroseconds,
                                 std::string& message) {
    if (!Runner_RunUntilText(machine, "Ready", timeoutMicroseconds)) {
        message = "--autorun: \"Ready\" was not on the screen in time";
        return AutorunResult::RunEnded;
    }
    std::string command = (type & CPC_TYPE_DISK) ? "|TAPE\\nRUN\"\\n" : "RUN\"\\n";
    if (!TypeText(machine, command)) {
        message = "--autorun: the machine did not take the command in";
        return AutorunResult::RunEnded;
    }
    if (!Runner_RunUntilText(machine, "Press PLAY", timeoutMicroseconds)) {
        message = "--autorun: the firmware did not ask for PLAY in time";
        return AutorunResult::RunEnded;
    }
    // The firmware empties the key buffer once the prompt shows.
    constexpr uint64_t kAfterPrompt = 300000;
    if (!Runner_Run(machine, kAfterPrompt) || !TypeText(machine, " ")) {
        message = "--autorun: the machine did not take the key in";
        return AutorunResult::RunEnded;
    }
    message = (type & CPC_TYPE_DISK) ? "|TAPE, RUN\" and a key" : "RUN\" and a key";
    return AutorunResult::Typed;
}
