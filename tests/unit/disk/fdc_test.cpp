// The controller driven through its ports by the cases of fdc_cases.txt, with disks the
// tests build; and disk changes that wait for the next command.
#include "common/disk/fdc.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "common/host_services.h"
#include "dsk_writer.h"
#include "trace_log.h"

namespace {
// Every sector's bytes tell its track and its place in the table.
uint8_t SectorByte(int track, int index, int i) {
    return static_cast<uint8_t>(track * 16 + index * 3 + i);
}

// Track layouts by name: IDs and size codes of the sectors in table order.
std::vector<std::pair<uint8_t, uint8_t>> Layout(const std::string& kind) {
    if (kind == "nine")
        return {{0xC1, 2}, {0xC2, 2}, {0xC3, 2}, {0xC4, 2}, {0xC5, 2},
                {0xC6, 2}, {0xC7, 2}, {0xC8, 2}, {0xC9, 2}};
    if (kind == "interleaved")
        return {{0xC1, 2}, {0xC6, 2}, {0xC2, 2}, {0xC7, 2}, {0xC3, 2},
                {0xC8, 2}, {0xC4, 2}, {0xC9, 2}, {0xC5, 2}};
    if (kind == "dupes") return {{0xC1, 2}, {0xC2, 2}, {0xC3, 2}, {0xC2, 2}, {0xC4, 2}};
    if (kind == "sizes") return {{0x41, 1}, {0x42, 3}, {0x43, 0}, {0x44, 2}};
    return {};
}

FDC_Disk* BuildDisk(const std::string& kind) {
    TestImage image;
    for (int t = 0; t < 40; ++t) {
        image.tracks.emplace_back();
        auto layout = Layout(kind);
        for (size_t j = 0; j < layout.size(); ++j) {
            Bytes data(size_t{128} << layout[j].second);
            for (size_t i = 0; i < data.size(); ++i)
                data[i] = SectorByte(t, static_cast<int>(j), static_cast<int>(i));
            image.tracks.back().push_back({layout[j].first, layout[j].second, data});
        }
    }
    auto* disk = new FDC_Disk{};
    EXPECT_TRUE(LoadDskBytes(BuildDsk(image), *disk));
    return disk;
}

Bytes Hex(std::istream& in) {
    Bytes bytes;
    for (std::string word; in >> word && word != "->" && word != "|" && word != "ids";)
        bytes.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    return bytes;
}

class Fdc : public ::testing::Test {
   protected:
    void SetUp() override {
        FDC_Init();
        FDC_InsertDisk(0, nullptr);
        FDC_InsertDisk(1, nullptr);
        FDC_SetWriteProtected(0, false);
        FDC_SetWriteProtected(1, false);
        TraceLog::Take();
    }
    void TearDown() override { FDC_Shutdown(); }

    void Send(const Bytes& command) {
        for (uint8_t b : command) {
            ASSERT_EQ(FDC_in(0xFB7E), FDC_MSR_COMMAND);
            FDC_out(0xFB7F, b);
        }
    }
    Bytes Results() {
        Bytes result;
        while (FDC_in(0xFB7E) == FDC_MSR_RESULT && result.size() < 8)
            result.push_back(FDC_in(0xFB7F));
        EXPECT_EQ(FDC_in(0xFB7E), FDC_MSR_COMMAND);
        return result;
    }
    Bytes Command(const Bytes& command) {
        Send(command);
        return Results();
    }
    Bytes ReadData() {  // execution phase bytes
        Bytes data;
        while (FDC_in(0xFB7E) == FDC_MSR_EXECUTION && data.size() < 100000)
            data.push_back(FDC_in(0xFB7F));
        return data;
    }
    // Sends bytes for as long as the controller wants them: count of them, pattern from
    // first.
    Bytes WriteData(const Bytes& given = {}) {
        Bytes sent;
        while (FDC_in(0xFB7E) == FDC_MSR_WRITING && sent.size() < 100000) {
            uint8_t b = sent.size() < given.size() ? given[sent.size()]
                                                   : static_cast<uint8_t>(sent.size() * 7 + 1);
            FDC_out(0xFB7F, b);
            sent.push_back(b);
        }
        return sent;
    }
    Bytes Sectors(const FDC_Disk* disk, int track, std::istream& indices) {
        Bytes bytes;
        for (int j; indices >> j;) {
            const FDC_Sector& s = disk->tracks[track].sectors[j];
            bytes.insert(bytes.end(), s.data, s.data + s.size);
        }
        return bytes;
    }
    void Play(const std::string& name, std::istream& lines);

    FDC_Disk* disks_[2] = {};
};

void Fdc::Play(const std::string& name, std::istream& lines) {
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(name + ": " + line);
        std::istringstream in(line);
        std::string verb;
        in >> verb;
        if (verb == "disk") {
            std::string drive, kind;
            in >> drive >> kind;
            int d = drive == "B";
            disks_[d] = kind == "none" ? nullptr : BuildDisk(kind);
            FDC_InsertDisk(d, disks_[d]);
        } else if (verb == "protect") {
            std::string drive;
            in >> drive;
            FDC_SetWriteProtected(drive == "B", true);
        } else if (verb == "cmd") {
            Bytes command = Hex(in);
            EXPECT_EQ(Command(command), Hex(in));
        } else if (verb == "read" || verb == "write") {
            Bytes command = Hex(in);
            Bytes result = Hex(in);
            const FDC_Disk* disk = disks_[command[1] & 1];
            Bytes before = disk ? Sectors(disk, command[2], in) : Bytes{};
            Send(command);
            Bytes moved = verb == "read" ? ReadData() : WriteData();
            EXPECT_EQ(Results(), result);
            if (verb == "read") {
                EXPECT_EQ(moved, before);
            } else {
                std::istringstream again(line.substr(line.find('|') + 1));
                EXPECT_EQ(moved.size(), before.size());
                EXPECT_EQ(Sectors(disk, command[2], again), moved) << "written where listed";
            }
        } else if (verb == "format") {
            Bytes command = Hex(in);
            Bytes ids = Hex(in);
            Send(command);
            EXPECT_EQ(WriteData(ids), ids);
            EXPECT_EQ(Results(), Hex(in));
        } else if (verb == "layout") {  // drive, track, then R:size of each sector
            std::string drive, expected, actual;
            int track;
            in >> drive >> track;
            std::getline(in, expected);
            const FDC_Track& t = disks_[drive == "B"]->tracks[track];
            char entry[16];
            for (int j = 0; j < t.sectorCount; ++j) {
                std::snprintf(entry, sizeof entry, " %02X:%d", t.sectors[j].R, t.sectors[j].size);
                actual += entry;
            }
            EXPECT_EQ(actual, expected);
        } else if (verb == "mark") {  // drive, track, place: ST2 of the sector's entry
            std::string drive;
            int track, index;
            in >> drive >> track >> index;
            const FDC_Track& t = disks_[drive == "B"]->tracks[track];
            EXPECT_EQ(t.data[0x18 + 8 * index + 5], Hex(in)[0]);
        } else if (verb == "saved") {  // the image written back reads as the disk it was
            std::string drive, kind;
            in >> drive >> kind;
            const FDC_Disk* disk = disks_[drive == "B"];
            Bytes image = FDC_SaveDskBytes(*disk);
            FDC_Disk again{};
            ASSERT_TRUE(FDC_LoadDskBytes(&again, image.data(), image.size()));
            EXPECT_EQ(again.extended, kind == "extended");
            for (int t = 0; t < disk->trackCount; ++t)
                for (int j = 0; j < disk->tracks[t].sectorCount; ++j) {
                    const FDC_Sector &a = disk->tracks[t].sectors[j],
                                     &b = again.tracks[t].sectors[j];
                    ASSERT_EQ(Bytes(a.data, a.data + a.size), Bytes(b.data, b.data + b.size));
                    ASSERT_EQ(a.R, b.R);
                }
            FDC_FreeDisk(&again);
        } else if (verb == "in") {
            Bytes port = Hex(in);
            EXPECT_EQ(FDC_in(static_cast<uint16_t>(port[0] << 8 | port[1])), Hex(in)[0]);
        } else if (verb == "out") {
            Bytes bytes = Hex(in);
            FDC_out(static_cast<uint16_t>(bytes[0] << 8 | bytes[1]), bytes[2]);
        } else if (verb == "trace") {
            std::string text;
            std::getline(in >> std::ws, text);
            EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), text));
        } else if (!verb.empty() && verb[0] != '#') {
            ADD_FAILURE() << "unknown line";
        }
    }
}
}  // namespace

TEST_F(Fdc, Cases) {
    std::ifstream file(UNIT_TEST_DIR "/fdc_cases.txt");
    ASSERT_TRUE(file) << UNIT_TEST_DIR "/fdc_cases.txt";
    std::string text((std::istreambuf_iterator<char>(file)), {});
    size_t at = text.find("case ");
    int played = 0;
    while (at != std::string::npos) {
        size_t next = text.find("\ncase ", at);
        std::string block = text.substr(at, next == std::string::npos ? next : next - at);
        std::istringstream lines(block);
        std::string header;
        std::getline(lines, header);
        TearDown();
        SetUp();
        Play(header.substr(5), lines);
        ++played;
        at = next == std::string::npos ? next : next + 1;
    }
    EXPECT_GT(played, 10);
}

// A disk inserted, ejected or swapped during a transfer reaches the controller only at its
// next command; the running transfer keeps reading the disk it started on.
TEST_F(Fdc, DiskChangesWaitForTheNextCommand) {
    FDC_Disk* first = BuildDisk("nine");
    FDC_InsertDisk(0, first);
    const FDC_Sector& sector = first->tracks[0].sectors[2];
    Bytes expected(sector.data, sector.data + sector.size);
    Send({0x46, 0x00, 0, 0, 0xC3, 2, 0xC3, 0x2A, 0xFF});
    Bytes data = {FDC_in(0xFB7F)};
    FDC_InsertDisk(0, nullptr);  // the first disk may be freed only once the controller lets go
    FDC_InsertDisk(1, BuildDisk("nine"));
    EXPECT_FALSE(FDC_SwapDrives()) << "busy";
    Bytes rest = ReadData();
    data.insert(data.end(), rest.begin(), rest.end());
    EXPECT_EQ(data, expected);
    Results();
    EXPECT_TRUE(FDC_SwapDrives());
    EXPECT_EQ(Command({0x4A, 0x00})[0], 0x00) << "drive A now holds B's disk";
    EXPECT_EQ(Command({0x4A, 0x01})[0], 0x89) << "drive B is empty";
}
