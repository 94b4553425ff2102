// The keymap, its state and the lookups. User-interface thread only.
#include "desktop/xkb_layout.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace {

// Keyboard extension event kinds (the extension's header does not compile as C++).
constexpr uint8_t kNewKeyboardNotify = 0;
constexpr uint8_t kMapNotify = 1;

struct Layout {
    xkb_context* context = nullptr;
    xkb_keymap* keymap = nullptr;
    xkb_state* state = nullptr;
    xcb_connection_t* connection = nullptr;  // set when the keymap is the server's
    bool stale = false;
    int eventBase = -1;  // first event number of the keyboard extension
    uint32_t mask = 0;
    uint32_t group = 0;
};
Layout g_layout;

struct DeadKey {
    xkb_keysym_t keysym;
    uint32_t character;
};
constexpr DeadKey kDeadKeys[] = {
    {XKB_KEY_dead_circumflex, '^'}, {XKB_KEY_dead_grave, '`'},      {XKB_KEY_dead_acute, 0xB4},
    {XKB_KEY_dead_tilde, '~'},      {XKB_KEY_dead_diaeresis, 0xA8},
};

void Drop() {
    if (g_layout.state) xkb_state_unref(g_layout.state);
    if (g_layout.keymap) xkb_keymap_unref(g_layout.keymap);
    g_layout.state = nullptr;
    g_layout.keymap = nullptr;
}

bool Install(xkb_keymap* keymap) {
    Drop();
    if (!keymap) return false;
    g_layout.keymap = keymap;
    g_layout.state = xkb_state_new(keymap);
    Xkb_SetModifiers(g_layout.mask, g_layout.group);
    return g_layout.state != nullptr;
}

bool EnsureContext() {
    if (!g_layout.context) g_layout.context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    return g_layout.context != nullptr;
}

bool LoadServerKeymap() {
    xcb_connection_t* connection = g_layout.connection;
    int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
    if (device < 0) return false;
    return Install(xkb_x11_keymap_new_from_device(g_layout.context, connection, device,
                                                  XKB_KEYMAP_COMPILE_NO_FLAGS));
}

}  // namespace

bool Xkb_LoadFromServer(void* xcbConnection) {
    if (!xcbConnection || !EnsureContext()) return false;
    auto* connection = static_cast<xcb_connection_t*>(xcbConnection);
    uint8_t eventBase = 0;
    if (!xkb_x11_setup_xkb_extension(
            connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &eventBase, nullptr))
        return false;
    g_layout.eventBase = eventBase;
    g_layout.connection = connection;
    g_layout.stale = false;
    return LoadServerKeymap();
}

bool Xkb_LoadByName(const char* layout, const char* variant) {
    if (!EnsureContext()) return false;
    xkb_rule_names names{};
    names.layout = layout;
    names.variant = variant;
    g_layout.connection = nullptr;
    return Install(
        xkb_keymap_new_from_names(g_layout.context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS));
}

void Xkb_MarkStale() {
    g_layout.stale = true;
}

bool Xkb_IsKeymapChange(const void* xcbEvent) {
    if (!xcbEvent || g_layout.eventBase < 0) return false;
    const auto* bytes = static_cast<const uint8_t*>(xcbEvent);
    if ((bytes[0] & 0x7F) != g_layout.eventBase) return false;
    return bytes[1] == kNewKeyboardNotify || bytes[1] == kMapNotify;
}

void Xkb_Unload() {
    Drop();
    if (g_layout.context) xkb_context_unref(g_layout.context);
    g_layout = Layout{};
}

void Xkb_SetModifiers(uint32_t mask, uint32_t group) {
    g_layout.mask = mask;
    g_layout.group = group;
    if (g_layout.state) xkb_state_update_mask(g_layout.state, mask & 0xFF, 0, 0, 0, 0, group);
}

uint32_t Xkb_Character(uint32_t keyCode) {
    if (g_layout.stale && g_layout.connection) {
        g_layout.stale = false;
        LoadServerKeymap();
    }
    if (!g_layout.state || keyCode == 0) return 0;
    uint32_t character = xkb_state_key_get_utf32(g_layout.state, keyCode);
    if (character != 0) return character;
    xkb_keysym_t keysym = xkb_state_key_get_one_sym(g_layout.state, keyCode);
    for (const DeadKey& dead : kDeadKeys)
        if (dead.keysym == keysym) return dead.character;
    return 0;
}

uint32_t Xkb_LayoutLookup(uint32_t, uint32_t scanCode) {
    return Xkb_Character(scanCode);
}
