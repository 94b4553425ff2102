#pragma once
// The runner's WAV files read back, and the few measurements the sound tests make on them.
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct WavSamples {
    std::vector<int16_t> left, right;
};

// Adds the 16-bit stereo frames from the byte at FROM on, low byte first.
inline void AddFrames(const std::string& bytes, size_t from, WavSamples& samples) {
    auto sample = [&bytes](size_t at) {
        return static_cast<int16_t>(static_cast<uint8_t>(bytes[at]) |
                                    static_cast<uint8_t>(bytes[at + 1]) << 8);
    };
    for (size_t at = from; at + 4 <= bytes.size(); at += 4) {
        samples.left.push_back(sample(at));
        samples.right.push_back(sample(at + 2));
    }
}

// Reads a 44100 Hz 16-bit stereo PCM file with a 44-byte header; false when it is not one
// or its sizes do not match the file.
inline bool ReadWav(const std::string& path, WavSamples& samples) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    auto word = [&bytes](size_t at) {
        return static_cast<uint32_t>(static_cast<uint8_t>(bytes[at]) |
                                     static_cast<uint8_t>(bytes[at + 1]) << 8);
    };
    const std::string format("\x01\x00\x02\x00\x44\xAC\x00\x00\x10\xB1\x02\x00\x04\x00\x10\x00",
                             16);
    if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") != 0 ||
        bytes.compare(8, 8, "WAVEfmt ") != 0 || bytes.compare(20, 16, format) != 0 ||
        bytes.compare(36, 4, "data") != 0 || word(4) + (word(6) << 16) != bytes.size() - 8 ||
        word(40) + (word(42) << 16) != bytes.size() - 44)
        return false;
    AddFrames(bytes, 44, samples);
    return true;
}

// Where the side's sign changes (frame indices), ignoring silence.
inline std::vector<size_t> SignChanges(const std::vector<int16_t>& side) {
    std::vector<size_t> changes;
    int sign = 0;
    for (size_t i = 0; i < side.size(); ++i) {
        int now = (side[i] > 0) - (side[i] < 0);
        if (now != 0 && sign != 0 && now != sign) changes.push_back(i);
        if (now != 0) sign = now;
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
    double sum = 0, squares = 0, count = static_cast<double>(changes.size()) - 1;
    for (size_t i = 1; i < changes.size(); ++i) {
        double length = static_cast<double>(changes[i] - changes[i - 1]);
        sum += length;
        squares += length * length;
    }
    return count < 2 ? 0
                     : std::sqrt(squares / count - (sum / count) * (sum / count)) / (sum / count);
}
