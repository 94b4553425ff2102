#pragma once
// Disk images built by the tests: a DSK writer (standard and extended) and AMSDOS DATA disks
// with files, so that loader, controller and firmware tests need no image files.
#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "common/disk/dsk.h"

struct TestSector {
    uint8_t R;
    uint8_t N;                  // standard image: the size is 128 << N
    std::vector<uint8_t> data;  // extended image: its length is the sector's size
};

struct TestImage {
    bool extended = false;
    uint8_t sides = 1;
    std::vector<std::vector<TestSector>> tracks;  // extended: a track without sectors is absent
};

inline void Put16(std::vector<uint8_t>& bytes, size_t at, size_t value) {
    bytes[at] = static_cast<uint8_t>(value);
    bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

inline std::vector<uint8_t> TrackBlock(const std::vector<TestSector>& sectors, bool extended,
                                       size_t size) {
    std::vector<uint8_t> block(size, 0);
    block[0x15] = static_cast<uint8_t>(sectors.size());
    size_t at = 0x100;
    for (size_t j = 0; j < sectors.size(); ++j) {
        uint8_t* entry = &block[0x18 + 8 * j];
        entry[2] = sectors[j].R;
        entry[3] = sectors[j].N;
        if (extended) Put16(block, 0x18 + 8 * j + 6, sectors[j].data.size());
        std::copy(sectors[j].data.begin(), sectors[j].data.end(), block.begin() + at);
        at += extended ? sectors[j].data.size() : size_t{128} << sectors[j].N;
    }
    return block;
}

inline std::vector<uint8_t> BuildDsk(const TestImage& image) {
    std::vector<uint8_t> bytes(0x100, 0);
    std::string signature = image.extended ? "EXTENDED CPC DSK File" : "MV - CPCEMU Disk-File";
    std::copy(signature.begin(), signature.end(), bytes.begin());
    bytes[0x30] = static_cast<uint8_t>(image.tracks.size());
    bytes[0x31] = image.sides;
    std::vector<size_t> sizes;
    size_t largest = 0;
    for (const auto& sectors : image.tracks) {
        size_t size = 0x100;
        for (const TestSector& s : sectors)
            size += image.extended ? s.data.size() : size_t{128} << s.N;
        size = image.extended && sectors.empty() ? 0 : (size + 255) / 256 * 256;
        sizes.push_back(size);
        largest = std::max(largest, size);
    }
    if (!image.extended) Put16(bytes, 0x32, largest);
    for (size_t t = 0; t < image.tracks.size(); ++t) {
        size_t size = image.extended ? sizes[t] : largest;
        if (image.extended) bytes[0x34 + t] = static_cast<uint8_t>(size / 256);
        if (size == 0) continue;
        std::vector<uint8_t> block = TrackBlock(image.tracks[t], image.extended, size);
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
    return bytes;
}

// An AMSDOS file: its name, extension and the bytes on disk (header included, if any).
struct TestFile {
    std::string name, extension;
    std::vector<uint8_t> bytes;
};

// bytes preceded by an AMSDOS header of the given type (0 BASIC, 2 binary).
inline std::vector<uint8_t> WithAmsdosHeader(const TestFile& file, uint8_t type,
                                             const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> header(128, 0);
    std::string name =
        (file.name + "        ").substr(0, 8) + (file.extension + "   ").substr(0, 3);
    std::copy(name.begin(), name.end(), header.begin() + 1);
    header[0x12] = type;
    Put16(header, 0x15, type == 0 ? 0x170 : 0x4000);  // load address
    Put16(header, 0x18, bytes.size());
    Put16(header, 0x40, bytes.size());
    unsigned sum = 0;
    for (int i = 0; i < 67; ++i) sum += header[i];
    Put16(header, 0x43, sum);
    header.insert(header.end(), bytes.begin(), bytes.end());
    return header;
}

// A 40-track DATA disk (sectors C1-C9, interleaved as formatted) holding the files from
// block 2 on, each in user 0 and smaller than 16 KB.
inline TestImage AmsdosDataDisk(const std::vector<TestFile>& files) {
    std::vector<uint8_t> data(40 * 9 * 512, 0xE5);  // logical sectors in order
    size_t block = 2;
    for (size_t i = 0; i < files.size(); ++i) {
        uint8_t* entry = &data[i * 32];
        std::string name =
            (files[i].name + "        ").substr(0, 8) + (files[i].extension + "   ").substr(0, 3);
        entry[0] = 0;
        std::copy(name.begin(), name.end(), entry + 1);
        std::fill(entry + 12, entry + 32, 0);
        entry[15] = static_cast<uint8_t>((files[i].bytes.size() + 127) / 128);
        for (size_t at = 0; at < files[i].bytes.size(); at += 1024, ++block) {
            entry[16 + at / 1024] = static_cast<uint8_t>(block);
            size_t count = std::min<size_t>(1024, files[i].bytes.size() - at);
            std::copy_n(files[i].bytes.begin() + at, count, data.begin() + block * 1024);
        }
    }
    const uint8_t order[9] = {0xC1, 0xC6, 0xC2, 0xC7, 0xC3, 0xC8, 0xC4, 0xC9, 0xC5};
    TestImage image;
    image.tracks.resize(40);
    for (size_t t = 0; t < 40; ++t) {
        for (uint8_t R : order) {
            auto from = data.begin() + (t * 9 + (R - 0xC1)) * 512;
            image.tracks[t].push_back({R, 2, std::vector<uint8_t>(from, from + 512)});
        }
    }
    return image;
}

// A disk model loaded from bytes, as the drive slots would load a file.
inline bool LoadDskBytes(const std::vector<uint8_t>& bytes, FDC_Disk& disk) {
    struct Cursor {
        const std::vector<uint8_t>* bytes;
        size_t at;
    } cursor{&bytes, 0};
    auto read = [](void* context, uint8_t* buffer, size_t count) -> size_t {
        auto* c = static_cast<Cursor*>(context);
        size_t n = std::min(count, c->bytes->size() - c->at);
        std::copy_n(c->bytes->begin() + c->at, n, buffer);
        c->at += n;
        return n;
    };
    return FDC_LoadHostDsk(&disk, FDC_ImageReader{&cursor, read});
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// A BASIC program of PRINT "text" lines, tokenised as BASIC saves it.
inline std::vector<uint8_t> BasicPrintProgram(const std::vector<std::string>& texts) {
    constexpr uint8_t kPrint = 0xBF;
    std::vector<uint8_t> program;
    size_t number = 10;
    for (const std::string& text : texts) {
        std::vector<uint8_t> line = {0, 0, 0, 0, kPrint, ' ', '"'};
        Put16(line, 2, number);
        line.insert(line.end(), text.begin(), text.end());
        line.push_back('"');
        line.push_back(0);
        Put16(line, 0, line.size());
        program.insert(program.end(), line.begin(), line.end());
        number += 10;
    }
    program.push_back(0);
    program.push_back(0);
    return program;
}

// A DATA disk with HELLO.BAS (tokenised, with its header) printing "DISK OK" and "LINE 20".
inline std::vector<uint8_t> HelloDiskImage() {
    TestFile hello{"HELLO", "BAS", {}};
    hello.bytes = WithAmsdosHeader(hello, 0, BasicPrintProgram({"DISK OK", "LINE 20"}));
    return BuildDsk(AmsdosDataDisk({hello, {"README", "TXT", {'h', 'i', 0x1A}}}));
}
