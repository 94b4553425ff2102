#pragma once
// Tapes written for tests from the published formats alone: a CPC file cut into the
// firmware's records (a 64-byte header record and a data record per block of 2 KB, 256-byte
// segments each followed by its inverted CCITT CRC, high byte first, then a trailer of
// ones), played as TZX turbo speed data blocks, or as a CSW version 2 file (Z-RLE).
#include <zlib.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

struct TestTapeTiming {
    uint16_t zero = 583;  // T-states of a 0 bit's pulse (167 us, the firmware's fast speed)
    uint16_t one = 1167;  // and of a 1 bit's pulse; the pilot is made of these
    uint16_t pilots = 4096;
};

struct TestTapeRecord {
    std::vector<uint8_t> bytes;  // sync byte, segments and their CRCs, trailer
    uint16_t pauseMs;
};

inline uint16_t TestTapeCrc(const uint8_t* data, size_t count) {
    uint16_t crc = 0xFFFF;
    for (size_t i = 0; i < count; ++i) {
        crc ^= static_cast<uint16_t>(data[i] << 8);
        for (int k = 0; k < 8; ++k)
            crc = static_cast<uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
    }
    return static_cast<uint16_t>(~crc);
}

inline TestTapeRecord TestTapeMakeRecord(uint8_t sync, std::vector<uint8_t> data, uint16_t pause) {
    data.resize((data.size() + 255) / 256 * 256, 0);
    TestTapeRecord record{{sync}, pause};
    for (size_t at = 0; at < data.size(); at += 256) {
        record.bytes.insert(record.bytes.end(), data.begin() + at, data.begin() + at + 256);
        uint16_t crc = TestTapeCrc(data.data() + at, 256);
        record.bytes.push_back(static_cast<uint8_t>(crc >> 8));
        record.bytes.push_back(static_cast<uint8_t>(crc));
    }
    record.bytes.insert(record.bytes.end(), 4, 0xFF);
    return record;
}

// The records of a file: for each 2 KB block a header record and a data record.
inline std::vector<TestTapeRecord> TestTapeFile(const std::string& name, uint8_t type,
                                                uint16_t address,
                                                const std::vector<uint8_t>& data) {
    std::vector<TestTapeRecord> records;
    for (size_t at = 0, block = 1; at < data.size(); at += 2048, ++block) {
        size_t count = data.size() - at < 2048 ? data.size() - at : 2048;
        std::vector<uint8_t> header(64, 0);
        for (size_t i = 0; i < name.size() && i < 16; ++i)
            header[i] = static_cast<uint8_t>(name[i]);
        uint16_t location = static_cast<uint16_t>(address + at);
        header[16] = static_cast<uint8_t>(block);
        header[17] = at + count == data.size() ? 0xFF : 0;
        header[18] = type;
        header[19] = static_cast<uint8_t>(count);
        header[20] = static_cast<uint8_t>(count >> 8);
        header[21] = static_cast<uint8_t>(location);
        header[22] = static_cast<uint8_t>(location >> 8);
        header[23] = at == 0 ? 0xFF : 0;
        header[24] = static_cast<uint8_t>(data.size());
        header[25] = static_cast<uint8_t>(data.size() >> 8);
        records.push_back(TestTapeMakeRecord(0x2C, header, 20));
        records.push_back(TestTapeMakeRecord(
            0x16, std::vector<uint8_t>(data.begin() + at, data.begin() + at + count), 2000));
    }
    return records;
}

inline void TestTapePut(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
}

// A CDT file: a pause while the motor starts, then a turbo speed block per record.
inline std::string TestTapeCdt(const std::vector<TestTapeRecord>& records, TestTapeTiming t = {}) {
    std::string out = std::string("ZXTape!\x1A\x01\x14", 10);
    out += '\x20';
    TestTapePut(out, 2000, 2);
    for (const TestTapeRecord& r : records) {
        out += '\x11';
        for (uint32_t value : {t.one, t.zero, t.zero, t.zero, t.one, t.pilots})
            TestTapePut(out, value, 2);
        out += '\x08';
        TestTapePut(out, r.pauseMs, 2);
        TestTapePut(out, static_cast<uint32_t>(r.bytes.size()), 3);
        out.append(r.bytes.begin(), r.bytes.end());
    }
    return out;
}

// The same signal as pulse lengths in T-states; a pause is a pulse of its own.
inline std::vector<uint64_t> TestTapePulses(const std::vector<TestTapeRecord>& records,
                                            TestTapeTiming t = {}) {
    std::vector<uint64_t> pulses{2000 * 3500};
    for (const TestTapeRecord& r : records) {
        pulses.insert(pulses.end(), t.pilots, t.one);
        pulses.insert(pulses.end(), 2, t.zero);
        for (uint8_t byte : r.bytes)
            for (int bit = 7; bit >= 0; --bit)
                pulses.insert(pulses.end(), 2, (byte >> bit & 1) ? t.one : t.zero);
        pulses.push_back(uint64_t{r.pauseMs} * 3500);
    }
    return pulses;
}

// A CSW version 2 file of the pulses at a sample rate, Z-RLE.
inline std::string TestTapeCsw(const std::vector<uint64_t>& pulses, uint32_t rate) {
    std::string rle;
    uint64_t time = 0, samples = 0;
    for (uint64_t pulse : pulses) {
        time += pulse;
        uint64_t end =
            static_cast<uint64_t>(std::llround(static_cast<double>(time) * rate / 3500000.0));
        uint64_t count = end - samples;
        samples = end;
        if (count > 0 && count < 256) {
            rle += static_cast<char>(count);
        } else {
            rle += '\0';
            TestTapePut(rle, static_cast<uint32_t>(count), 4);
        }
    }
    uLongf size = compressBound(static_cast<uLong>(rle.size()));
    std::string packed(size, '\0');
    compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
              reinterpret_cast<const Bytef*>(rle.data()), static_cast<uLong>(rle.size()), 6);
    packed.resize(size);
    std::string out = std::string("Compressed Square Wave\x1A\x02\x00", 25);
    TestTapePut(out, rate, 4);
    TestTapePut(out, static_cast<uint32_t>(pulses.size()), 4);
    out += '\x02';  // Z-RLE
    out += '\x00';  // starts low
    out += '\x00';  // no header extension
    out.append(16, '\0');
    return out + packed;
}
