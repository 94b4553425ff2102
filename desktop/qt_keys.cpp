// Qt keys to virtual keys and console codes, table-driven.
#include "desktop/qt_keys.h"

#include <QKeyEvent>

#include "common/host_console.h"
#include "desktop/key_translation.h"
#include "desktop/xkb_layout.h"

namespace {

// X key codes of the right-hand Control key and of the keypad's Enter.
constexpr uint32_t kRightControlKeyCode = 105;
constexpr uint32_t kKeypadEnterKeyCode = 104;

struct KeyMap {
    int qtKey;
    uint32_t virtualKey;
};
constexpr KeyMap kVirtualKeys[] = {
    {Qt::Key_Backspace, VK_BACK}, {Qt::Key_Tab, VK_TAB},         {Qt::Key_Backtab, VK_TAB},
    {Qt::Key_Return, VK_RETURN},  {Qt::Key_Enter, VK_RETURN},    {Qt::Key_Escape, VK_ESCAPE},
    {Qt::Key_Space, VK_SPACE},    {Qt::Key_Left, VK_LEFT},       {Qt::Key_Up, VK_UP},
    {Qt::Key_Right, VK_RIGHT},    {Qt::Key_Down, VK_DOWN},       {Qt::Key_Delete, VK_DELETE},
    {Qt::Key_Shift, VK_SHIFT},    {Qt::Key_Control, VK_CONTROL}, {Qt::Key_Alt, VK_MENU},
    {Qt::Key_AltGr, VK_MENU},     {Qt::Key_F11, VK_F11},
};

struct ConsoleKey {
    int qtKey;
    uint8_t prefix;  // 0 or 224 for a two-code key, 255 for a one-code key
    uint8_t code;
};
constexpr uint8_t kSingle = 255;
constexpr ConsoleKey kConsoleKeys[] = {
    {Qt::Key_F1, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1},
    {Qt::Key_F2, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1 + 1},
    {Qt::Key_F3, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1 + 2},
    {Qt::Key_F4, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F1 + 3},
    {Qt::Key_F5, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5},
    {Qt::Key_F6, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5 + 1},
    {Qt::Key_F7, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5 + 2},
    {Qt::Key_F8, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5 + 3},
    {Qt::Key_F9, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F5 + 4},
    {Qt::Key_F10, PAL_KEY_FUNCTION_PREFIX, PAL_KEY_F10},
    {Qt::Key_F11, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_F11},
    {Qt::Key_F12, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_F11 + 1},
    {Qt::Key_Home, PAL_KEY_EXTENDED_PREFIX, 71},
    {Qt::Key_Up, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_UP},
    {Qt::Key_PageUp, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_UP},
    {Qt::Key_Left, PAL_KEY_EXTENDED_PREFIX, 75},
    {Qt::Key_Right, PAL_KEY_EXTENDED_PREFIX, 77},
    {Qt::Key_End, PAL_KEY_EXTENDED_PREFIX, 79},
    {Qt::Key_Down, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_DOWN},
    {Qt::Key_PageDown, PAL_KEY_EXTENDED_PREFIX, PAL_KEY_PAGE_DOWN},
    {Qt::Key_Insert, PAL_KEY_EXTENDED_PREFIX, 82},
    {Qt::Key_Delete, PAL_KEY_EXTENDED_PREFIX, 83},
    {Qt::Key_Escape, kSingle, PAL_KEY_ESCAPE},
    {Qt::Key_Return, kSingle, PAL_KEY_ENTER},
    {Qt::Key_Enter, kSingle, PAL_KEY_ENTER},
    {Qt::Key_Backspace, kSingle, PAL_KEY_BACKSPACE},
    {Qt::Key_Tab, kSingle, '\t'},
};

}  // namespace

HostKey Qt_HostKey(const QKeyEvent* event) {
    HostKey key{VK_OTHER, 0, false};
    int qtKey = event->key();
    uint32_t scanCode = event->nativeScanCode();
    bool keypad = (event->modifiers() & Qt::KeypadModifier) != 0;
    bool extended = false;
    for (const KeyMap& entry : kVirtualKeys) {
        if (entry.qtKey == qtKey) {
            key.virtualKey = entry.virtualKey;
            break;
        }
    }
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) key.virtualKey = 'A' + (qtKey - Qt::Key_A);
    if (keypad && qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        key.virtualKey = VK_NUMPAD0 + (qtKey - Qt::Key_0);
    if (qtKey == Qt::Key_Control) extended = scanCode == kRightControlKeyCode;
    if (qtKey == Qt::Key_Enter) extended = keypad || scanCode == kKeypadEnterKeyCode;
    if (qtKey == Qt::Key_AltGr) extended = true;
    key.lParam = Key_MakeParam(scanCode, extended);
    // Alt without Control makes a system key, which the CPC never sees; AltGr is no Alt.
    bool control = (event->modifiers() & Qt::ControlModifier) != 0;
    bool alt = qtKey == Qt::Key_Alt || (event->modifiers() & Qt::AltModifier) != 0;
    key.system = alt && !control;
    return key;
}

uint32_t Qt_ModifiersAfter(const QKeyEvent* event, bool pressed) {
    uint32_t mask = event->nativeModifiers();
    uint32_t own = 0;
    if (event->key() == Qt::Key_Shift) own = XKB_SHIFT_MASK;
    if (event->key() == Qt::Key_AltGr) own = XKB_LEVEL3_MASK;
    return pressed ? (mask | own) : (mask & ~own);
}

std::vector<uint8_t> Qt_ConsoleKeys(const QKeyEvent* event) {
    for (const ConsoleKey& entry : kConsoleKeys) {
        if (entry.qtKey != event->key()) continue;
        if (entry.prefix == kSingle) return {entry.code};
        return {entry.prefix, entry.code};
    }
    QString text = event->text();
    if (text.size() == 1) {
        ushort c = text.at(0).unicode();
        if (c >= 0x20 && c < 0x7F) return {static_cast<uint8_t>(c)};
    }
    return {};
}
