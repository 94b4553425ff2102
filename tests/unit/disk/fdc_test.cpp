// Command sequences on the controller's ports, with disks the tests build.
#include "common/disk/fdc.h"

#include <gtest/gtest.h>

#include "common/host_services.h"
#include "common/machine/machine.h"
#include "dsk_writer.h"
#include "trace_log.h"

namespace {
// 40 tracks of nine 512-byte sectors C1-C9 in order; each byte tells its track and sector.
FDC_Disk* NineSectorDisk() {
    TestImage image;
    for (int t = 0; t < 40; ++t) {
        image.tracks.emplace_back();
        for (int r = 0; r < 9; ++r) {
            Bytes data(512);
            for (int i = 0; i < 512; ++i) data[i] = static_cast<uint8_t>(t * 16 + r + i);
            image.tracks.back().push_back({static_cast<uint8_t>(0xC1 + r), 2, data});
        }
    }
    auto* disk = new FDC_Disk{};
    EXPECT_TRUE(LoadDskBytes(BuildDsk(image), *disk));
    return disk;
}

class Fdc : public ::testing::Test {
   protected:
    void SetUp() override {
        FDC_Init();
        FDC_InsertDisk(0, nullptr);
        FDC_InsertDisk(1, nullptr);
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
    Bytes Sector(const FDC_Disk* disk, int track, uint8_t R) {
        const FDC_Sector* s = FDC_FindSectorById(disk, static_cast<uint8_t>(track), R);
        return Bytes(s->data, s->data + s->size);
    }
};
}  // namespace

TEST_F(Fdc, RecalibrateSeekAndSenseStatus) {
    Send({0x07, 0x00});  // Recalibrate A, empty
    EXPECT_EQ(Command({0x08}), (Bytes{0x88, 0x00}));
    EXPECT_EQ(Command({0x08}), (Bytes{0x00, 0x00})) << "no seek ended";
    FDC_InsertDisk(0, NineSectorDisk());
    FDC_InsertDisk(1, NineSectorDisk());
    Send({0x0F, 0x01, 40});  // beyond the last track
    EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), "* FDC_Seek(): Invalid track 40"));
    EXPECT_EQ(Command({0x04, 0x01}), (Bytes{0x31}));
    Send({0x07, 0x00});
    Send({0x0F, 0x01, 39});
    EXPECT_EQ(Command({0x04, 0x01}), (Bytes{0x01})) << "seek not yet reported";
    EXPECT_EQ(Command({0x08}), (Bytes{0x20, 0x00}));  // drive A first, then B
    EXPECT_EQ(Command({0x08}), (Bytes{0x21, 39}));
    EXPECT_EQ(Command({0x04, 0x01}), (Bytes{0x21}));
    EXPECT_EQ(Command({0x04, 0x05}), (Bytes{0x85})) << "head 1";
}

TEST_F(Fdc, MultiSectorReadDeliversUpToEot) {
    FDC_Disk* disk = NineSectorDisk();
    FDC_InsertDisk(0, disk);
    Send({0x0F, 0x00, 5});
    Command({0x08});
    Send({0x46, 0x00, 5, 0, 0xC1, 2, 0xC9, 0x2A, 0xFF});
    EXPECT_TRUE(PAL_GetDriveActivity());
    Bytes expected;
    for (uint8_t R = 0xC1; R <= 0xC9; ++R) {
        Bytes s = Sector(disk, 5, R);
        expected.insert(expected.end(), s.begin(), s.end());
    }
    Bytes data = ReadData();
    EXPECT_EQ(data.size(), 4608u);
    EXPECT_EQ(data, expected);
    EXPECT_FALSE(PAL_GetDriveActivity());
    EXPECT_EQ(Results(), (Bytes{0x40, 0x80, 0x00, 5, 0, 0xC1, 2}));

    Send({0x46, 0x00, 5, 0, 0xC4, 2, 0xC4, 0x2A, 0xFF});  // EOT = R: one sector
    EXPECT_EQ(ReadData(), Sector(disk, 5, 0xC4));
    EXPECT_EQ(Results(), (Bytes{0x40, 0x80, 0x00, 5, 0, 0xC4, 2}));
}

TEST_F(Fdc, ReadIdWalksTheTrackAndReadDataFails) {
    EXPECT_EQ(Command({0x4A, 0x00}), (Bytes{0x88, 0, 0, 0, 0, 0, 0})) << "empty drive";
    FDC_InsertDisk(0, NineSectorDisk());
    Send({0x0F, 0x00, 2});
    Command({0x08});
    Bytes ids;
    for (int i = 0; i < 11; ++i) {
        Bytes result = Command({0x4A, 0x00});
        EXPECT_EQ(Bytes(result.begin(), result.begin() + 5), (Bytes{0, 0, 0, 2, 0}));
        EXPECT_EQ(result[6], 2);
        ids.push_back(result[5]);
    }
    EXPECT_EQ(ids, (Bytes{0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xC1, 0xC2}));
    // Wrong cylinder: the present track and the sector at the current index (C3).
    EXPECT_EQ(Command({0x46, 0x00, 3, 0, 0xC1, 2, 0xC1, 0x2A, 0xFF}),
              (Bytes{0x88, 0x00, 0x10, 2, 0, 0xC3, 2}));
    EXPECT_EQ(Command({0x46, 0x00, 2, 0, 0xD1, 2, 0xD1, 0x2A, 0xFF}),
              (Bytes{0x88, 0x00, 0x00, 2, 0, 0xD1, 2}))
        << "no such sector";
    EXPECT_EQ(Command({0xC6, 0x00, 2, 0, 0xC1, 2, 0xC1, 0x2A, 0xFF})[0], 0x88) << "MT";
    EXPECT_EQ(Command({0x46, 0x01, 2, 0, 0xC1, 2, 0xC1, 0x2A, 0xFF})[0], 0x89) << "empty drive B";
    EXPECT_EQ(Command({0x46, 0x04, 2, 0, 0xC1, 2, 0xC1, 0x2A, 0xFF})[0], 0x88) << "head 1";
}

TEST_F(Fdc, InvalidCommandsAndPortMisuse) {
    EXPECT_EQ(FDC_in(0xFB7F), 0);
    EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), "* FDC_in(): Invalid read 1"));
    Command({0x4A, 0x00});  // leaves 0x88 and six zeros behind
    Bytes write = {0x45, 0x00, 0x00, 0x00, 0xC1, 0x02, 0xC1, 0x2A, 0xFF};
    EXPECT_EQ(Command(write), (Bytes{0x88, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(TraceLog::Has(TraceLog::Take(),
                              "* FDC_InvalidCmd(): 45H 00H 00H 00H C1H 02H C1H 2AH FFH "));
    EXPECT_EQ(Command({0x1F}), (Bytes{0x88}));
    FDC_out(0xFB7E, 0x08);
    EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), "* FDC_out(): Incorrect address FB7EH"));
    EXPECT_EQ(FDC_in(0xFB7E), FDC_MSR_COMMAND);
}

// A disk inserted, ejected or swapped during a transfer reaches the controller only at its
// next command; the running transfer keeps reading the disk it started on.
TEST_F(Fdc, DiskChangesWaitForTheNextCommand) {
    FDC_Disk* first = NineSectorDisk();
    FDC_InsertDisk(0, first);
    Bytes expected = Sector(first, 0, 0xC3);
    Send({0x46, 0x00, 0, 0, 0xC3, 2, 0xC3, 0x2A, 0xFF});
    Bytes data = {FDC_in(0xFB7F)};
    FDC_InsertDisk(0, nullptr);  // the first disk may be freed only once the controller lets go
    FDC_InsertDisk(1, NineSectorDisk());
    EXPECT_FALSE(FDC_SwapDrives()) << "busy";
    Bytes rest = ReadData();
    data.insert(data.end(), rest.begin(), rest.end());
    EXPECT_EQ(data, expected);
    Results();
    EXPECT_TRUE(FDC_SwapDrives());
    EXPECT_EQ(Command({0x4A, 0x00})[0], 0x00) << "drive A now holds B's disk";
    EXPECT_EQ(Command({0x4A, 0x01})[0], 0x89) << "drive B is empty";
}
