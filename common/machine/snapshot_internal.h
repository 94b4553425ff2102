#pragma once
// Pieces of the snapshot code shared by its file format and its machine state chunk.
#include <cstddef>
#include <cstdint>
#include <vector>

struct Z80_State;

// Our machine state chunk: a layout number, the configuration byte, then the fields.
constexpr uint32_t SNA_OWN_STATE_LAYOUT = 1;
constexpr size_t SNA_OWN_STATE_PREFIX = 5;
// Bytes of the chunk this build writes and reads.
size_t SNA_OwnStateSize();
void SNA_SaveOwnState(Z80_State* state, std::vector<uint8_t>* out);
// bytes holds SNA_OwnStateSize() bytes; values out of range are brought into range.
void SNA_LoadOwnState(Z80_State* state, const uint8_t* bytes);

// The run-length code of compressed chunks: 0xE5, count, byte stands for count bytes;
// 0xE5, 0 for one 0xE5.
void SNA_Compress(const uint8_t* data, size_t size, std::vector<uint8_t>* out);
// Fills exactly outSize bytes; false with the problem when the data runs past its end
// or gives another size.
bool SNA_Decompress(const uint8_t* data, size_t size, uint8_t* out, size_t outSize,
                    const char** problem);

// The 256-byte header: every field the format defines, from and into the machine.
void SNA_FillHeader(Z80_State* state, uint8_t* header);
void SNA_ApplyHeader(Z80_State* state, const uint8_t* header);
// The RAM configuration (0-7) the write map shows.
uint8_t SNA_RamConfiguration();
