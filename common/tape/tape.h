#pragma once
// The cassette deck and the tape it plays. A tape is decoded once, when it is inserted,
// into the times of its signal's edges; the deck then only walks that list as CPC time
// passes, and only when the processor looks at the cassette lines (PPI port B bit 7 read,
// port C bits 4-5 written), so a deck costs nothing between those accesses and nothing at
// all without a tape.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Tape time counts T-states of the TZX clock (3.5 MHz): 7 of them every 2 microseconds.
constexpr uint64_t TAPE_TSTATES_PER_SECOND = 3500000;

// One block of a tape file, as the block list shows it.
struct TAPE_Block {
    uint8_t id;          // TZX block ID; 0 for a whole CSW file
    uint64_t start;      // tape time of its first playing, in T-states
    uint32_t firstEdge;  // index of the first edge at or after start
    std::string name;    // what it holds: "CPC header NAME block 1", a text block's text
};

// A decoded tape: the level starts at initialLevel and toggles at every edge.
struct TAPE_Image {
    std::vector<uint64_t> edges;  // ascending tape times of level changes, in T-states
    std::vector<uint64_t> stops;  // ascending tape times at which the tape stops itself
    std::vector<TAPE_Block> blocks;
    uint64_t length = 0;  // tape time of its end
    uint8_t initialLevel = 0;
    std::string warning;             // set when the file was only played up to a bad block
    std::vector<std::string> texts;  // information blocks' texts, in order
};

// Limits that keep a hostile file from taking all memory or time.
constexpr size_t TAPE_MOST_EDGES = 16u * 1024 * 1024;
constexpr uint32_t TAPE_MOST_BLOCK_VISITS = 1u << 20;

// Decoders: false with error set when nothing can be played. A file that goes bad after
// its first blocks is kept up to the bad block, with warning saying why.
bool TAPE_ReadTzx(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error);
bool TAPE_ReadCsw(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error);
// Either, by the file's signature.
bool TAPE_ReadImage(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error);

// Appends the pulses of CSW RLE data (sample counts, a zero byte then 32 bits for long
// ones) at a sample rate to the image, from tape time start; returns the tape time after
// them. False when the data ends inside a pulse's count.
bool TAPE_AppendCswPulses(const uint8_t* data, size_t size, uint32_t sampleRate, uint64_t start,
                          TAPE_Image& image, uint64_t& end);
// Inflates zlib data, at most limit bytes. False on broken data.
bool TAPE_Inflate(const uint8_t* data, size_t size, size_t limit, std::vector<uint8_t>& out);

// The deck: a plain record of numbers, so that a snapshot can hold it whole.
struct TAPE_Deck {
    uint8_t inserted;     // a tape is in the deck
    uint8_t playing;      // PLAY is down: the motor line moves the tape
    uint8_t recording;    // REC is down too: the write line is recorded, nothing is played
    uint8_t motor;        // the motor line (PPI port C bit 4)
    uint8_t level;        // the read line's level at position
    uint8_t writeLevel;   // the write line (port C bit 5)
    uint64_t position;    // tape time in half T-states (7 every microsecond)
    uint64_t lastTime;    // the machine's device time at which position was last brought up
    uint32_t nextEdge;    // the first edge after position
    uint32_t nextStop;    // the first stop after position
    uint64_t recordTime;  // recorded microseconds so far
};

extern TAPE_Deck g_TapeDeck;

// What the host may read while the machine runs.
struct TAPE_Published {
    std::atomic<uint8_t> motorRunning{0};  // the tape moves (motor on, PLAY down)
    std::atomic<uint32_t> seconds{0};      // tape counter: position in seconds
    std::atomic<uint32_t> block{0};        // index of the block at the position
    std::atomic<uint8_t> playing{0};       // PLAY is down
    std::atomic<uint8_t> recording{0};
    // Set by the host: while the tape moves the machine runs unpaced and silent.
    std::atomic<uint8_t> fastLoading{1};
};
extern TAPE_Published g_TapePublished;

// The machine may run unpaced now: fast loading is on and the tape moves.
inline bool TAPE_Unpaced() {
    return g_TapePublished.fastLoading.load(std::memory_order_relaxed) &&
           g_TapePublished.motorRunning.load(std::memory_order_relaxed);
}

// Called by the PPI. The machine's device time is current at port accesses.
uint8_t TAPE_ReadBit();
void TAPE_WritePortC(uint8_t value);

// The host's operations, on the emulation thread or while it is held.
void TAPE_Insert(TAPE_Image&& image);  // takes the image; the deck stops at its start
void TAPE_Eject();
const TAPE_Image* TAPE_CurrentImage();
void TAPE_SetPlaying(bool playing);
// Moves to the start of a block (0 for the tape's start).
void TAPE_SeekBlock(size_t block);
// Arms recording: from now on the write line is kept while the motor runs.
void TAPE_StartRecording();
// Ends recording; the edges recorded, in microseconds of moving tape.
std::vector<uint64_t> TAPE_StopRecording();
// Brings the deck up to the machine's device time (the host calls it before reading).
void TAPE_CatchUp();
// Tape time in T-states at the position.
uint64_t TAPE_PositionTStates();

// The recorder's file: edges in microseconds of moving tape as a CDT image, standard CPC
// data blocks (TZX turbo speed blocks) where the firmware's signal decodes cleanly, CSW
// recording blocks otherwise.
std::vector<uint8_t> TAPE_EncodeRecording(const std::vector<uint64_t>& edges);

// Requests of a host thread, carried out by the emulation thread between instructions
// (TAPE_TakeRequests): the deck itself belongs to that thread.
enum class TAPE_RequestKind { Insert, Eject, Play, Stop, SeekBlock, Record, StopRecording };
void TAPE_Post(TAPE_RequestKind kind, size_t block = 0, TAPE_Image* image = nullptr);
void TAPE_TakeRequests();
// Receives a finished recording on the emulation thread; the host writes it out.
using TAPE_RecordingSink = void (*)(std::vector<uint64_t>&& edges);
void TAPE_SetRecordingSink(TAPE_RecordingSink sink);
