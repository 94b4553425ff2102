// The monitor window: the in-memory console's grid drawn cell by cell, and its keys.
#include "desktop/console_window.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>

#include "desktop/qt_keys.h"

namespace {
constexpr const char* kTitle = "Brallivane - Amstrad CPC emulation";
const QColor kBackground(0, 0, 0);
const QColor kText(192, 192, 192);
}  // namespace

ConsoleWindow::ConsoleWindow() {
    operations_ = {this, Open, GetCursor, SetCursor, Write, KeyWaiting, ReadKey};
    setWindowTitle(kTitle);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    QFontMetrics metrics(font);
    cellWidth_ = metrics.horizontalAdvance(QLatin1Char('M'));
    cellHeight_ = metrics.height();
    ascent_ = metrics.ascent();
    setFixedSize(cellWidth_ * PAL_CONSOLE_COLUMNS, cellHeight_ * PAL_CONSOLE_ROWS);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void ConsoleWindow::Changed() {
    if (!repaintPending_.exchange(true, std::memory_order_acq_rel)) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                repaintPending_.store(false, std::memory_order_release);
                update();
            },
            Qt::QueuedConnection);
    }
}

void ConsoleWindow::Open(void* context) {
    auto* self = static_cast<ConsoleWindow*>(context);
    QMetaObject::invokeMethod(
        self,
        [self] {
            self->show();
            self->raise();
            self->activateWindow();
        },
        Qt::QueuedConnection);
}

void ConsoleWindow::GetCursor(void* context, int* column, int* row) {
    static_cast<ConsoleWindow*>(context)->grid_.Cursor(column, row);
}

void ConsoleWindow::SetCursor(void* context, int column, int row) {
    auto* self = static_cast<ConsoleWindow*>(context);
    const PAL_ConsoleOperations* grid = self->grid_.Operations();
    grid->setCursor(grid->context, column, row);
    self->Changed();
}

void ConsoleWindow::Write(void* context, const char* text) {
    auto* self = static_cast<ConsoleWindow*>(context);
    const PAL_ConsoleOperations* grid = self->grid_.Operations();
    grid->write(grid->context, text);
    self->Changed();
}

bool ConsoleWindow::KeyWaiting(void* context) {
    const PAL_ConsoleOperations* grid = static_cast<ConsoleWindow*>(context)->grid_.Operations();
    return grid->keyWaiting(grid->context);
}

uint8_t ConsoleWindow::ReadKey(void* context) {
    const PAL_ConsoleOperations* grid = static_cast<ConsoleWindow*>(context)->grid_.Operations();
    return grid->readKey(grid->context);
}

void ConsoleWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), kBackground);
    painter.setPen(kText);
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
