#pragma once
// The monitor's console as a window of 75 x 41 character cells in a monospace font. The
// monitor writes on the emulation thread into an in-memory grid; the window repaints
// from it on the user-interface thread and types its keys into the grid's key queue.
#include <QWidget>
#include <atomic>
#include <vector>

#include "common/host_console.h"
#include "platform/memory_console.h"

class ConsoleWindow : public QWidget {
    Q_OBJECT
   public:
    ConsoleWindow();
    // Install with PAL_SetConsole; valid as long as this window.
    const PAL_ConsoleOperations* Operations() const { return grid_.Operations(); }
    MemoryConsole* Grid() { return &grid_; }

   signals:
    void closed();

   protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; }

   private:
    // Emulation thread: asks for one repaint, however many changes come before it, and
    // shows the window once the monitor has opened the console.
    static void Changed(void* context);
    void Refresh();

    MemoryConsole grid_;
    std::atomic<bool> repaintPending_{false};
    bool shown_ = false;
    int cellWidth_ = 8;
    int cellHeight_ = 16;
    int ascent_ = 12;
};
