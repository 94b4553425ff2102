#pragma once
// Reading the windows' pictures: CPC text through the character set of the lower ROM,
// and the program's own texts by drawing them again with the same fonts and comparing.
#include <QFont>
#include <QImage>
#include <QString>
#include <cstdint>
#include <string>
#include <vector>

// A window's picture as the X server has it, in QImage::Format_RGB32 (null when the
// window is not there).
using Capture = QImage;
Capture CaptureWindow(unsigned long window);

constexpr int kStatusHeight = 20;
constexpr int kPictureHeight = 540;

// The character set (256 glyphs of 8 bytes) from a 6128's lower ROM file.
std::vector<uint8_t> LoadCharset(const std::string& romFile);
// True when TEXT stands in mode 1 somewhere on the CPC picture of a main-window capture.
bool ShowsCpcText(const Capture& capture, const std::vector<uint8_t>& charset,
                  const std::string& text);

// The monitor window's text at a cell, drawn as the window draws it.
bool MonitorShows(const Capture& capture, int column, int row, const QString& text);
// The status line's speed field: the figure in tenths of a per cent, -1 for "PAUSE", -3 for
// a stopped machine and -2 when it shows none of these.
int StatusSpeed(const Capture& capture);
// True when the status line shows TEXT with its left edge at x, cut with an ellipsis at
// the next field's edge when one (right) is given.
bool StatusShows(const Capture& capture, int x, const QString& text, int right = 0);
