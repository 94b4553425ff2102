#pragma once
// A monitor console held in memory: the grid of cells the monitor draws on, and a key
// queue that other threads fill. Used by the headless runner and the tests, which read
// the grid back and type keys into it.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "common/host_console.h"

class MemoryConsole {
   public:
    MemoryConsole();
    MemoryConsole(const MemoryConsole&) = delete;
    MemoryConsole& operator=(const MemoryConsole&) = delete;

    // The operations to install with PAL_SetConsole; they stay valid as long as this console.
    const PAL_ConsoleOperations* Operations() const { return &operations_; }

    // Keys, read by the monitor in the order pushed. A prefixed key is pushed as its pair.
    void PushKeys(const std::vector<uint8_t>& keys);
    // Waits until every pushed key has been read and the monitor has looked for a key
    // once more since, so that whatever the keys asked for has been done (the monitor does
    // not look at the keyboard while a script runs, so a script has ended too). False
    // when that has not happened within the time limit.
    bool WaitUntilIdle(uint32_t timeoutMilliseconds);

    // Called on the monitor's thread after the console was opened, written or its cursor
    // moved (a window repaints then); set before the monitor starts. Null for none.
    void SetChangeObserver(void (*observer)(void* context), void* context);

    // One row of the grid as the bytes written there, PAL_CONSOLE_COLUMNS long.
    std::string Row(int row) const;
    std::vector<std::string> Rows() const;
    // length cells of a row from a column.
    std::string Text(int column, int row, int length) const;
    void Cursor(int* column, int* row) const;
    bool Opened() const;

   private:
    static void Open(void* context);
    static void GetCursor(void* context, int* column, int* row);
    static void SetCursor(void* context, int column, int row);
    static void Write(void* context, const char* text);
    static bool KeyWaiting(void* context);
    static uint8_t ReadKey(void* context);

    void PutLocked(uint8_t byte);
    void NotifyChange() const;
    void NewLineLocked();

    PAL_ConsoleOperations operations_;
    mutable std::mutex mutex_;
    std::condition_variable keysChanged_;
    uint8_t cells_[PAL_CONSOLE_ROWS][PAL_CONSOLE_COLUMNS];
    int column_ = 0;
    int row_ = 0;
    bool opened_ = false;
    std::deque<uint8_t> keys_;
    uint64_t emptyLooks_ = 0;  // times the monitor looked for a key and found none
    void (*observer_)(void*) = nullptr;
    void* observerContext_ = nullptr;
};
