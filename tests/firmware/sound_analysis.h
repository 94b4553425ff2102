#pragma once
// The runner's WAV files read back, and the few measurements the sound tests make on them.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct WavSamples {
    std::vector<int16_t> left, right;
};

inline uint32_t LittleEndian(const std::string& bytes, size_t at, int count) {
    uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
}

// Reads a 44100 Hz 16-bit stereo PCM file with a 44-byte header; false when it is not one
// or its sizes do not match the file.
inline bool ReadWav(const std::string& path, WavSamples& samples) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") != 0 ||
        bytes.compare(8, 8, "WAVEfmt ") != 0 || bytes.compare(36, 4, "data") != 0)
        return false;
    uint32_t dataBytes = LittleEndian(bytes, 40, 4);
    if (LittleEndian(bytes, 20, 2) != 1 || LittleEndian(bytes, 22, 2) != 2 ||
        LittleEndian(bytes, 24, 4) != 44100 || LittleEndian(bytes, 34, 2) != 16 ||
        LittleEndian(bytes, 4, 4) != bytes.size() - 8 || dataBytes != bytes.size() - 44)
        return false;
    for (size_t at = 44; at + 4 <= bytes.size(); at += 4) {
        samples.left.push_back(static_cast<int16_t>(LittleEndian(bytes, at, 2)));
        samples.right.push_back(static_cast<int16_t>(LittleEndian(bytes, at + 2, 2)));
    }
    return true;
}

// Where the side's sign changes (frame indices), ignoring silence.
inline std::vector<size_t> SignChanges(const std::vector<int16_t>& side) {
    std::vector<size_t> changes;
    int sign = 0;
    for (size_t i = 0; i < side.size(); ++i) {
        int now = side[i] > 0 ? 1 : side[i] < 0 ? -1 : 0;
        if (now != 0 && now != sign) {
            if (sign != 0) changes.push_back(i);
            sign = now;
        }
    }
    return changes;
}

// The frequency of a square wave from its sign changes, 0 without enough of them.
inline double Frequency(const std::vector<size_t>& changes) {
    if (changes.size() < 3) return 0;
    return (changes.size() - 1) / 2.0 * 44100 / static_cast<double>(changes.back() - changes[0]);
}

// How much the time between sign changes varies: standard deviation over mean. A tone
// gives nearly 0, noise much more.
inline double HalfWaveSpread(const std::vector<size_t>& changes) {
    if (changes.size() < 3) return 0;
    double sum = 0, squares = 0;
    size_t count = changes.size() - 1;
    for (size_t i = 1; i < changes.size(); ++i) {
        double length = static_cast<double>(changes[i] - changes[i - 1]);
        sum += length;
        squares += length * length;
    }
    double mean = sum / count;
    return std::sqrt(squares / count - mean * mean) / mean;
}
