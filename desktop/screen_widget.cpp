// Painting the frame and the status line, and passing keys to the key translation.
#include "desktop/screen_widget.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>

#include "common/video/renderer.h"
#include "desktop/frame_exchange.h"
#include "desktop/key_backlog.h"
#include "desktop/key_translation.h"
#include "desktop/qt_keys.h"
#include "desktop/status_line.h"
#include "desktop/xkb_layout.h"

namespace {
const QColor kStatusGrey(192, 192, 192);
const QColor kTextBackground(0xBF, 0xBF, 0xBF);
const QColor kOrange(255, 128, 0);
const QColor kRed(255, 0, 0);
constexpr int kTextDown = 4;
constexpr int kBoxUp = 2;
}  // namespace

ScreenWidget::ScreenWidget(uint32_t zoom)
    : zoom_(zoom), activityIcon_(QStringLiteral(":/icons/disk-activity.png")) {
    setMinimumSize(PAL_SCREEN_WIDTH / 4, PAL_FRAME_ROWS / 2 + STATUS_HEIGHT);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    QList<QRgb> colours(256, qRgb(0, 0, 0));
    const uint8_t* palette = PAL_GetPalette();
    for (int i = 0; i < PAL_PALETTE_ENTRIES; ++i)
        colours[i] = qRgb(palette[4 * i + 2], palette[4 * i + 1], palette[4 * i]);
    bool fresh = false;
    image_ = QImage(Frame_Latest(&fresh), PAL_SCREEN_WIDTH, PAL_FRAME_ROWS * 2, PAL_SCREEN_WIDTH,
                    QImage::Format_Indexed8);
    image_.setColorTable(colours);
    backlogTimer_.setInterval(10);
    connect(&backlogTimer_, &QTimer::timeout, this, [this] {
        if (KeyBacklog_Drain() == 0) backlogTimer_.stop();
    });
}

void ScreenWidget::SetZoom(uint32_t zoom) {
    zoom_ = zoom;
    updateGeometry();
    // The window grows or shrinks by what this widget's size lacks; it stays resizable.
    QSize lacking = sizeHint() - size();
    if (!window()->isFullScreen()) window()->resize(window()->size() + lacking);
    PAL_RequestStatusRefresh();
    update();
}

QSize ScreenWidget::sizeHint() const {
    return QSize(static_cast<int>(PAL_SCREEN_WIDTH * zoom_),
                 static_cast<int>(PAL_FRAME_ROWS * 2 * zoom_) + STATUS_HEIGHT);
}

void ScreenWidget::SetStatusVisible(bool visible) {
    statusVisible_ = visible;
    update();
}

void ScreenWidget::SetSmoothScaling(bool smooth) {
    smooth_ = smooth;
    update();
}

QRect ScreenWidget::PictureRect() const {
    int areaHeight = height() - (statusVisible_ ? STATUS_HEIGHT : 0);
    int pictureWidth = width();
    int pictureHeight = PAL_FRAME_ROWS * 2 * pictureWidth / PAL_SCREEN_WIDTH;
    if (pictureHeight > areaHeight) {
        pictureHeight = areaHeight;
        pictureWidth = PAL_SCREEN_WIDTH * pictureHeight / (PAL_FRAME_ROWS * 2);
    }
    return QRect((width() - pictureWidth) / 2, (areaHeight - pictureHeight) / 2, pictureWidth,
                 pictureHeight);
}

void ScreenWidget::FrameReady() {
    bool changed = Frame_Publish(PAL_GetFrameBuffer());
    if (!changed && !PAL_StatusRefreshPending()) return;
    if (!framePending_.exchange(true, std::memory_order_acq_rel))
        QMetaObject::invokeMethod(
            this, [this] { ShowFrame(); }, Qt::QueuedConnection);
}

void ScreenWidget::ShowFrame() {
    framePending_.store(false, std::memory_order_release);
    bool fresh = false;
    const uint8_t* frame = Frame_Latest(&fresh);
    if (image_.constBits() != frame) {
        QList<QRgb> colours = image_.colorTable();
        image_ = QImage(frame, PAL_SCREEN_WIDTH, PAL_FRAME_ROWS * 2, PAL_SCREEN_WIDTH,
                        QImage::Format_Indexed8);
        image_.setColorTable(colours);
    }
    if (PAL_TakeStatusRefresh())
        update();
    else
        update(PictureRect());
}

void ScreenWidget::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    QRect picture = PictureRect();
    int statusTop = height() - (statusVisible_ ? STATUS_HEIGHT : 0);
    // The bars around the picture.
    QRegion bars = QRegion(0, 0, width(), statusTop) - QRegion(picture);
    for (const QRect& bar : bars) painter.fillRect(bar, Qt::black);
    bool whole =
        picture.width() % PAL_SCREEN_WIDTH == 0 && picture.height() % (PAL_FRAME_ROWS * 2) == 0;
    painter.setRenderHint(QPainter::SmoothPixmapTransform, smooth_ && !whole);
    painter.drawImage(picture, image_);
    if (statusVisible_ && event->rect().bottom() >= statusTop) PaintStatus(painter);
}

void ScreenWidget::PaintStatus(QPainter& painter) {
    int top = height() - STATUS_HEIGHT;
    int right = width();
    StatusFields fields = Win32_StatusFields(zoom_, mouseX_, mouseY_);
    painter.fillRect(QRect(0, top, right, STATUS_HEIGHT), kStatusGrey);
    QFont font = painter.font();
    font.setPixelSize(STATUS_FONT_PIXELS);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.setBackgroundMode(Qt::OpaqueMode);
    painter.setBackground(kTextBackground);
    int textTop = top + kTextDown;
    int textHeight = STATUS_HEIGHT - kTextDown;
    // Each field ends where the next begins: a long disk name is cut with an ellipsis.
    auto text = [&](int left, int fieldRight, const std::string& value, int flags) {
        QString shown = QFontMetrics(painter.font())
                            .elidedText(QString::fromStdString(value), Qt::ElideRight,
                                        fieldRight - left - STATUS_FIELD_GAP);
        painter.drawText(QRect(left, textTop, fieldRight - left, textHeight), flags, shown);
    };
    int leftTop = Qt::AlignLeft | Qt::AlignTop;
    // An unpaced machine can run at "12345.6 %", wider than the field before the mouse
    // position: that figure gets a smaller font rather than running into it.
    QString speed = QString::fromStdString(fields.speed);
    int speedRoom = STATUS_MOUSE_X - STATUS_SPEED_X - 2;
    int speedWidth = QFontMetrics(font).horizontalAdvance(speed);
    if (speedWidth > speedRoom) {
        QFont narrow = font;
        narrow.setPixelSize(std::max(6, STATUS_FONT_PIXELS * speedRoom / speedWidth));
        painter.setFont(narrow);
    }
    painter.drawText(QRect(STATUS_SPEED_X, textTop, speedRoom + 2, textHeight), leftTop, speed);
    painter.setFont(font);
    if (fields.drives) {
        if (!fields.driveA.empty())
            text(STATUS_DRIVE_A_X, STATUS_DRIVE_B_X, fields.driveA, leftTop);
        if (!fields.driveB.empty())
            text(STATUS_DRIVE_B_X, STATUS_FULL_BOX_X, fields.driveB, leftTop);
        if (fields.activity) painter.drawPixmap(STATUS_ICON_X, top + 2, 16, 16, activityIcon_);
    }
    text(STATUS_MOUSE_X, fields.drives ? STATUS_DRIVE_A_X : STATUS_FULL_BOX_X, fields.mouse,
         leftTop);
    if (fields.joystick) text(STATUS_JOYSTICK_X, right, STATUS_JOYSTICK, leftTop);

    textTop -= kBoxUp;
    auto box = [&](int left, StatusBox colour, const char* letter, int flags) {
        QColor fill = colour == StatusBox::Grey     ? kStatusGrey
                      : colour == StatusBox::Orange ? kOrange
                                                    : kRed;
        painter.fillRect(QRect(left, textTop, STATUS_BOX_WIDTH, textHeight), fill);
        painter.setBackground(colour == StatusBox::Grey ? kTextBackground : fill);
        text(left + 2, left + STATUS_BOX_WIDTH, letter, flags);
        painter.setBackground(kTextBackground);
    };
    box(STATUS_FULL_BOX_X, fields.full, "F", Qt::AlignHCenter | Qt::AlignTop);
    box(STATUS_EMPTY_BOX_X, fields.empty, "E", leftTop);
    text(STATUS_CORRECTION_X, fields.joystick ? STATUS_JOYSTICK_X : right, fields.correction,
         leftTop);
    if (!fields.remote.empty()) text(STATUS_REMOTE_X, right, fields.remote, leftTop);
}

void ScreenWidget::Key(QKeyEvent* event, bool pressed) {
    HostKey key = Qt_HostKey(event);
    if (key.system) return;
    uint32_t mask = Qt_ModifiersAfter(event, pressed);
    Xkb_SetModifiers(mask & 0xFF, (mask >> 13) & 3);
    bool joystick = Key_JoystickMode();
    Win32_TranslateKey(key.virtualKey, key.lParam, pressed ? 1 : 0);
    if (Key_JoystickMode() != joystick) {
        PAL_RequestStatusRefresh();
        update();
    }
    if (KeyBacklog_Drain() != 0 && !backlogTimer_.isActive()) backlogTimer_.start();
}

void ScreenWidget::keyPressEvent(QKeyEvent* event) {
    if (event->isAutoRepeat()) return;
    Key(event, true);
}

void ScreenWidget::keyReleaseEvent(QKeyEvent* event) {
    if (event->isAutoRepeat()) return;
    Key(event, false);
}

void ScreenWidget::mouseMoveEvent(QMouseEvent* event) {
    // In the window's own pixels at the zoom, as the status line counts them.
    QRect picture = PictureRect();
    QPointF at = event->position() - QPointF(picture.topLeft());
    double scale = static_cast<double>(PAL_SCREEN_WIDTH * zoom_) / std::max(1, picture.width());
    mouseX_ = static_cast<uint32_t>(std::max(0.0, at.x() * scale));
    mouseY_ = static_cast<uint32_t>(std::max(0.0, at.y() * scale));
    QWidget::mouseMoveEvent(event);
}
