// The DSK loader on images the tests build: both formats, odd sizes, refusals, truncation
// and sector tables that lie.
#include <gtest/gtest.h>

#include "dsk_writer.h"
#include "trace_log.h"

namespace {
Bytes Filled(size_t size, uint8_t first) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(first + i * 7);
    return bytes;
}

struct Loaded {
    FDC_Disk disk{};
    bool ok;
    explicit Loaded(const Bytes& bytes) : ok(LoadDskBytes(bytes, disk)) {}
    ~Loaded() { FDC_FreeDisk(&disk); }
};

// Every sector's bytes lie inside its track's data block.
void ExpectInsideBlocks(const FDC_Disk& disk) {
    for (int t = 0; t < disk.trackCount; ++t) {
        const FDC_Track& track = disk.tracks[t];
        for (int j = 0; j < track.sectorCount; ++j) {
            const FDC_Sector& s = track.sectors[j];
            EXPECT_GE(s.data, track.data + 0x100);
            EXPECT_LE(s.data + s.size, track.data + track.dataSize)
                << "track " << t << " sector " << j;
        }
    }
}
}  // namespace

TEST(DskLoader, ReadsStandardAndExtendedImages) {
    for (bool extended : {false, true}) {
        SCOPED_TRACE(extended ? "extended" : "standard");
        TestImage image{extended, 1, {}};
        image.tracks.push_back({{0xC1, 2, Filled(512, 1)}, {0xC2, 0, Filled(128, 2)}});
        image.tracks.push_back({});  // extended: absent; standard: no sectors
        image.tracks.push_back({{0x41, 2, Filled(512, 3)}});
        TraceLog::Take();
        Loaded loaded(BuildDsk(image));
        ASSERT_TRUE(loaded.ok);
        const FDC_Disk& disk = loaded.disk;
        ASSERT_EQ(disk.trackCount, 3);
        const FDC_Track& first = disk.tracks[0];
        ASSERT_EQ(first.sectorCount, 2);
        EXPECT_EQ(first.sectors[0].size, 512);
        EXPECT_EQ(first.sectors[1].size, 128);  // N = 0
        EXPECT_EQ(first.sectors[1].data, first.sectors[0].data + 512);
        EXPECT_EQ(Bytes(first.sectors[1].data, first.sectors[1].data + 128), Filled(128, 2));
        EXPECT_EQ(disk.tracks[1].sectorCount, 0);
        EXPECT_EQ(TraceLog::Has(TraceLog::Take(), "FDC_LoadHostDsk(): Track 1 Empty."), extended);
        // The block after an absent track is read right after the previous one.
        EXPECT_EQ(disk.tracks[2].sectors[0].R, 0x41);
        EXPECT_EQ(disk.tracks[2].sectors[0].data[511], Filled(512, 3)[511]);
        EXPECT_EQ(FDC_FindSectorById(&disk, 3, 0x41), nullptr);
    }
    Loaded none(BuildDsk(TestImage{}));
    EXPECT_TRUE(none.ok && none.disk.trackCount == 0 && !none.disk.tracks);
}

TEST(DskLoader, RefusesWhatItCannotRead) {
    TestImage twoSided{false, 2, {{{0xC1, 2, Filled(512, 0)}}}};
    Bytes notDsk = BuildDsk(TestImage{});
    notDsk[7] = '!';
    Bytes tooManyTracks = BuildDsk(TestImage{true, 1, {}});
    tooManyTracks[0x30] = 205;
    Bytes tinyTrack = BuildDsk(TestImage{false, 1, {{{0xC1, 2, Filled(512, 0)}}}});
    tinyTrack[0x32] = 0x80, tinyTrack[0x33] = 0;
    const struct {
        Bytes bytes;
        const char* trace;
    } cases[] = {
        {BuildDsk(twoSided), "FDC_LoadHostDsk(): Only single sided disks are supported."},
        {notDsk, "FDC_LoadHostDsk(): Not a disk image"},
        {Bytes(255, 'E'), "FDC_LoadHostDsk(): Can't read disk info"},
        {tooManyTracks, "FDC_LoadHostDsk(): Too many tracks (205) for an extended image."},
        {tinyTrack,
         "FDC_LoadHostDsk(): Track 0 block of 128 bytes has no room for its information."},
    };
    for (const auto& c : cases) {
        TraceLog::Take();
        Loaded loaded(c.bytes);
        EXPECT_FALSE(loaded.ok) << c.trace;
        EXPECT_NE(loaded.disk.loadError, nullptr);
        EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), c.trace)) << c.trace;
    }
    Loaded refused(BuildDsk(twoSided));
    EXPECT_EQ(refused.disk.tracks, nullptr) << "refused before anything is allocated";
}

TEST(DskLoader, TruncatedAtEveryBlockBoundary) {
    for (bool extended : {false, true}) {
        TestImage image{extended, 1, {}};
        for (int t = 0; t < 4; ++t) image.tracks.push_back({{0xC1, 2, Filled(512, t)}});
        Bytes bytes = BuildDsk(image);
        const size_t trackBytes = 0x100 + 512;
        for (size_t end = 0; end <= bytes.size(); end += 0x100) {
            for (size_t cut : {end - 1, end}) {
                if (cut > bytes.size() || end == 0) continue;
                TraceLog::Take();
                Loaded loaded(Bytes(bytes.begin(), bytes.begin() + cut));
                EXPECT_EQ(loaded.ok, cut == bytes.size()) << cut;
                if (cut == bytes.size()) continue;
                std::string expected =
                    cut < 0x100 ? "FDC_LoadHostDsk(): Can't read disk info"
                                : "FDC_LoadHostDsk(): Can't read track " +
                                      std::to_string((cut - 0x100) / trackBytes) + " data";
                EXPECT_TRUE(TraceLog::Has(TraceLog::Take(), expected)) << expected << " at " << cut;
            }
        }
    }
}

TEST(DskLoader, LyingSectorTablesStayInsideTheTrack) {
    // Extended: 40 entries claimed, sizes running past the block, a size of 0.
    TestImage extended{
        true, 1, {{{0xC1, 2, Filled(300, 1)}, {0xC2, 2, {}}, {0xC3, 2, Filled(100, 2)}}}};
    Bytes bytes = BuildDsk(extended);
    bytes[0x100 + 0x15] = 40;
    Put16(bytes, 0x100 + 0x18 + 8 * 2 + 6, 5000);
    Loaded lying(bytes);
    ASSERT_TRUE(lying.ok);
    const FDC_Track& track = lying.disk.tracks[0];
    EXPECT_EQ(track.sectorCount, 29);
    EXPECT_EQ(track.sectors[1].size, 0);
    EXPECT_EQ(track.sectors[2].size, track.dataSize - 0x100 - 300);  // cut at the block's end
    ExpectInsideBlocks(lying.disk);

    // Standard: N = 9 does not fit 16 bits, N = 6 runs past the track.
    TestImage standard{false, 1, {{{0xC1, 2, Filled(512, 1)}, {0xC2, 1, Filled(256, 2)}}}};
    bytes = BuildDsk(standard);
    bytes[0x100 + 0x18 + 3] = 9;
    bytes[0x100 + 0x18 + 8 + 3] = 6;
    Loaded big(bytes);
    ASSERT_TRUE(big.ok);
    EXPECT_EQ(big.disk.tracks[0].sectors[0].size, 0);
    EXPECT_EQ(big.disk.tracks[0].sectors[1].size, 0x100 + 512 + 256 - 0x100);
    ExpectInsideBlocks(big.disk);
}
