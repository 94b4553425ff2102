// Snapshot files: reading every version's header, memory and chunks into an image that is
// checked in full before anything of the machine changes, and writing version 3.
#include <cstring>

#include "common/machine/machine.h"
#include "common/machine/snapshot.h"
#include "common/machine/snapshot_internal.h"
#include "common/video/renderer.h"
#include "common/xtools/xtools.h"

namespace {

constexpr char kSignature[] = "MV - SNA";
constexpr size_t kSignatureSize = 8;
constexpr size_t kVersionAt = 0x10;
constexpr size_t kDumpSizeAt = 0x6B;  // KB of memory stored right after the header
constexpr size_t kMachineTypeAt = 0x6D;
constexpr size_t kChunkHeaderSize = 8;
constexpr size_t kMostRam = 2 * SNA_BLOCK_SIZE;
constexpr char kOwnStateChunk[] = "BRLV";
constexpr char kFrameChunk[] = "BRFB";

uint8_t ModelOfMachineType(uint8_t machineType) {
    switch (machineType) {
        case 0: return CPC_MODEL_464;
        case 1: return CPC_MODEL_664;
        default: return CPC_MODEL_6128;
    }
}

size_t RamOf(uint8_t model) {
    return (model & CPC_TYPE_EXTRA_RAM) ? 2 * SNA_BLOCK_SIZE : SNA_BLOCK_SIZE;
}

bool Fail(std::string* error, const std::string& what) {
    if (error) *error = what;
    return false;
}

uint32_t Read32(const uint8_t* at) {
    return at[0] | at[1] << 8 | at[2] << 16 | static_cast<uint32_t>(at[3]) << 24;
}

void Put32(std::vector<uint8_t>* out, uint32_t value) {
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void PutChunk(std::vector<uint8_t>* out, const char* name, const std::vector<uint8_t>& data) {
    out->insert(out->end(), name, name + 4);
    Put32(out, static_cast<uint32_t>(data.size()));
    out->insert(out->end(), data.begin(), data.end());
}

// A memory chunk: MEM0 for the base 64 KB, MEM1 for the second; stored plain when it holds
// exactly 64 KB, compressed otherwise.
bool ReadMemoryChunk(const std::string& name, const uint8_t* data, size_t size, SNA_Image* image,
                     std::string* error) {
    int block = name[3] - '0';
    if (block < 0 || block > 8) return true;  // not a memory chunk after all: skipped
    if (block > 1) return Fail(error, "more RAM than any model has (a memory chunk " + name + ")");
    size_t need = (block + 1) * SNA_BLOCK_SIZE;
    if (image->ram.size() < need) image->ram.resize(need, 0);
    uint8_t* out = image->ram.data() + block * SNA_BLOCK_SIZE;
    if (size == SNA_BLOCK_SIZE) {
        std::memcpy(out, data, size);
        return true;
    }
    const char* problem = nullptr;
    if (!SNA_Decompress(data, size, out, SNA_BLOCK_SIZE, &problem))
        return Fail(error, "the compressed chunk " + name + " " + problem);
    return true;
}

bool ReadChunks(const uint8_t* data, size_t size, size_t at, SNA_Image* image, std::string* error) {
    while (at < size) {
        if (size - at < kChunkHeaderSize)
            return Fail(error, "truncated: a chunk header is cut off after " +
                                   std::to_string(size - at) + " bytes");
        std::string name(reinterpret_cast<const char*>(data + at), 4);
        for (char& c : name)
            if (c < ' ' || c > '~') c = '?';
        uint32_t length = Read32(data + at + 4);
        at += kChunkHeaderSize;
        if (length > size - at)
            return Fail(error, "the chunk " + name + " runs past the end of the file (" +
                                   std::to_string(length) + " bytes, " + std::to_string(size - at) +
                                   " left)");
        const uint8_t* body = data + at;
        at += length;
        if (name.compare(0, 3, "MEM") == 0 && name[3] >= '0' && name[3] <= '8') {
            if (!ReadMemoryChunk(name, body, length, image, error)) return false;
        } else if (name == kOwnStateChunk) {
            bool usable = length == SNA_OwnStateSize() && Read32(body) == SNA_OWN_STATE_LAYOUT;
            if (usable)
                image->ownState.assign(body, body + length);
            else
                XT_Trace("SNA: chunk %s of another layout (%u bytes) ignored", name.c_str(),
                         length);
        } else if (name == kFrameChunk) {
            image->frame.assign(PAL_FRAME_BUFFER_SIZE, 0);
            const char* problem = nullptr;
            if (!SNA_Decompress(body, length, image->frame.data(), image->frame.size(), &problem))
                return Fail(error, "the compressed chunk " + name + " " + problem);
        } else {
            XT_Trace("SNA: unknown chunk %s (%u bytes) skipped", name.c_str(), length);
        }
    }
    return true;
}

}  // namespace

const char* SNA_ModelName(uint8_t model) {
    switch (model) {
        case CPC_MODEL_464: return "CPC 464";
        case CPC_MODEL_464_FDI: return "CPC 464 with disk interface";
        case CPC_MODEL_664: return "CPC 664";
        case CPC_MODEL_6128: return "CPC 6128";
        default: return "CPC of an unknown model";
    }
}

bool SNA_Parse(const uint8_t* data, size_t size, uint8_t runningModel, SNA_Image* image,
               std::string* error) {
    *image = SNA_Image{};
    if (size < SNA_HEADER_SIZE)
        return Fail(error, "truncated: " + std::to_string(size) +
                               " bytes, where a snapshot's header alone has 256");
    if (std::memcmp(data, kSignature, kSignatureSize) != 0)
        return Fail(error, "not a snapshot: it does not start with \"MV - SNA\"");
    std::memcpy(image->header, data, SNA_HEADER_SIZE);
    const uint8_t version = data[kVersionAt];
    if (version < 1 || version > 3)
        return Fail(error, "snapshot version " + std::to_string(version) +
                               " is unknown (versions 1 to 3 are)");
    const size_t dumpKb = data[kDumpSizeAt] | data[kDumpSizeAt + 1] << 8;
    const size_t dump = dumpKb * 1024;
    if (dump > kMostRam)
        return Fail(error, "more RAM than any model has: " + std::to_string(dumpKb) + " KB");
    if (dump % SNA_BLOCK_SIZE != 0)
        return Fail(error, "the header's memory size of " + std::to_string(dumpKb) +
                               " KB is not a whole number of 64 KB blocks");
    if (size - SNA_HEADER_SIZE < dump)
        return Fail(error, "truncated: the header says " + std::to_string(dumpKb) +
                               " KB of memory, the file holds " +
                               std::to_string(size - SNA_HEADER_SIZE) + " bytes after it");
    image->ram.assign(data + SNA_HEADER_SIZE, data + SNA_HEADER_SIZE + dump);
    if (version == 3 && !ReadChunks(data, size, SNA_HEADER_SIZE + dump, image, error)) return false;
    if (image->ram.empty()) return Fail(error, "the snapshot holds no memory");

    if (version == 1) {
        image->model = RamOf(runningModel) >= image->ram.size() ? runningModel : CPC_MODEL_6128;
    } else {
        uint8_t machineType = data[kMachineTypeAt];
        if (machineType > 2)
            return Fail(error, "machine type " + std::to_string(machineType) +
                                   " is not a CPC 464, 664 or 6128");
        image->model = ModelOfMachineType(machineType);
        // Our own chunk tells a 464 with a disk interface from one without.
        if (!image->ownState.empty()) {
            uint8_t model = image->ownState[4] & static_cast<uint8_t>(~CPC_TYPE_SPEED_BITS);
            if (ModelOfMachineType(model & CPC_TYPE_MODEL_MASK) == image->model &&
                (model == CPC_MODEL_464 || model == CPC_MODEL_464_FDI || model == CPC_MODEL_664 ||
                 model == CPC_MODEL_6128))
                image->model = model;
        }
    }
    if (image->ram.size() > RamOf(image->model))
        return Fail(error, "the sizes disagree: " + std::to_string(image->ram.size() / 1024) +
                               " KB of memory for a " + SNA_ModelName(image->model) +
                               ", which has " + std::to_string(RamOf(image->model) / 1024));
    image->ram.resize(RamOf(image->model), 0);
    return true;
}

std::vector<uint8_t> SNA_Build(Z80_State* state) {
    CPC_CatchUpVideo();  // the picture and the counters stand where the processor does
    std::vector<uint8_t> file(SNA_HEADER_SIZE, 0);
    SNA_FillHeader(state, file.data());
    const CPC_Machine& m = g_Machine;
    for (uint8_t* block : m.baseRam) file.insert(file.end(), block, block + CPC_PAGE_SIZE);
    if (m.Type & CPC_TYPE_EXTRA_RAM)
        for (uint8_t* block : m.extraRam) file.insert(file.end(), block, block + CPC_PAGE_SIZE);
    std::vector<uint8_t> chunk;
    SNA_SaveOwnState(state, &chunk);
    PutChunk(&file, kOwnStateChunk, chunk);
    if (const uint8_t* frame = PAL_GetFrameBuffer()) {
        chunk.clear();
        SNA_Compress(frame, PAL_FRAME_BUFFER_SIZE, &chunk);
        PutChunk(&file, kFrameChunk, chunk);
    }
    return file;
}

void SNA_Compress(const uint8_t* data, size_t size, std::vector<uint8_t>* out) {
    constexpr uint8_t kMark = 0xE5;
    for (size_t at = 0; at < size;) {
        size_t run = 1;
        while (at + run < size && run < 255 && data[at + run] == data[at]) ++run;
        if (run > 2 || data[at] == kMark) {
            if (data[at] == kMark && run == 1) {
                out->insert(out->end(), {kMark, 0});
            } else {
                out->insert(out->end(), {kMark, static_cast<uint8_t>(run), data[at]});
            }
            at += run;
        } else {
            out->push_back(data[at++]);
        }
    }
}

bool SNA_Decompress(const uint8_t* data, size_t size, uint8_t* out, size_t outSize,
                    const char** problem) {
    constexpr uint8_t kMark = 0xE5;
    size_t written = 0;
    for (size_t at = 0; at < size;) {
        uint8_t byte = data[at++];
        size_t count = 1;
        if (byte == kMark) {
            if (at >= size) return (*problem = "runs past its end"), false;
            count = data[at++];
            if (count == 0) {
                count = 1;
            } else {
                if (at >= size) return (*problem = "runs past its end"), false;
                byte = data[at++];
            }
        }
        if (count > outSize - written) return (*problem = "unpacks to more than it should"), false;
        std::memset(out + written, byte, count);
        written += count;
    }
    if (written != outSize) return (*problem = "unpacks to fewer bytes than it should"), false;
    return true;
}
