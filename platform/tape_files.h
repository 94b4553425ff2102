#pragma once
// Tape files on the host: reading a CDT/TZX or CSW file into a tape, writing a recording
// as a CDT file (atomically: a new file beside it, then renamed over it), and the desktop's
// one-call insertion.
#include <cstdint>
#include <string>
#include <vector>

#include "common/tape/tape.h"

// False with error naming the file (and the block) when it cannot be played at all.
bool PAL_ReadTapeFile(const std::string& path, TAPE_Image& image, std::string& error);
bool PAL_WriteTapeRecording(const std::string& path, const std::vector<uint64_t>& edges,
                            std::string& error);

// Reads the file and hands the tape to the deck with PLAY down (from any thread; the
// emulation thread takes it between instructions), remembering it in the settings file.
// Returns an error text, empty when the tape goes in; a tape played only up to a bad block
// goes in, and PAL_TapeWarning then says why.
std::string PAL_InsertTapeFile(const char* path);
std::string PAL_TapeWarning();
// The file of the tape in the deck, empty for none; PAL_EjectTape forgets it.
std::string PAL_TapePath();
void PAL_EjectTape();
// The names of the blocks of the tape in the deck (the block list).
std::vector<std::string> PAL_TapeBlockNames();
// Arms recording into path; the file is written when recording ends
// (TAPE_RequestKind::StopRecording, or another recording). PAL_TapeRecordingError says
// what went wrong with the last write, empty when it was written.
void PAL_ArmTapeRecording(const char* path);
std::string PAL_TapeRecordingError();
