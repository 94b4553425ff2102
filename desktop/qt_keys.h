#pragma once
// Qt key events in the terms the key translation and the monitor console read them.
#include <cstdint>
#include <vector>

class QKeyEvent;

struct HostKey {
    uint32_t virtualKey;
    uint32_t lParam;  // scan code (the X key code) and extended flag
    bool system;      // pressed with Alt: such keys do not reach the CPC
};
HostKey Qt_HostKey(const QKeyEvent* event);
// The X modifier state the event's key leaves behind: the state before the event, with
// the event's own Shift or AltGr change applied.
uint32_t Qt_ModifiersAfter(const QKeyEvent* event, bool pressed);
// The console key codes of a key typed in the monitor window (a prefixed key as its
// pair); empty for a key the console does not know.
std::vector<uint8_t> Qt_ConsoleKeys(const QKeyEvent* event);
