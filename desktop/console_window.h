#pragma once
// The monitor's console as a window of 75 x 41 character cells in a monospace font. The
// monitor writes on the emulation thread into an in-memory grid; the window repaints
// from it on the user-interface thread and types its keys into the grid's key queue.
#include <QWidget>
#include <atomic>

#include "common/host_console.h"
#include "platform/memory_console.h"

class ConsoleWindow : public QWidget {
    Q_OBJECT
   public:
    ConsoleWindow();
    // Install with PAL_SetConsole; valid as long as this window.
    const PAL_ConsoleOperations* Operations() const { return &operations_; }

   signals:
    void closed();

   protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool focusNextPrevChild(bool) override { return false; }

   private:
    static void Open(void* context);
    static void GetCursor(void* context, int* column, int* row);
    static void SetCursor(void* context, int column, int row);
    static void Write(void* context, const char* text);
    static bool KeyWaiting(void* context);
    static uint8_t ReadKey(void* context);
    // Emulation thread: asks for one repaint, however many writes come before it.
    void Changed();

    MemoryConsole grid_;
    PAL_ConsoleOperations operations_;
    std::atomic<bool> repaintPending_{false};
    int cellWidth_ = 8;
    int cellHeight_ = 16;
    int ascent_ = 12;
};
