#pragma once
// Host keys to CPC keys. Keys with a fixed CPC meaning go by their virtual-key code; any
// other key goes through the host layout to the character it types, so that the CPC gets
// that character whatever the layout. F11 turns five keys into the joystick.
#include <cstdint>

// Virtual-key codes the translation knows (the host's key events are mapped to these).
constexpr uint32_t VK_BACK = 0x08;
constexpr uint32_t VK_TAB = 0x09;
constexpr uint32_t VK_RETURN = 0x0D;
constexpr uint32_t VK_SHIFT = 0x10;
constexpr uint32_t VK_CONTROL = 0x11;
constexpr uint32_t VK_MENU = 0x12;
constexpr uint32_t VK_ESCAPE = 0x1B;
constexpr uint32_t VK_SPACE = 0x20;
constexpr uint32_t VK_LEFT = 0x25;
constexpr uint32_t VK_UP = 0x26;
constexpr uint32_t VK_RIGHT = 0x27;
constexpr uint32_t VK_DOWN = 0x28;
constexpr uint32_t VK_DELETE = 0x2E;
constexpr uint32_t VK_NUMPAD0 = 0x60;
constexpr uint32_t VK_F11 = 0x7A;
constexpr uint32_t VK_LCONTROL = 0xA2;
constexpr uint32_t VK_RCONTROL = 0xA3;
// Any key that has no code of its own: only its character counts.
constexpr uint32_t VK_OTHER = 0xFF;

// lParam of a key event: the scan code in bits 16-23, the extended-key flag in bit 24.
constexpr uint32_t KEY_SCAN_CODE_MASK = 0x00FF0000;
constexpr uint32_t KEY_EXTENDED_FLAG = 0x01000000;
inline uint32_t Key_MakeParam(uint32_t scanCode, bool extended) {
    return ((scanCode & 0xFF) << 16) | (extended ? KEY_EXTENDED_FLAG : 0);
}

// The character the key with this scan code types under the host's current keyboard
// state (modifiers as they are now), 0 for none. Installed by the host.
using Key_LayoutLookup = uint32_t (*)(uint32_t virtualKey, uint32_t scanCode);
void Key_SetLayoutLookup(Key_LayoutLookup lookup);

// One key press (pressed 1) or release (0); auto-repeats are filtered out by the caller.
void Win32_TranslateKey(uint32_t virtualKey, uint32_t lParam, uint8_t pressed);

bool Key_JoystickMode();
// Back to the start state: joystick mode off, no held key.
void Key_ResetTranslation();
