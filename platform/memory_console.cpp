// The in-memory monitor console: a grid that behaves like a terminal of 75 x 41 cells,
// and a key queue shared between the emulation thread and whoever types.
#include "platform/memory_console.h"

#include <chrono>
#include <cstring>

namespace {
constexpr int kTabWidth = 8;
}

MemoryConsole::MemoryConsole() {
    std::memset(cells_, ' ', sizeof cells_);
    operations_ = {this, Open, GetCursor, SetCursor, Write, KeyWaiting, ReadKey};
}

void MemoryConsole::PushKeys(const std::vector<uint8_t>& keys) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        keys_.insert(keys_.end(), keys.begin(), keys.end());
    }
    keysChanged_.notify_all();
}

bool MemoryConsole::WaitUntilIdle(uint32_t timeoutMilliseconds) {
    auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMilliseconds);
    std::unique_lock<std::mutex> lock(mutex_);
    if (!keysChanged_.wait_until(lock, deadline, [this] { return keys_.empty(); })) return false;
    uint64_t looksBefore = emptyLooks_;
    return keysChanged_.wait_until(lock, deadline,
                                   [this, looksBefore] { return emptyLooks_ > looksBefore; });
}

void MemoryConsole::SetChangeObserver(void (*observer)(void* context), void* context) {
    observer_ = observer;
    observerContext_ = context;
}

void MemoryConsole::NotifyChange() const {
    if (observer_) observer_(observerContext_);
}

std::string MemoryConsole::Row(int row) const {
    if (row < 0 || row >= PAL_CONSOLE_ROWS) return {};
    std::lock_guard<std::mutex> lock(mutex_);
    return std::string(reinterpret_cast<const char*>(cells_[row]), PAL_CONSOLE_COLUMNS);
}

std::vector<std::string> MemoryConsole::Rows() const {
    std::vector<std::string> rows;
    for (int row = 0; row < PAL_CONSOLE_ROWS; ++row) rows.push_back(Row(row));
    return rows;
}

std::string MemoryConsole::Text(int column, int row, int length) const {
    std::string line = Row(row);
    if (column < 0 || column >= static_cast<int>(line.size()) || length < 0) return {};
    return line.substr(static_cast<size_t>(column), static_cast<size_t>(length));
}

void MemoryConsole::Cursor(int* column, int* row) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (column) *column = column_;
    if (row) *row = row_;
}

bool MemoryConsole::Opened() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}

void MemoryConsole::Open(void* context) {
    auto* self = static_cast<MemoryConsole*>(context);
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->opened_ = true;
    }
    self->NotifyChange();
}

void MemoryConsole::GetCursor(void* context, int* column, int* row) {
    static_cast<MemoryConsole*>(context)->Cursor(column, row);
}

void MemoryConsole::SetCursor(void* context, int column, int row) {
    // A position outside the grid is refused, as a console refuses it.
    if (column < 0 || column >= PAL_CONSOLE_COLUMNS || row < 0 || row >= PAL_CONSOLE_ROWS) return;
    auto* self = static_cast<MemoryConsole*>(context);
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->column_ = column;
        self->row_ = row;
    }
    self->NotifyChange();
}

void MemoryConsole::Write(void* context, const char* text) {
    if (!text) return;
    auto* self = static_cast<MemoryConsole*>(context);
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        for (const char* p = text; *p; ++p) self->PutLocked(static_cast<uint8_t>(*p));
    }
    self->NotifyChange();
}

bool MemoryConsole::KeyWaiting(void* context) {
    auto* self = static_cast<MemoryConsole*>(context);
    bool waiting;
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        waiting = !self->keys_.empty();
        if (!waiting) ++self->emptyLooks_;
    }
    if (!waiting) self->keysChanged_.notify_all();
    return waiting;
}

uint8_t MemoryConsole::ReadKey(void* context) {
    auto* self = static_cast<MemoryConsole*>(context);
    uint8_t key = 0;
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        if (self->keys_.empty()) return 0;
        key = self->keys_.front();
        self->keys_.pop_front();
    }
    self->keysChanged_.notify_all();
    return key;
}

void MemoryConsole::NewLineLocked() {
    column_ = 0;
    if (++row_ < PAL_CONSOLE_ROWS) return;
    // Past the last row the grid scrolls up by one.
    std::memmove(cells_[0], cells_[1], sizeof cells_ - sizeof cells_[0]);
    std::memset(cells_[PAL_CONSOLE_ROWS - 1], ' ', sizeof cells_[0]);
    row_ = PAL_CONSOLE_ROWS - 1;
}

void MemoryConsole::PutLocked(uint8_t byte) {
    switch (byte) {
        case '\n': NewLineLocked(); return;
        case '\r': column_ = 0; return;
        case '\b':
            if (column_ > 0) --column_;
            return;
        case '\a': return;
        case '\t': do { PutLocked(' ');
            } while (column_ % kTabWidth != 0);
            return;
        default: break;
    }
    cells_[row_][column_] = byte;
    if (++column_ == PAL_CONSOLE_COLUMNS) NewLineLocked();
}
