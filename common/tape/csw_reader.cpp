// CSW files (version 1 and 2, RLE and Z-RLE) and the CSW pulse data that TZX block 0x18
// holds too. Sample counts become tape time from the start of the run of pulses, so a
// sample rate that does not divide 3.5 MHz never drifts.
#include <zlib.h>

#include <cstring>

#include "common/tape/tape.h"

namespace {

constexpr char kSignature[] = "Compressed Square Wave\x1A";
constexpr size_t kSignatureSize = 23;
constexpr size_t kVersion1DataStart = 0x20;
constexpr size_t kVersion2HeaderSize = 0x34;

uint32_t Le(const uint8_t* p, int bytes) {
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = value << 8 | p[i];
    return value;
}

}  // namespace

bool TAPE_Inflate(const uint8_t* data, size_t size, size_t limit, std::vector<uint8_t>& out) {
    out.clear();
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return false;
    stream.next_in = const_cast<Bytef*>(data);
    stream.avail_in = static_cast<uInt>(size);
    uint8_t chunk[16384];
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = chunk;
        stream.avail_out = sizeof chunk;
        status = inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END) break;
        size_t produced = sizeof chunk - stream.avail_out;
        if (out.size() + produced > limit) {
            status = Z_MEM_ERROR;
            break;
        }
        out.insert(out.end(), chunk, chunk + produced);
        if (status == Z_OK && produced == 0 && stream.avail_in == 0) status = Z_BUF_ERROR;
    }
    inflateEnd(&stream);
    return status == Z_STREAM_END;
}

bool TAPE_AppendCswPulses(const uint8_t* data, size_t size, uint32_t sampleRate, uint64_t start,
                          TAPE_Image& image, uint64_t& end) {
    unsigned __int128 samples = 0;
    auto at = [&](unsigned __int128 count) {
        return start + static_cast<uint64_t>(count * TAPE_TSTATES_PER_SECOND / sampleRate);
    };
    size_t i = 0;
    bool whole = true;
    while (i < size && image.edges.size() < TAPE_MOST_EDGES) {
        uint32_t count = data[i++];
        if (count == 0) {
            if (size - i < 4) {
                whole = false;
                break;
            }
            count = Le(data + i, 4);
            i += 4;
        }
        if (count == 0) continue;  // a pulse of no length is no pulse
        image.edges.push_back(at(samples));
        samples += count;
    }
    end = at(samples);
    return whole;
}

bool TAPE_ReadCsw(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error) {
    image = TAPE_Image{};
    if (size < kVersion1DataStart || std::memcmp(data, kSignature, kSignatureSize) != 0) {
        error = "not a CSW file (no \"Compressed Square Wave\" signature)";
        return false;
    }
    uint8_t major = data[0x17];
    uint32_t rate = 0;
    uint8_t compression = 0, flags = 0;
    size_t dataStart = 0;
    if (major == 1) {
        rate = Le(data + 0x19, 2);
        compression = data[0x1B];
        flags = data[0x1C];
        dataStart = kVersion1DataStart;
    } else if (major == 2) {
        if (size < kVersion2HeaderSize) {
            error = "the CSW header is cut short";
            return false;
        }
        rate = Le(data + 0x19, 4);
        compression = data[0x21];
        flags = data[0x22];
        dataStart = kVersion2HeaderSize + data[0x23];
        if (dataStart > size) {
            error = "the CSW header's extension runs past the end of the file";
            return false;
        }
    } else {
        error = "CSW version " + std::to_string(major) + " is not supported (only 1 and 2)";
        return false;
    }
    if (rate == 0) {
        error = "the CSW sample rate is 0";
        return false;
    }
    const uint8_t* pulses = data + dataStart;
    size_t count = size - dataStart;
    std::vector<uint8_t> inflated;
    if (compression == 2 && major == 2) {
        if (!TAPE_Inflate(pulses, count, TAPE_MOST_EDGES * 5, inflated)) {
            error = "the CSW file's compressed data is broken";
            return false;
        }
        pulses = inflated.data();
        count = inflated.size();
    } else if (compression != 1) {
        error = "unknown CSW compression " + std::to_string(compression);
        return false;
    }
    // The polarity flag gives the level of the first pulse, which starts with an edge.
    image.initialLevel = (flags & 1) ? 0 : 1;
    image.blocks.push_back({0, 0, 0, "CSW recording"});
    if (!TAPE_AppendCswPulses(pulses, count, rate, 0, image, image.length))
        image.warning = "played up to the end of its data, which stops inside a pulse";
    if (image.edges.size() >= TAPE_MOST_EDGES) image.warning = "the tape is too long to play whole";
    return true;
}

bool TAPE_ReadImage(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error) {
    if (size >= kSignatureSize && std::memcmp(data, kSignature, kSignatureSize) == 0)
        return TAPE_ReadCsw(data, size, image, error);
    return TAPE_ReadTzx(data, size, image, error);
}
