#pragma once
// The main window's client area: the CPC picture scaled to fit with its aspect ratio kept
// (black bars around it), the status line below it, and the keys and mouse moves that
// arrive there. The zoom gives the size the window starts with.
#include <QImage>
#include <QPixmap>
#include <QTimer>
#include <QWidget>
#include <atomic>

class ScreenWidget : public QWidget {
    Q_OBJECT
   public:
    explicit ScreenWidget(uint32_t zoom);
    // The picture's scale, 1 to 4; the window follows.
    void SetZoom(uint32_t zoom);
    // Emulation thread, at the end of every frame: never blocks.
    void FrameReady();
    QSize sizeHint() const override;
    // Full screen hides the status line.
    void SetStatusVisible(bool visible);
    // Smooth scaling where the picture is not a whole multiple of the CPC's; else nearest.
    void SetSmoothScaling(bool smooth);
    // Where the picture is drawn.
    QRect PictureRect() const;

   protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; }

   private:
    void ShowFrame();
    void PaintStatus(QPainter& painter);
    void Key(QKeyEvent* event, bool pressed);

    uint32_t zoom_;
    bool statusVisible_ = true;
    bool smooth_ = true;
    QImage image_;
    QPixmap activityIcon_;
    std::atomic<bool> framePending_{false};
    QTimer backlogTimer_;  // hands on keys that did not fit the key queue
    uint32_t mouseX_ = 0;
    uint32_t mouseY_ = 0;
};
