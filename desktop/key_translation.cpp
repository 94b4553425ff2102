// The host key translation, on the user-interface thread: joystick keys, fixed keys,
// SHIFT with the re-translation of the held key, and characters through the layout.
#include "desktop/key_translation.h"

#include <atomic>
#include <cstring>
#include <iterator>

#include "common/sound/psg.h"

namespace {

struct FixedKey {
    uint32_t virtualKey;
    uint8_t code;
};

constexpr FixedKey kFixedKeys[] = {
    {VK_BACK, PSG_KEY_DEL},         {VK_TAB, PSG_KEY_TAB},
    {VK_RETURN, PSG_KEY_RETURN},    {VK_ESCAPE, PSG_KEY_ESC},
    {VK_SPACE, PSG_KEY_SPACE},      {VK_LEFT, PSG_KEY_CURSOR_LEFT},
    {VK_UP, PSG_KEY_CURSOR_UP},     {VK_RIGHT, PSG_KEY_CURSOR_RIGHT},
    {VK_DOWN, PSG_KEY_CURSOR_DOWN}, {VK_DELETE, PSG_KEY_CLR},
    {VK_LCONTROL, PSG_KEY_CONTROL}, {VK_RCONTROL, PSG_KEY_COPY},
};

constexpr FixedKey kJoystickKeys[] = {
    {VK_SPACE, PSG_KEY_JOY_FIRE2}, {'A', PSG_KEY_JOY_UP},   {'O', PSG_KEY_JOY_LEFT},
    {'P', PSG_KEY_JOY_RIGHT},      {'Q', PSG_KEY_JOY_DOWN},
};

// The characters that reach the CPC through the layout.
constexpr char kLayoutCharacters[] = "!#$%&'()*+,-./0123456789:;<=>?[\\]^_`{|}\"@";

std::atomic<Key_LayoutLookup> g_lookup{nullptr};
bool g_joystickMode = false;
uint32_t g_lastVirtualKey = 0;
uint32_t g_lastScanCode = 0;

bool FindCode(const FixedKey* table, size_t count, uint32_t virtualKey, uint8_t* code) {
    for (size_t i = 0; i < count; ++i) {
        if (table[i].virtualKey == virtualKey) {
            *code = table[i].code;
            return true;
        }
    }
    return false;
}

void TranslateThroughLayout(uint32_t virtualKey, uint32_t lParam, uint8_t pressed) {
    Key_LayoutLookup lookup = g_lookup.load(std::memory_order_acquire);
    if (!lookup) return;
    uint32_t character = lookup(virtualKey, (lParam >> 16) & 0xFF);
    if (character == PSG_KEY_POUND ||
        (character != 0 && character < 0x80 && std::strchr(kLayoutCharacters, character)))
        PSG_KeyEvent(static_cast<uint8_t>(character), pressed);
}

}  // namespace

void Key_SetLayoutLookup(Key_LayoutLookup lookup) {
    g_lookup.store(lookup, std::memory_order_release);
}

void Win32_TranslateKey(uint32_t virtualKey, uint32_t lParam, uint8_t pressed) {
    if (virtualKey == VK_F11) {
        if (!pressed) g_joystickMode = !g_joystickMode;
        return;
    }
    uint8_t code = 0;
    if (g_joystickMode && FindCode(kJoystickKeys, std::size(kJoystickKeys), virtualKey, &code)) {
        PSG_KeyEvent(code, pressed);
        return;
    }
    bool extended = (lParam & KEY_EXTENDED_FLAG) != 0;
    if (virtualKey == VK_CONTROL) virtualKey = extended ? VK_RCONTROL : VK_LCONTROL;
    if (virtualKey == VK_MENU) PSG_KeyEvent(PSG_KEY_CONTROL, 0);
    if (virtualKey == VK_RETURN && extended) {
        PSG_KeyEvent(PSG_KEY_ENTER, pressed);
        return;
    }
    if (FindCode(kFixedKeys, std::size(kFixedKeys), virtualKey, &code)) {
        PSG_KeyEvent(code, pressed);
        return;
    }
    if (virtualKey >= 'A' && virtualKey <= 'Z') {
        PSG_KeyEvent(static_cast<uint8_t>(virtualKey), pressed);
        return;
    }
    if (virtualKey >= VK_NUMPAD0 && virtualKey <= VK_NUMPAD0 + 9) {
        PSG_KeyEvent(static_cast<uint8_t>(PSG_KEY_F0 + (virtualKey - VK_NUMPAD0)), pressed);
        return;
    }
    if (virtualKey == VK_SHIFT) {
        PSG_KeyEvent(PSG_KEY_SHIFT, pressed);
        // The held key now types another character: on a press the CPC key follows it. A
        // typist lets go of Shift a moment before the symbol key, so on a release the
        // held character has only been let go, and nothing new is typed.
        if (pressed)
            TranslateThroughLayout(g_lastVirtualKey, g_lastScanCode, 1);
        else
            g_lastVirtualKey = g_lastScanCode = 0;
        return;
    }
    if (pressed) {
        g_lastVirtualKey = virtualKey;
        g_lastScanCode = lParam & KEY_SCAN_CODE_MASK;
    } else {
        g_lastVirtualKey = 0;
        g_lastScanCode = 0;
    }
    TranslateThroughLayout(virtualKey, lParam, pressed);
}

bool Key_JoystickMode() {
    return g_joystickMode;
}

void Key_ResetTranslation() {
    g_joystickMode = false;
    g_lastVirtualKey = 0;
    g_lastScanCode = 0;
}
