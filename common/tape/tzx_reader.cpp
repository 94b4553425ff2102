// TZX/CDT files (version 1): every block the CPC's tapes use is turned into edges; the
// information blocks into texts. A bad block ends the tape there, with a warning naming it.
#include <cstdio>
#include <cstring>

#include "common/tape/tape.h"

namespace {

constexpr char kSignature[] = "ZXTape!\x1A";
constexpr size_t kHeaderSize = 10;
constexpr uint32_t kTStatesPerMillisecond = 3500;
constexpr size_t kCpcHeaderSize = 64;
constexpr uint64_t kMostWork = 64u * 1024 * 1024;
constexpr uint8_t kCpcHeaderSync = 0x2C;

// The ZX Spectrum ROM's timings of block 0x10.
constexpr uint16_t kRomPilot = 2168, kRomSync1 = 667, kRomSync2 = 735, kRomZero = 855,
                   kRomOne = 1710, kRomHeaderPilots = 8063, kRomDataPilots = 3223;

struct Reader {
    const uint8_t* data;
    size_t size;
    size_t at;
    bool Has(size_t n) const { return n <= size && at <= size - n; }
    uint32_t Le(size_t offset, int bytes) const {
        uint32_t value = 0;
        for (int i = bytes - 1; i >= 0; --i) value = value << 8 | data[at + offset + i];
        return value;
    }
};

// Builds edges: a pulse starts with an edge; a pause ends the last pulse and stays low.
struct Signal {
    TAPE_Image& image;
    uint64_t time = 0;
    uint8_t level = 0;
    bool full = false;

    void Edge() {
        if (image.edges.size() >= TAPE_MOST_EDGES) {
            full = true;
            return;
        }
        // Two edges at one time cancel out, as when a stop or a set level meets a pulse.
        if (!image.edges.empty() && image.edges.back() == time)
            image.edges.pop_back();
        else
            image.edges.push_back(time);
        level ^= 1;
    }
    // Counts work that may make no edges (pulses of no length, samples at one level), so
    // that a file looping over such blocks still ends.
    uint64_t work = 0;
    void Work(uint64_t amount) {
        work += amount;
        if (work > kMostWork) full = true;
    }
    void Repeat(uint32_t count, uint32_t length) {
        for (uint32_t i = 0; i < count && !full; ++i) Pulse(length);
    }
    void Pulse(uint32_t length) {
        Work(1);
        if (length == 0) return;  // a pulse of no length would be two edges at one time
        Edge();
        time += length;
    }
    void SetLevel(uint8_t wanted) {
        if (level != wanted) Edge();
    }
    void Pause(uint32_t milliseconds) {
        if (milliseconds == 0) return;
        SetLevel(0);
        time += uint64_t{milliseconds} * kTStatesPerMillisecond;
    }
    void Bits(const uint8_t* bytes, uint32_t count, uint8_t usedBits, uint16_t zero, uint16_t one) {
        for (uint32_t i = 0; i < count && !full; ++i) {
            int bits = (i + 1 == count && usedBits >= 1 && usedBits <= 8) ? usedBits : 8;
            for (int b = 0; b < bits; ++b) {
                uint16_t length = (bytes[i] << b & 0x80) ? one : zero;
                Pulse(length);
                Pulse(length);
            }
        }
    }
};

std::string Printable(const uint8_t* bytes, size_t n) {
    std::string text;
    for (size_t i = 0; i < n; ++i) {
        uint8_t c = bytes[i];
        text += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : (c == 0x0D ? ' ' : '.');
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
    return text;
}

// A CPC firmware record's name: header records carry the file's name and block number.
std::string DataName(const uint8_t* bytes, uint32_t count) {
    if (count >= 1 + kCpcHeaderSize && bytes[0] == kCpcHeaderSync)
        return "CPC header " + Printable(bytes + 1, 16) + " block " + std::to_string(bytes[17]);
    if (count >= 1 && bytes[0] == 0x16) return "CPC data";
    return "data";
}

struct FileBlock {
    uint8_t id;
    const uint8_t* body;
    size_t length;
};

uint32_t Le(const uint8_t* p, int bytes) {
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = value << 8 | p[i];
    return value;
}

// The length of a block's body after its ID, from its first bytes; false when they are
// missing. Unknown IDs have a 32-bit length first, as every extension block of the format.
bool BodyLength(uint8_t id, const Reader& r, size_t& length) {
    auto has = [&](size_t n) { return r.Has(n); };
    auto le = [&](size_t offset, int bytes) { return size_t{r.Le(offset, bytes)}; };
    switch (id) {
        case 0x10: return has(4) && (length = 4 + le(2, 2), true);
        case 0x11: return has(18) && (length = 18 + le(15, 3), true);
        case 0x12: length = 4; return true;
        case 0x13: return has(1) && (length = 1 + 2 * le(0, 1), true);
        case 0x14: return has(10) && (length = 10 + le(7, 3), true);
        case 0x15: return has(8) && (length = 8 + le(5, 3), true);
        case 0x20:
        case 0x23:
        case 0x24: length = 2; return true;
        case 0x21:
        case 0x30: return has(1) && (length = 1 + le(0, 1), true);
        case 0x22:
        case 0x25:
        case 0x27: length = 0; return true;
        case 0x26: return has(2) && (length = 2 + 2 * le(0, 2), true);
        case 0x28:
        case 0x32: return has(2) && (length = 2 + le(0, 2), true);
        case 0x31: return has(2) && (length = 2 + le(1, 1), true);
        case 0x33: return has(1) && (length = 1 + 3 * le(0, 1), true);
        case 0x35: return has(20) && (length = 20 + le(16, 4), true);
        case 0x5A: length = 9; return true;
        case 0x34: length = 8; return true;                         // emulation information
        case 0x40: return has(4) && (length = 4 + le(1, 3), true);  // snapshot
        default: return has(4) && (length = 4 + le(0, 4), true);
    }
}

class Player {
   public:
    Player(TAPE_Image& image) : image_(image) {}
    // Plays the blocks; false with error_ naming the block that stopped it.
    bool Run(const std::vector<FileBlock>& blocks);
    std::string error_;

   private:
    bool Walk(const std::vector<FileBlock>& blocks);
    bool Play(const FileBlock& block, std::string& name);
    bool Generalized(const uint8_t* body, size_t length);
    bool Fail(const char* what) {
        error_ = what;
        return false;
    }

    TAPE_Image& image_;
    Signal signal_{image_};
    size_t next_ = 0;
    size_t loopStart_ = 0;
    uint32_t loopLeft_ = 0;
    size_t callBase_ = 0;
    std::vector<int16_t> calls_;
    size_t callIndex_ = 0;
};

bool Player::Run(const std::vector<FileBlock>& blocks) {
    bool played = Walk(blocks);
    image_.length = signal_.time;
    return played;
}

bool Player::Walk(const std::vector<FileBlock>& blocks) {
    std::vector<uint8_t> listed(blocks.size(), 0);
    uint32_t visits = 0;
    while (next_ < blocks.size()) {
        size_t index = next_++;
        if (++visits > TAPE_MOST_BLOCK_VISITS)
            error_ = "loops without end";
        else if (signal_.full)
            error_ = "the tape is too long to play";
        TAPE_Block entry{
            blocks[index].id, signal_.time, static_cast<uint32_t>(image_.edges.size()), {}};
        if (!error_.empty() || !Play(blocks[index], entry.name)) {
            char id[8];
            std::snprintf(id, sizeof id, "%02X", blocks[index].id);
            error_ = "block " + std::to_string(index) + " (ID " + id + "): " + error_;
            return false;
        }
        if (!listed[index]) {
            listed[index] = 1;
            image_.blocks.push_back(std::move(entry));
        }
    }
    return true;
}

bool Player::Play(const FileBlock& block, std::string& name) {
    const uint8_t* b = block.body;
    const size_t n = block.length;
    switch (block.id) {
        case 0x10: {
            const uint8_t* bytes = b + 4;
            uint32_t count = Le(b + 2, 2);
            uint32_t pilots = (count > 0 && bytes[0] < 0x80) ? kRomHeaderPilots : kRomDataPilots;
            signal_.Repeat(pilots, kRomPilot);
            signal_.Pulse(kRomSync1);
            signal_.Pulse(kRomSync2);
            signal_.Bits(bytes, count, 8, kRomZero, kRomOne);
            signal_.Pause(Le(b, 2));
            name = DataName(bytes, count);
            return true;
        }
        case 0x11: {
            signal_.Repeat(Le(b + 10, 2), Le(b, 2));
            signal_.Pulse(Le(b + 2, 2));
            signal_.Pulse(Le(b + 4, 2));
            uint32_t count = Le(b + 15, 3);
            signal_.Bits(b + 18, count, b[12], Le(b + 6, 2), Le(b + 8, 2));
            signal_.Pause(Le(b + 13, 2));
            name = DataName(b + 18, count);
            return true;
        }
        case 0x12:
            signal_.Repeat(Le(b + 2, 2), Le(b, 2));
            name = "tone";
            return true;
        case 0x13:
            for (uint32_t i = 0; i < b[0]; ++i) signal_.Pulse(Le(b + 1 + 2 * i, 2));
            name = "pulses";
            return true;
        case 0x14: {
            uint32_t count = Le(b + 7, 3);
            signal_.Bits(b + 10, count, b[4], Le(b, 2), Le(b + 2, 2));
            signal_.Pause(Le(b + 5, 2));
            name = DataName(b + 10, count);
            return true;
        }
        case 0x15: {
            uint32_t perSample = Le(b, 2), count = Le(b + 5, 3);
            if (perSample == 0) return Fail("samples of no length");
            for (uint32_t i = 0; i < count && !signal_.full; ++i) {
                int bits = (i + 1 == count && b[4] >= 1 && b[4] <= 8) ? b[4] : 8;
                for (int bit = 0; bit < bits; ++bit) {
                    signal_.SetLevel((b[8 + i] << bit & 0x80) ? 1 : 0);
                    signal_.time += perSample;
                    signal_.Work(1);
                }
            }
            signal_.Pause(Le(b + 2, 2));
            name = "direct recording";
            return true;
        }
        case 0x18: {
            if (n < 14) return Fail("too short");
            uint32_t rate = Le(b + 6, 3);
            if (rate == 0) return Fail("a sample rate of 0");
            const uint8_t* pulses = b + 14;
            size_t count = n - 14;
            std::vector<uint8_t> inflated;
            if (b[9] == 2) {
                if (!TAPE_Inflate(pulses, count, TAPE_MOST_EDGES * 5, inflated))
                    return Fail("its compressed data is broken");
                pulses = inflated.data();
                count = inflated.size();
            } else if (b[9] != 1) {
                return Fail("an unknown compression");
            }
            if (!TAPE_AppendCswPulses(pulses, count, rate, signal_.time, image_, signal_.time))
                return Fail("its data ends inside a pulse");
            signal_.Work(count);
            signal_.level = static_cast<uint8_t>(image_.initialLevel ^ (image_.edges.size() & 1));
            signal_.full = image_.edges.size() >= TAPE_MOST_EDGES;
            signal_.Pause(Le(b + 4, 2));
            name = "CSW recording";
            return true;
        }
        case 0x19:
            if (!Generalized(b + 4, n - 4)) return false;
            name = "generalized data";
            return true;
        case 0x20:
            if (Le(b, 2) == 0) {
                signal_.SetLevel(0);
                image_.stops.push_back(signal_.time);
                name = "stop the tape";
            } else {
                signal_.Pause(Le(b, 2));
                name = "pause";
            }
            return true;
        case 0x21: name = "group " + Printable(b + 1, b[0]); return true;
        case 0x22: name = "group end"; return true;
        case 0x23: {
            int16_t jump = static_cast<int16_t>(Le(b, 2));
            size_t self = next_ - 1;
            if ((jump < 0 && size_t(-jump) > self)) return Fail("jumps before the first block");
            next_ = self + jump;
            name = "jump";
            return true;
        }
        case 0x24:
            loopStart_ = next_;
            loopLeft_ = Le(b, 2);
            name = "loop start";
            return true;
        case 0x25:
            if (loopLeft_ > 1) {
                --loopLeft_;
                next_ = loopStart_;
            }
            name = "loop end";
            return true;
        case 0x26: {
            uint32_t count = Le(b, 2);
            if (count == 0) return true;
            calls_.clear();
            for (uint32_t i = 0; i < count; ++i)
                calls_.push_back(static_cast<int16_t>(Le(b + 2 + 2 * i, 2)));
            callBase_ = next_ - 1;
            callIndex_ = 0;
            if (calls_[0] < 0 && size_t(-calls_[0]) > callBase_)
                return Fail("calls before the first block");
            next_ = callBase_ + calls_[0];
            name = "call sequence";
            return true;
        }
        case 0x27:
            if (calls_.empty()) return true;
            if (++callIndex_ < calls_.size()) {
                int16_t call = calls_[callIndex_];
                if (call < 0 && size_t(-call) > callBase_)
                    return Fail("calls before the first block");
                next_ = callBase_ + call;
            } else {
                next_ = callBase_ + 1;
                calls_.clear();
            }
            name = "return";
            return true;
        case 0x2B:
            if (n >= 5) signal_.SetLevel(b[4] ? 1 : 0);
            name = "signal level";
            return true;
        case 0x30:
            name = Printable(b + 1, b[0]);
            image_.texts.push_back(name);
            return true;
        case 0x31:
            name = Printable(b + 2, b[1]);
            image_.texts.push_back(name);
            return true;
        case 0x32: {
            // Text entries: type, length, text.
            size_t at = 3;
            const uint32_t entries = n >= 3 ? b[2] : 0;
            for (uint32_t i = 0; i < entries && at + 2 <= n; ++i) {
                size_t length = b[at + 1];
                if (at + 2 + length > n) break;
                std::string text = Printable(b + at + 2, length);
                if (!name.empty()) name += ", ";
                name += text;
                at += 2 + length;
            }
            if (!name.empty()) image_.texts.push_back(name);
            return true;
        }
        case 0x35: name = "custom " + Printable(b, 16); return true;
        case 0x5A: name = "glue"; return true;
        case 0x28: name = "select block"; return true;
        case 0x2A: name = "stop if in 48K mode"; return true;
        case 0x33: name = "hardware type"; return true;
        default: name = "unknown block, skipped"; return true;
    }
}

// Block 0x19: a pilot and sync table of symbols, then data symbols of a fixed bit count.
bool Player::Generalized(const uint8_t* b, size_t n) {
    if (n < 14) return Fail("too short");
    uint32_t pause = Le(b, 2), totp = Le(b + 2, 4), totd = Le(b + 8, 4);
    uint8_t npp = b[6], npd = b[12];
    uint32_t asp = b[7] ? b[7] : 256, asd = b[13] ? b[13] : 256;
    size_t at = 14;
    auto symbol = [&](const uint8_t* table, uint32_t count, uint8_t pulses, uint32_t which) {
        if (which >= count) return false;
        signal_.Work(1);
        const uint8_t* s = table + which * (1 + 2 * size_t{pulses});
        for (uint8_t p = 0; p < pulses; ++p) {
            uint32_t length = Le(s + 1 + 2 * p, 2);
            if (length == 0) break;
            if (p > 0) {
                signal_.Pulse(length);
                continue;
            }
            // The first pulse's flags: an edge, none, or a level forced low or high.
            switch (s[0] & 3) {
                case 0: signal_.Edge(); break;
                case 1: break;
                case 2: signal_.SetLevel(0); break;
                case 3: signal_.SetLevel(1); break;
            }
            signal_.time += length;
        }
        return true;
    };
    if (totp > 0) {
        size_t table = size_t{asp} * (1 + 2 * size_t{npp});
        if (at + table + 3 * size_t{totp} > n) return Fail("its pilot table runs past the block");
        const uint8_t* symbols = b + at;
        at += table;
        for (uint32_t i = 0; i < totp && !signal_.full; ++i, at += 3) {
            for (uint32_t k = 0, repeat = Le(b + at + 1, 2); k < repeat && !signal_.full; ++k)
                if (!symbol(symbols, asp, npp, b[at]))
                    return Fail("a pilot symbol not in its table");
        }
    }
    if (totd > 0) {
        size_t table = size_t{asd} * (1 + 2 * size_t{npd});
        int bits = 0;
        while ((1u << bits) < asd) ++bits;
        if (at + table > n) return Fail("its data table runs past the block");
        const uint8_t* symbols = b + at;
        at += table;
        uint64_t streamBits = uint64_t{totd} * bits;
        if (at + (streamBits + 7) / 8 > n) return Fail("its data runs past the block");
        for (uint64_t i = 0; i < totd && !signal_.full; ++i) {
            uint32_t value = 0;
            for (int k = 0; k < bits; ++k) {
                uint64_t bit = i * bits + k;
                value = value << 1 | ((b[at + bit / 8] >> (7 - bit % 8)) & 1);
            }
            if (!symbol(symbols, asd, npd, value)) return Fail("a data symbol not in its table");
        }
    }
    signal_.Pause(pause);
    return true;
}

}  // namespace

bool TAPE_ReadTzx(const uint8_t* data, size_t size, TAPE_Image& image, std::string& error) {
    image = TAPE_Image{};
    if (size < kHeaderSize || std::memcmp(data, kSignature, 8) != 0) {
        error = "not a TZX/CDT file (no \"ZXTape!\" signature)";
        return false;
    }
    if (data[8] != 1) {
        error = "TZX version " + std::to_string(data[8]) + " is not supported (only 1.xx)";
        return false;
    }
    std::vector<FileBlock> blocks;
    std::string problem;
    Reader r{data, size, kHeaderSize};
    while (r.at < size) {
        uint8_t id = data[r.at++];
        size_t length = 0;
        if (!BodyLength(id, r, length) || !r.Has(length)) {
            char text[80];
            std::snprintf(text, sizeof text, "block %zu (ID %02X) runs past the end of the file",
                          blocks.size(), id);
            problem = text;
            break;
        }
        blocks.push_back({id, data + r.at, length});
        r.at += length;
    }
    Player player(image);
    if (!player.Run(blocks) && problem.empty()) problem = player.error_;
    if (!problem.empty()) {
        if (image.edges.empty()) {
            error = problem;
            return false;
        }
        image.warning = "played up to " + problem;
    }
    return true;
}
