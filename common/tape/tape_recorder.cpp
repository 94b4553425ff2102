// The recorder's CDT file. The firmware writes a record as a pilot of equal pulses, a short
// sync bit, then bits of two pulses each (short for 0, twice as long for 1). A stretch of
// signal that reads that way becomes a turbo speed data block with its measured timings;
// anything else is kept pulse by pulse, to the microsecond, in CSW recording blocks.
#include <zlib.h>

#include <cmath>

#include "common/tape/tape.h"

namespace {

constexpr uint64_t kGapMicroseconds = 5000;  // longer than any pulse of a record
constexpr size_t kLeastPilots = 256;
constexpr size_t kMostStrayPulses = 4;  // before the pilot, as the motor starts
constexpr size_t kMostPilots = 65535;
constexpr uint32_t kCswRate = 1000000;  // a sample per microsecond: the machine's own time
constexpr uint32_t kMostPause = 65535;
constexpr uint64_t kClosingPulse = 1000;

void Put(std::vector<uint8_t>& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

uint32_t TStates(double microseconds) {
    return static_cast<uint32_t>(std::lround(microseconds * 3.5));
}

struct Record {
    double pilot = 0, sync1 = 0, sync2 = 0, zero = 0, one = 0;
    size_t pilots = 0;
    std::vector<uint8_t> bytes;
    uint8_t usedBits = 8;
};

bool Near(uint64_t pulse, double reference) {
    return pulse >= reference * 0.75 && pulse <= reference * 1.25;
}

// Reads pulses as a firmware record; false when they do not read cleanly.
bool Decode(const uint64_t* q, size_t count, Record& record) {
    size_t start = 0;
    while (start <= kMostStrayPulses && start + kLeastPilots <= count) {
        double reference = static_cast<double>(q[start + kLeastPilots / 2]);
        bool pilot = true;
        for (size_t i = start; i < start + kLeastPilots && pilot; ++i)
            pilot = Near(q[i], reference);
        if (pilot) break;
        ++start;
    }
    if (start > kMostStrayPulses || start + kLeastPilots > count) return false;
    double sum = 0;
    size_t i = start;
    while (i < count && (i == start || Near(q[i], sum / static_cast<double>(i - start))))
        sum += q[i++];
    record.pilots = i - start;
    record.pilot = sum / static_cast<double>(record.pilots);
    if (record.pilots > kMostPilots || i + 2 > count) return false;
    const double threshold = record.pilot * 0.75, longest = record.pilot * 1.5;
    if (q[i] >= threshold || q[i + 1] >= threshold) return false;
    record.sync1 = static_cast<double>(q[i]);
    record.sync2 = static_cast<double>(q[i + 1]);
    i += 2;
    double zeros = 0, ones = 0;
    size_t zeroCount = 0, oneCount = 0, bits = 0;
    for (; i + 1 < count; i += 2) {
        bool firstLong = q[i] >= threshold, secondLong = q[i + 1] >= threshold;
        if (firstLong != secondLong || q[i] > longest || q[i + 1] > longest) return false;
        if (bits % 8 == 0) record.bytes.push_back(0);
        if (firstLong) {
            record.bytes.back() |= static_cast<uint8_t>(0x80 >> (bits % 8));
            ones += static_cast<double>(q[i] + q[i + 1]);
            oneCount += 2;
        } else {
            zeros += static_cast<double>(q[i] + q[i + 1]);
            zeroCount += 2;
        }
        ++bits;
    }
    if (bits < 8) return false;
    record.usedBits = static_cast<uint8_t>(bits % 8 ? bits % 8 : 8);
    record.zero = zeroCount ? zeros / static_cast<double>(zeroCount) : record.pilot / 2;
    record.one = oneCount ? ones / static_cast<double>(oneCount) : record.pilot;
    return true;
}

void PutTurbo(std::vector<uint8_t>& out, const Record& r, uint64_t gap) {
    out.push_back(0x11);
    Put(out, TStates(r.pilot), 2);
    Put(out, TStates(r.sync1), 2);
    Put(out, TStates(r.sync2), 2);
    Put(out, TStates(r.zero), 2);
    Put(out, TStates(r.one), 2);
    Put(out, r.pilots, 2);
    out.push_back(r.usedBits);
    uint64_t pause = (gap + 500) / 1000;
    Put(out, pause > kMostPause ? kMostPause : pause, 2);
    Put(out, r.bytes.size(), 3);
    out.insert(out.end(), r.bytes.begin(), r.bytes.end());
}

void PutCsw(std::vector<uint8_t>& out, const std::vector<uint64_t>& pulses) {
    std::vector<uint8_t> rle;
    for (uint64_t pulse : pulses) {
        if (pulse > 0 && pulse < 256) {
            rle.push_back(static_cast<uint8_t>(pulse));
        } else {
            rle.push_back(0);
            Put(rle, pulse > UINT32_MAX ? UINT32_MAX : pulse, 4);
        }
    }
    uLongf packedSize = compressBound(static_cast<uLong>(rle.size()));
    std::vector<uint8_t> packed(packedSize);
    bool zipped = compress2(packed.data(), &packedSize, rle.data(), static_cast<uLong>(rle.size()),
                            9) == Z_OK;
    if (!zipped) {  // only without memory; the data then goes uncompressed
        packed = rle;
        packedSize = static_cast<uLongf>(rle.size());
    }
    out.push_back(0x18);
    Put(out, 10 + uint64_t{packedSize}, 4);
    Put(out, 0, 2);  // no pause: what follows is part of the pulses
    Put(out, kCswRate, 3);
    out.push_back(zipped ? 2 : 1);
    Put(out, pulses.size(), 4);
    out.insert(out.end(), packed.begin(), packed.begin() + static_cast<ptrdiff_t>(packedSize));
}

}  // namespace

std::vector<uint8_t> TAPE_EncodeRecording(const std::vector<uint64_t>& edges) {
    std::vector<uint8_t> out{'Z', 'X', 'T', 'a', 'p', 'e', '!', 0x1A, 1, 20};
    // The silence before the first edge: the firmware lets the motor start before it writes,
    // and waits as long before it reads, so the pilot must not move up to the tape's start.
    uint64_t lead = edges.empty() ? 0 : (edges[0] + 500) / 1000;
    if (lead > 0) {
        out.push_back(0x20);
        Put(out, lead > kMostPause ? kMostPause : lead, 2);
    }
    std::vector<uint64_t> pulses;
    for (size_t i = 1; i < edges.size(); ++i) pulses.push_back(edges[i] - edges[i - 1]);

    std::vector<uint64_t> raw;  // pulses not yet written, kept for a CSW block
    size_t i = 0;
    while (i < pulses.size()) {
        size_t end = i;
        while (end < pulses.size() && pulses[end] <= kGapMicroseconds) ++end;
        uint64_t gap = end < pulses.size() ? pulses[end] : 0;
        Record record;
        if (Decode(pulses.data() + i, end - i, record)) {
            if (!raw.empty()) PutCsw(out, raw);
            raw.clear();
            PutTurbo(out, record, gap);
        } else {
            raw.insert(raw.end(), pulses.begin() + static_cast<ptrdiff_t>(i),
                       pulses.begin() + static_cast<ptrdiff_t>(end));
            if (end < pulses.size()) raw.push_back(gap);
        }
        i = end + 1;
    }
    if (!raw.empty()) {
        // A pulse after the last edge, so that it is played as an edge too.
        raw.push_back(kClosingPulse);
        PutCsw(out, raw);
    }
    return out;
}
