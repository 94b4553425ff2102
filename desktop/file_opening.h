#pragma once
// Files the user hands the program: named on the command line, dropped on the main
// window or picked from the recent disks. Each kind of file goes by its extension to what
// takes it: a disk put in drive A is started as the runner's --autorun starts it, once
// BASIC shows Ready; a snapshot is loaded and run; a tape goes in the deck and is started
// as the runner starts one.
#include <QString>

class QMainWindow;
class QWidget;

// How the machine is set running (F5 in the monitor); main installs it.
void Open_SetRunRequest(void (*run)());
// Opens the file into the drive (0 A, 1 B) and, with start, starts its program (setting
// the machine running first). A file that cannot be opened gets the insert menu's message.
bool Open_File(QWidget* parent, const QString& path, int drive, bool start);
// Drops on the screen (upper half drive A, lower half drive B, with a hint while dragging)
// and the Disk menu's "Recent disks".
void Open_Install(QMainWindow* window, QWidget* screen);
// Puts a disk loaded into a drive at the top of the recent list (eight kept).
void Open_NoteRecent(const QString& path);
