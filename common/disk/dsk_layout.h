#pragma once
// The layout of a DSK image file, shared by its reader, its writer and the controller that
// reads a sector's ID and status from the track block it keeps: a disk information block,
// then per track a track information block whose sector entries (C, H, R, N, ST1, ST2 and,
// in the extended format, the sector's byte count) precede the sector bytes.
#include <cstddef>

namespace dsk_layout {
constexpr size_t kInfoBlockSize = 0x100;
constexpr size_t kTrackCountOffset = 0x30;
constexpr size_t kSideCountOffset = 0x31;
constexpr size_t kTrackSizeOffset = 0x32;       // standard image: 16 bits
constexpr size_t kTrackSizeTableOffset = 0x34;  // extended image: one byte per track
constexpr size_t kMaxExtendedTracks = kInfoBlockSize - kTrackSizeTableOffset;
constexpr size_t kSectorCountOffset = 0x15;
constexpr size_t kSectorEntriesOffset = 0x18;
constexpr size_t kSectorEntrySize = 8;
constexpr size_t kEntryNOffset = 3;
constexpr size_t kEntrySt2Offset = 5;
constexpr size_t kEntryByteCountOffset = 6;
}  // namespace dsk_layout
