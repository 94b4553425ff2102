// Snapshot files checked in full before anything is applied: the cases of
// snapshot_files.txt.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "common/machine/machine.h"
#include "common/machine/snapshot.h"

namespace {

// Hex bytes: HEX*N repeats HEX, + joins parts, - is none.
std::vector<uint8_t> HexBytes(const std::string& word) {
    std::vector<uint8_t> bytes;
    std::istringstream parts(word == "-" ? "" : word);
    std::string part;
    while (std::getline(parts, part, '+')) {
        size_t star = part.find('*');
        int repeat = star == std::string::npos ? 1 : std::stoi(part.substr(star + 1));
        for (int r = 0; r < repeat; ++r)
            for (size_t at = 0; at + 1 < std::min(star, part.size()); at += 2)
                bytes.push_back(static_cast<uint8_t>(std::stoul(part.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

// The file a case's changes make, starting from a 6128 snapshot with its RAM after it.
std::vector<uint8_t> Build(std::istringstream& words) {
    std::vector<uint8_t> file(SNA_HEADER_SIZE + 2 * SNA_BLOCK_SIZE, 0);
    const std::string signature = "MV - SNA";
    std::copy(signature.begin(), signature.end(), file.begin());
    file[0x10] = 3;
    file[0x6B] = 128;
    file[0x6D] = 2;
    std::string op, a, b, c;
    while (words >> op && op != "=>") {
        if (op == "size") {
            words >> a;
            file.resize(std::stoul(a));
        } else if (op == "dump") {
            words >> a;
            file[0x6B] = static_cast<uint8_t>(std::stoul(a));
            file[0x6C] = static_cast<uint8_t>(std::stoul(a) >> 8);
        } else if (op == "set") {
            words >> a >> b;
            std::vector<uint8_t> bytes = HexBytes(b);
            std::copy(bytes.begin(), bytes.end(), file.begin() + std::stol(a, nullptr, 16));
        } else if (op == "chunk") {
            words >> a >> b >> c;
            uint32_t size = static_cast<uint32_t>(std::stoul(b));
            file.insert(file.end(), a.begin(), a.end());
            for (int i = 0; i < 4; ++i) file.push_back(static_cast<uint8_t>(size >> (8 * i)));
            std::vector<uint8_t> bytes = HexBytes(c);
            file.insert(file.end(), bytes.begin(), bytes.end());
        }
    }
    return file;
}

}  // namespace

TEST(SnapshotFiles, CheckedBeforeAnythingIsApplied) {
    std::ifstream cases(std::string(UNIT_TEST_DIR) + "/snapshot_files.txt");
    ASSERT_TRUE(cases);
    std::string line;
    int played = 0;
    while (std::getline(cases, line)) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(line);
        std::istringstream words(line);
        std::vector<uint8_t> file = Build(words);
        std::string expected;
        std::getline(words >> std::ws, expected);
        SNA_Image image;
        std::string error;
        bool ok = SNA_Parse(file.data(), file.size(), CPC_MODEL_464, &image, &error);
        ++played;
        if (expected.compare(0, 3, "ok ") != 0) {
            EXPECT_FALSE(ok);
            EXPECT_EQ(error, expected);
            continue;
        }
        ASSERT_TRUE(ok) << error;
        std::istringstream want(expected.substr(3));
        std::string model, ram, offset, value;
        want >> model >> ram >> offset >> value;
        EXPECT_EQ(SNA_ModelName(image.model), "CPC " + model);
        if (ram == "ram") {
            EXPECT_EQ(image.ram.at(std::stoul(offset, nullptr, 16)), HexBytes(value)[0]);
        }
    }
    EXPECT_EQ(played, 21);
}
