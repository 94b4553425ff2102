// Pixel reading for the desktop tests.
#include "screen_reading.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <fstream>
#include <iterator>

#include "desktop/status_line.h"

namespace {

constexpr size_t kCharsetOffset = 0x3800;
constexpr int kStatusTextDown = 4;
constexpr int kSpeedX = 24;

uint32_t At(const Capture& capture, int x, int y) {
    return reinterpret_cast<const QRgb*>(capture.constScanLine(y))[x] & 0xFFFFFF;
}

bool Light(uint32_t pixel) {
    return (pixel >> 16 & 0xFF) * 3 + (pixel >> 8 & 0xFF) * 6 + (pixel & 0xFF) > 0x80 * 10;
}

// CPC ink in the default colours: bright yellow on blue.
bool Ink(uint32_t pixel) {
    return (pixel >> 16 & 0xFF) > 0x80 && (pixel >> 8 & 0xFF) > 0x80;
}

bool CpcTextAt(const Capture& capture, const std::vector<uint8_t>& charset, const std::string& text,
               int x0, int y0) {
    for (size_t i = 0; i < text.size(); ++i) {
        const uint8_t* glyph = &charset[static_cast<uint8_t>(text[i]) * 8];
        for (int line = 0; line < 8; ++line) {
            for (int bit = 0; bit < 8; ++bit) {
                bool wanted = glyph[line] >> (7 - bit) & 1;
                int x = x0 + static_cast<int>(16 * i) + 2 * bit;
                if (Ink(At(capture, x, y0 + 2 * line)) != wanted) return false;
            }
        }
    }
    return true;
}

// True when the capture shows TEXT with its top-left at x, y as the windows draw it: light
// on black one character per cell (the monitor), or black on grey as one run (the status
// line, cellWidth 0). Lightness is compared, and anti-aliased edges may fall either way.
bool ShowsDrawn(const Capture& capture, int x, int y, const QFont& font, const QString& text,
                int cellWidth) {
    QFontMetrics metrics(font);
    int width =
        cellWidth ? cellWidth * static_cast<int>(text.size()) : metrics.horizontalAdvance(text);
    // Laid out for the screen's resolution, as the windows lay out their text.
    QImage image(std::max(width, 1), metrics.height(), QImage::Format_RGB32);
    int dotsPerMeter = qRound(QGuiApplication::primaryScreen()->logicalDotsPerInch() / 0.0254);
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    image.fill(cellWidth ? QColor(Qt::black) : QColor(192, 192, 192));
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(cellWidth ? QColor(192, 192, 192) : QColor(Qt::black));
    if (!cellWidth) painter.drawText(image.rect(), Qt::AlignLeft | Qt::AlignTop, text);
    for (int i = 0; cellWidth && i < text.size(); ++i)
        painter.drawText(i * cellWidth, metrics.ascent(), QString(text.at(i)));
    painter.end();
    if (x < 0 || y < 0 || x + image.width() > capture.width() ||
        y + image.height() > capture.height())
        return false;
    int differences = 0;
    for (int row = 0; row < image.height(); ++row)
        for (int column = 0; column < image.width(); ++column)
            differences +=
                Light(image.pixel(column, row)) != Light(At(capture, x + column, y + row));
    return differences * 50 <= image.width() * image.height();
}

}  // namespace

Capture CaptureWindow(unsigned long window) {
    QScreen* screen = QGuiApplication::primaryScreen();
    return screen->grabWindow(window).toImage().convertToFormat(QImage::Format_RGB32);
}

std::vector<uint8_t> LoadCharset(const std::string& romFile) {
    std::ifstream file(romFile, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
    if (bytes.size() < kCharsetOffset + 2048) return {};
    return {bytes.begin() + kCharsetOffset, bytes.begin() + kCharsetOffset + 2048};
}

bool ShowsCpcText(const Capture& capture, const std::vector<uint8_t>& charset,
                  const std::string& text) {
    int top = capture.height() - kStatusHeight - kPictureHeight;
    int width = static_cast<int>(16 * text.size());
    if (charset.size() < 2048 || top < 0 || capture.width() < width) return false;
    for (int y = top; y + 16 <= top + kPictureHeight; ++y)
        for (int x = 0; x + width <= capture.width(); ++x)
            if (CpcTextAt(capture, charset, text, x, y)) return true;
    return false;
}

bool MonitorShows(const Capture& capture, int column, int row, const QString& text) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    QFontMetrics metrics(font);
    int cellWidth = metrics.horizontalAdvance(QLatin1Char('M'));
    return ShowsDrawn(capture, column * cellWidth, row * metrics.height(), font, text, cellWidth);
}

int StatusSpeed(const Capture& capture) {
    if (StatusShows(capture, kSpeedX, QStringLiteral("PAUSE"))) return -1;
    if (StatusShows(capture, kSpeedX, QString::fromLatin1(STATUS_STOPPED))) return -3;
    for (int figure = 0; figure < 5000; ++figure) {
        QString text = QStringLiteral("%1.%2 %").arg(figure / 10).arg(figure % 10);
        if (StatusShows(capture, kSpeedX, text)) return figure;
    }
    return -2;
}

bool StatusShows(const Capture& capture, int x, const QString& text, int right) {
    int top = capture.height() - kStatusHeight + kStatusTextDown;
    QFont font = QGuiApplication::font();
    font.setPixelSize(STATUS_FONT_PIXELS);
    QString shown =
        right ? QFontMetrics(font).elidedText(text, Qt::ElideRight, right - x - STATUS_FIELD_GAP)
              : text;
    return ShowsDrawn(capture, x, top, font, shown, 0);
}
