// Tape files read into edges (cases in blocks.txt), and the deck recording and playing a
// long irregular signal through the PPI's cassette lines.
#include "common/tape/tape.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "common/machine/machine.h"

namespace {

std::vector<uint8_t> Hex(const std::string& text) {
    std::vector<uint8_t> bytes;
    std::string digits;
    for (char c : text)
        if (isxdigit(static_cast<unsigned char>(c))) digits += c;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

// What a case compares: the edges (all of a few, else their count and ends), the length,
// the stops, the blocks with their starts and names, the texts and the warning.
std::string Describe(const TAPE_Image& image) {
    std::ostringstream out;
    const std::vector<uint64_t>& e = image.edges;
    out << "level " << int(image.initialLevel) << "; edges";
    if (e.size() <= 12) {
        for (uint64_t t : e) out << " " << t;
    } else {
        out << " " << e.size() << ": " << e[0] << " " << e[1] << " " << e[2] << " .. "
            << e[e.size() - 2] << " " << e.back();
    }
    out << "; length " << image.length << "; stops";
    for (uint64_t t : image.stops) out << " " << t;
    out << "; blocks";
    for (const TAPE_Block& b : image.blocks) {
        char id[4];
        std::snprintf(id, sizeof id, "%02X", b.id);
        out << " " << id << "@" << b.start << " " << b.name << ",";
    }
    for (const std::string& text : image.texts) out << "; text " << text;
    if (!image.warning.empty()) out << "; warning " << image.warning;
    return out.str();
}

TEST(TapeFiles, Cases) {
    std::ifstream in(std::string(UNIT_TEST_DIR) + "/blocks.txt");
    ASSERT_TRUE(in) << "blocks.txt";
    std::string line, name;
    std::vector<uint8_t> file;
    int cases = 0;
    while (std::getline(in, line)) {
        if (line.rfind("case ", 0) == 0) {
            name = line.substr(5);
        } else if (line.rfind("tzx ", 0) == 0) {
            file = Hex("5A58546170652 11A 0114" + line.substr(4));
        } else if (line.rfind("file ", 0) == 0) {
            file = Hex(line.substr(5));
        } else if (line.rfind("text ", 0) == 0) {  // bytes as characters, for signatures
            file.assign(line.begin() + 5, line.end());
        } else if (line.rfind("  +", 0) == 0) {
            std::vector<uint8_t> more = Hex(line.substr(3));
            file.insert(file.end(), more.begin(), more.end());
        } else if (line.rfind("want ", 0) == 0) {
            TAPE_Image image;
            std::string error;
            // A copy of exactly the file's size, so that the sanitizers see a read past its end.
            const std::vector<uint8_t> exact(file.begin(), file.end());
            std::string got = TAPE_ReadImage(exact.data(), exact.size(), image, error)
                                  ? Describe(image)
                                  : "error " + error;
            EXPECT_EQ(got, line.substr(5)) << name;
            ++cases;
        }
    }
    EXPECT_GT(cases, 20);
}

// 30 seconds of pulses from 20 us to 3 ms written through port C bit 5 while the motor
// runs, saved as a CDT file, read back and played: every edge comes within a microsecond of
// the place it was recorded at, and the tape stands still while the motor is off.
TEST(TapeDeck, RecordsAndPlaysAnIrregularSignalToTheMicrosecond) {
    g_Machine.deviceTime = 1000;
    TAPE_StartRecording();
    TAPE_WritePortC(0x10);  // motor on
    std::mt19937 random(26);
    std::vector<uint64_t> recorded;
    uint8_t level = 0;
    while (g_Machine.deviceTime < 31000000) {
        g_Machine.deviceTime += 20 + random() % 2980;
        level ^= 1;
        TAPE_WritePortC(static_cast<uint8_t>(0x10 | level << 5));
        recorded.push_back(g_Machine.deviceTime - 1000);
    }
    TAPE_WritePortC(0x00);  // motor off: the rest is not on the tape
    g_Machine.deviceTime += 5000;
    std::vector<uint8_t> file = TAPE_EncodeRecording(TAPE_StopRecording());

    TAPE_Image image;
    std::string error;
    ASSERT_TRUE(TAPE_ReadImage(file.data(), file.size(), image, error)) << error;
    TAPE_Insert(std::move(image));
    TAPE_SetPlaying(true);
    g_Machine.deviceTime += 777;  // the motor is off: nothing moves
    TAPE_WritePortC(0x10);
    const uint64_t start = g_Machine.deviceTime;
    const uint64_t lead = (recorded[0] + 500) / 1000 * 1000;  // the silence, kept to the ms
    auto levelAt = [&](uint64_t microseconds) {
        g_Machine.deviceTime = start + microseconds;
        return TAPE_ReadBit();
    };
    uint8_t before = levelAt(lead - 1);
    size_t late = 0;
    for (uint64_t edge : recorded) {
        uint64_t place = lead + edge - recorded[0];
        uint8_t beforeEdge = levelAt(place - 1);
        uint8_t afterEdge = levelAt(place + 1);
        if (beforeEdge != before || afterEdge == beforeEdge) ++late;
        before = afterEdge;
    }
    EXPECT_EQ(late, 0u) << "of " << recorded.size() << " edges";
    TAPE_Eject();
}

}  // namespace
