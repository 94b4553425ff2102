// The monitor window: the in-memory console's grid drawn cell by cell, and its keys.
#include "desktop/console_window.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <algorithm>

#include "desktop/qt_keys.h"

namespace {
constexpr const char* kTitle = "Brallivane - Amstrad CPC emulation";
const QColor kBackground(0, 0, 0);
const QColor kText(192, 192, 192);
}  // namespace

ConsoleWindow::ConsoleWindow() {
    grid_.SetChangeObserver(Changed, this);
    setWindowTitle(kTitle);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    QFontMetrics metrics(font);
    cellWidth_ = metrics.horizontalAdvance(QLatin1Char('M'));
    cellHeight_ = metrics.height();
    ascent_ = metrics.ascent();
    // Resizable: the grid, font and all, is drawn to fit (see paintEvent).
    QSize grid(cellWidth_ * PAL_CONSOLE_COLUMNS, cellHeight_ * PAL_CONSOLE_ROWS);
    resize(grid);
    setMinimumSize(grid / 2);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void ConsoleWindow::Changed(void* context) {
    auto* self = static_cast<ConsoleWindow*>(context);
    if (!self->repaintPending_.exchange(true, std::memory_order_acq_rel))
        QMetaObject::invokeMethod(
            self, [self] { self->Refresh(); }, Qt::QueuedConnection);
}

void ConsoleWindow::Refresh() {
    repaintPending_.store(false, std::memory_order_release);
    if (!shown_ && grid_.Opened()) {
        // The monitor has created its console: the window comes to the front.
        shown_ = true;
        show();
        raise();
        activateWindow();
    }
    update();
}

void ConsoleWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), kBackground);
    painter.setPen(kText);
    // The font follows the window's size, the same scale both ways so that it keeps its
    // shape.
    double scale = std::min(double(width()) / (cellWidth_ * PAL_CONSOLE_COLUMNS),
                            double(height()) / (cellHeight_ * PAL_CONSOLE_ROWS));
    if (scale != 1.0) painter.scale(scale, scale);
    std::vector<std::string> rows = grid_.Rows();
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        QString text = QString::fromLatin1(rows[row].data(), static_cast<int>(rows[row].size()));
        for (int column = 0; column < text.size(); ++column) {
            if (text.at(column) == QLatin1Char(' ')) continue;
            painter.drawText(column * cellWidth_, row * cellHeight_ + ascent_,
                             QString(text.at(column)));
        }
    }
    int column = 0;
    int row = 0;
    grid_.Cursor(&column, &row);
    painter.fillRect(column * cellWidth_, row * cellHeight_ + cellHeight_ - 2, cellWidth_, 2,
                     kText);
}

void ConsoleWindow::keyPressEvent(QKeyEvent* event) {
    std::vector<uint8_t> keys = Qt_ConsoleKeys(event);
    if (keys.empty()) {
        QWidget::keyPressEvent(event);
        return;
    }
    grid_.PushKeys(keys);
}

void ConsoleWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    emit closed();
}
