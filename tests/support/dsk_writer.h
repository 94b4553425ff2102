#pragma once
// Disk images built by the tests: a DSK writer (standard and extended) and AMSDOS DATA disks
// with files, so that loader, controller and firmware tests need no image files.
#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "common/disk/dsk.h"

using Bytes = std::vector<uint8_t>;

struct TestSector {
    uint8_t R;
    uint8_t N;   // standard image: the size is 128 << N
    Bytes data;  // extended image: its length is the sector's size
};

struct TestImage {
    bool extended = false;
    uint8_t sides = 1;
    std::vector<std::vector<TestSector>> tracks;  // extended: a track without sectors is absent
};

inline void Put16(Bytes& bytes, size_t at, size_t value) {
    bytes[at] = static_cast<uint8_t>(value);
    bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

inline Bytes BuildDsk(const TestImage& image) {
    auto sectorSize = [&](const TestSector& s) {
        return image.extended ? s.data.size() : size_t{128} << s.N;
    };
    Bytes bytes(0x100, 0);
    std::string signature = image.extended ? "EXTENDED CPC DSK File" : "MV - CPCEMU Disk-File";
    std::copy(signature.begin(), signature.end(), bytes.begin());
    bytes[0x30] = static_cast<uint8_t>(image.tracks.size());
    bytes[0x31] = image.sides;
    std::vector<size_t> sizes;
    for (const auto& sectors : image.tracks) {
        size_t size = 0x100;
        for (const TestSector& s : sectors) size += sectorSize(s);
        sizes.push_back(image.extended && sectors.empty() ? 0 : (size + 255) / 256 * 256);
    }
    size_t largest = sizes.empty() ? 0 : *std::max_element(sizes.begin(), sizes.end());
    if (!image.extended) Put16(bytes, 0x32, largest);
    for (size_t t = 0; t < image.tracks.size(); ++t) {
        size_t size = image.extended ? sizes[t] : largest;
        if (image.extended) bytes[0x34 + t] = static_cast<uint8_t>(size / 256);
        Bytes block(size, 0);
        const auto& sectors = image.tracks[t];
        if (size) block[0x15] = static_cast<uint8_t>(sectors.size());
        for (size_t j = 0, at = 0x100; j < sectors.size(); at += sectorSize(sectors[j++])) {
            block[0x18 + 8 * j + 2] = sectors[j].R;
            block[0x18 + 8 * j + 3] = sectors[j].N;
            if (image.extended) Put16(block, 0x18 + 8 * j + 6, sectors[j].data.size());
            std::copy(sectors[j].data.begin(), sectors[j].data.end(), block.begin() + at);
        }
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
    return bytes;
}

// An AMSDOS file: its name, extension and the bytes on disk (header included, if any).
struct TestFile {
    std::string name, extension;
    Bytes bytes;
};

inline std::string AmsdosName(const TestFile& file) {
    return (file.name + "        ").substr(0, 8) + (file.extension + "   ").substr(0, 3);
}

// bytes preceded by an AMSDOS header of the given type (0 BASIC, 2 binary).
inline Bytes WithAmsdosHeader(const TestFile& file, uint8_t type, const Bytes& bytes) {
    Bytes header(128, 0);
    std::string name = AmsdosName(file);
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

// A 40-track DATA disk (sectors C1-C9, interleaved as formatted) holding the files in user
// 0 from block 2 on, each smaller than 16 KB.
inline TestImage AmsdosDataDisk(const std::vector<TestFile>& files) {
    Bytes data(40 * 9 * 512, 0xE5);  // logical sectors in order
    for (size_t i = 0, block = 2; i < files.size(); ++i) {
        uint8_t* entry = &data[i * 32];
        std::fill(entry, entry + 32, 0);
        std::string name = AmsdosName(files[i]);
        std::copy(name.begin(), name.end(), entry + 1);
        entry[15] = static_cast<uint8_t>((files[i].bytes.size() + 127) / 128);
        for (size_t at = 0; at < files[i].bytes.size(); at += 1024, ++block) {
            entry[16 + at / 1024] = static_cast<uint8_t>(block);
            size_t count = std::min<size_t>(1024, files[i].bytes.size() - at);
            std::copy_n(files[i].bytes.begin() + at, count, data.begin() + block * 1024);
        }
    }
    TestImage image;
    image.tracks.resize(40);
    for (size_t t = 0; t < 40; ++t) {
        for (uint8_t R : {0xC1, 0xC6, 0xC2, 0xC7, 0xC3, 0xC8, 0xC4, 0xC9, 0xC5}) {
            auto from = data.begin() + (t * 9 + (R - 0xC1)) * 512;
            image.tracks[t].push_back({R, 2, Bytes(from, from + 512)});
        }
    }
    return image;
}

// A DATA disk with HELLO.BAS, tokenised with its header: 10 PRINT "DISK OK", 20 PRINT "LINE 20".
inline Bytes HelloDiskImage() {
    Bytes program;
    for (const char* text : {"\x0A\x00\xBF \"DISK OK\"", "\x14\x00\xBF \"LINE 20\""}) {
        Bytes line = {0, 0};  // length, then the number, PRINT and the text
        line.insert(line.end(), text, text + 2 + std::string(text + 2).size());
        line.push_back(0);
        Put16(line, 0, line.size());
        program.insert(program.end(), line.begin(), line.end());
    }
    program.insert(program.end(), {0, 0});
    TestFile hello{"HELLO", "BAS", {}};
    hello.bytes = WithAmsdosHeader(hello, 0, program);
    return BuildDsk(AmsdosDataDisk({hello, {"README", "TXT", {'h', 'i', 0x1A}}}));
}

// A disk model loaded from bytes, as the drive slots would load a file.
inline bool LoadDskBytes(const Bytes& bytes, FDC_Disk& disk) {
    return FDC_LoadDskBytes(&disk, bytes.data(), bytes.size());
}

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}
