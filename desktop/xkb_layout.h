#pragma once
// The host keyboard layout through xkbcommon: the character a key (X key code) types
// under given modifiers, read from the X server's keymap, or from a layout named by
// hand where there is no X server.
#include <cstdint>

// Loads the keymap of the X server's core keyboard through an xcb connection
// (xcb_connection_t*); false when the server has no keyboard extension.
bool Xkb_LoadFromServer(void* xcbConnection);
// Loads a keymap by layout and variant ("de", "nodeadkeys"; null for the default).
bool Xkb_LoadByName(const char* layout, const char* variant);
// The server's keymap changed (setxkbmap, a layout switch): reloaded at the next lookup.
void Xkb_MarkStale();
// True for an event (xcb_generic_event_t*) of the server's connection that tells of a new
// keyboard or keymap.
bool Xkb_IsKeymapChange(const void* xcbEvent);
void Xkb_Unload();

// The modifiers of the X state mask (bit 0 Shift, 1 Lock, 2 Control, 3-7 Mod1-Mod5) and
// the layout group that the next lookups use.
void Xkb_SetModifiers(uint32_t mask, uint32_t group);
// The character (Unicode) that the key types; 0 for none. A dead key gives its spacing
// character, as the key shows it.
uint32_t Xkb_Character(uint32_t keyCode);
// Key_LayoutLookup on this layout.
uint32_t Xkb_LayoutLookup(uint32_t virtualKey, uint32_t scanCode);

// X modifier bits.
constexpr uint32_t XKB_SHIFT_MASK = 0x01;
constexpr uint32_t XKB_LEVEL3_MASK = 0x80;  // Mod5, where AltGr usually lives
