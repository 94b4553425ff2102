#pragma once
// What a started disk types (the runner's --autorun, a file the desktop program opens): the
// AMSDOS directory of a disk model and the choice of the program that starts it.
#include <string>
#include <vector>

#include "common/disk/dsk.h"

enum class AmsdosFileKind { Data, Basic, Binary };

struct AmsdosFile {
    std::string name;       // up to 8 characters, without trailing blanks
    std::string extension;  // up to 3 characters, without trailing blanks
    AmsdosFileKind kind;
};

// The files of user 0 in directory order. The disk's format (DATA, SYSTEM or IBM) comes
// from the sector IDs of track 0. A file is BASIC or binary by the type in its AMSDOS
// header (the checksummed first record); a file without a header is ASCII, a BASIC program
// when its extension is BAS or blank. False when the disk has no directory we can read.
bool PAL_ReadAmsdosCatalog(const FDC_Disk& disk, std::vector<AmsdosFile>& files);

// The command that starts the disk's program, without its RETURN: RUN"NAME" (with the
// extension only where AMSDOS would otherwise find another file first), or |CPM.
std::string PAL_ChooseAutorunCommand(const std::vector<AmsdosFile>& files,
                                     const std::string& imageFileName);
