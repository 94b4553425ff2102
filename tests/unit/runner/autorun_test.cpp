// --autorun: reading an AMSDOS directory from a disk model, and choosing what to type.
#include <gtest/gtest.h>

#include "dsk_writer.h"
#include "platform/amsdos_catalog.h"

namespace {
constexpr AmsdosFileKind B = AmsdosFileKind::Basic;
constexpr AmsdosFileKind X = AmsdosFileKind::Binary;
constexpr AmsdosFileKind D = AmsdosFileKind::Data;
}  // namespace

TEST(Autorun, ChoosesTheProgramThatStartsTheDisk) {
    const struct {
        const char* image;
        std::vector<AmsdosFile> files;
        const char* command;
    } cases[] = {
        {"dcastles.dsk", {{"GAME", "BAS", B}, {"DISC", "BIN", X}}, "RUN\"DISC\""},
        {"dcastles.dsk", {{"A", "BAS", B}, {"disk", "", B}}, "RUN\"disk\""},
        {"dcastles.dsk", {{"LOADER", "BAS", B}, {"DCASTLES", "BAS", B}}, "RUN\"DCASTLES\""},
        {"castles2.dsk", {{"CASTLES", "BAS", B}, {"CASTLES2", "BAS", B}}, "RUN\"CASTLES2\""},
        {"sphere3d.dsk", {{"LOADER", "BAS", B}, {"SPHERE3D", "BIN", X}}, "RUN\"LOADER\""},
        {"game.dsk", {{"ONE", "BAS", B}, {"TWO", "BAS", B}, {"GAME", "BIN", X}}, "RUN\"GAME\""},
        {"x.dsk", {{"README", "TXT", D}, {"CODE", "BIN", X}, {"A", "BAS", B}}, "RUN\"A\""},
        {"x.dsk", {{"README", "TXT", D}, {"CODE", "BIN", X}}, "RUN\"CODE\""},
        {"x.dsk", {{"PLASMA", "BAS", B}, {"CHECKER", "BAS", B}}, "RUN\"PLASMA\""},
        {"x.dsk", {{"ONE", "BIN", X}, {"TWO", "BIN", X}}, "RUN\"ONE\""},
        {"x.dsk", {{"NOTES", "TXT", D}}, "|CPM"},
        {"x.dsk", {}, "|CPM"},
        // The extension is typed where AMSDOS would find another file first.
        {"menu.dsk", {{"MENU", "", D}, {"MENU", "BIN", X}}, "RUN\"MENU.BIN\""},
        {"x.dsk", {{"MENU", "BAS", D}, {"MENU", "BIN", X}}, "RUN\"MENU.BIN\""},
        {"x.dsk", {{"GAME", "PRG", B}}, "RUN\"GAME.PRG\""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PAL_ChooseAutorunCommand(c.files, c.image), c.command)
            << c.image << ", first file " << (c.files.empty() ? "" : c.files[0].name);
}

TEST(Autorun, ReadsTheDirectoryAndTellsProgramsByTheirHeader) {
    std::vector<TestFile> files = {
        {"HELLO", "BAS", {}}, {"LOADER", "BAS", {'1', '0', ' '}},
        {"CODE", "BIN", {}},  {"NOTES", "TXT", {'h', 'i'}},
        {"OTHER", "BAS", {}}, {"ZEROS", "DAT", std::vector<uint8_t>(200, 0)}};
    files[0].bytes = WithAmsdosHeader(files[0], 0, std::vector<uint8_t>(1500, 0));  // two blocks
    files[2].bytes = WithAmsdosHeader(files[2], 2, {0xC9});
    files[4].bytes = {'x'};
    TestImage image = AmsdosDataDisk(files);
    std::vector<uint8_t>& directory = image.tracks[0][0].data;  // sector C1
    directory[4 * 32] = 1;                                      // OTHER belongs to user 1
    directory[1 * 32 + 9] |= 0x80;                              // LOADER is read-only
    FDC_Disk disk{};
    ASSERT_TRUE(LoadDskBytes(BuildDsk(image), disk));
    std::vector<AmsdosFile> catalog;
    ASSERT_TRUE(PAL_ReadAmsdosCatalog(disk, catalog));
    FDC_FreeDisk(&disk);
    std::string listed;
    for (const AmsdosFile& file : catalog)
        listed += file.name + "." + file.extension + ":" + "DBX"[static_cast<int>(file.kind)] + " ";
    EXPECT_EQ(listed, "HELLO.BAS:B LOADER.BAS:B CODE.BIN:X NOTES.TXT:D ZEROS.DAT:D ");

    TestImage unformatted;
    unformatted.tracks.push_back({{0x81, 2, std::vector<uint8_t>(512, 0)}});
    ASSERT_TRUE(LoadDskBytes(BuildDsk(unformatted), disk));
    EXPECT_FALSE(PAL_ReadAmsdosCatalog(disk, catalog));
    FDC_FreeDisk(&disk);
}
