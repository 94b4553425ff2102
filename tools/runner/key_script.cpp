// Characters and escapes of --type to CPC key codes. Characters go through the key
// translator's own table (PSG_KeyCodeForChar), so the runner types exactly what the
// keyboard can; escapes name the keys that have no character.
#include "tools/runner/key_script.h"

#include "common/sound/psg.h"

namespace {

struct NamedKey {
    const char* name;
    uint8_t code;
};

const NamedKey NAMED_KEYS[] = {
    {"RETURN", PSG_KEY_RETURN},
    {"ENTER", PSG_KEY_ENTER},
    {"ESC", PSG_KEY_ESC},
    {"TAB", PSG_KEY_TAB},
    {"DEL", PSG_KEY_DEL},
    {"CLR", PSG_KEY_CLR},
    {"COPY", PSG_KEY_COPY},
    {"SPACE", PSG_KEY_SPACE},
    {"UP", PSG_KEY_CURSOR_UP},
    {"DOWN", PSG_KEY_CURSOR_DOWN},
    {"LEFT", PSG_KEY_CURSOR_LEFT},
    {"RIGHT", PSG_KEY_CURSOR_RIGHT},
    {"F0", PSG_KEY_F0},
    {"F1", PSG_KEY_F0 + 1},
    {"F2", PSG_KEY_F0 + 2},
    {"F3", PSG_KEY_F0 + 3},
    {"F4", PSG_KEY_F0 + 4},
    {"F5", PSG_KEY_F0 + 5},
    {"F6", PSG_KEY_F0 + 6},
    {"F7", PSG_KEY_F0 + 7},
    {"F8", PSG_KEY_F0 + 8},
    {"F9", PSG_KEY_F0 + 9},
};

constexpr unsigned char UTF8_LEAD_OF_POUND = 0xC2;  // the pound sign is C2 A3 in UTF-8

bool NamedKeyCode(const std::string& name, uint8_t& code) {
    for (const NamedKey& key : NAMED_KEYS) {
        if (name == key.name) {
            code = key.code;
            return true;
        }
    }
    return false;
}

std::string Describe(unsigned char c) {
    if (c >= 0x20 && c < 0x7F) return std::string("'") + static_cast<char>(c) + "'";
    static const char digits[] = "0123456789ABCDEF";
    return std::string("byte 0x") + digits[c >> 4] + digits[c & 15];
}

// The escape starting after the backslash at text[i]; i ends on its last character.
bool ParseEscape(const std::string& text, size_t& i, KeyStroke& stroke, std::string& error) {
    if (i + 1 >= text.size()) {
        error = "a backslash at the end of the text (write \\\\ for a backslash)";
        return false;
    }
    char e = text[++i];
    stroke = {PSG_KEY_NONE, false};
    switch (e) {
        case 'n': stroke.code = PSG_KEY_RETURN; return true;
        case 'e': stroke.code = PSG_KEY_ESC; return true;
        case 't': stroke.code = PSG_KEY_TAB; return true;
        case 'b': stroke.code = PSG_KEY_DEL; return true;
        case '\\': stroke.code = '\\'; return true;
        case '{': {
            size_t close = text.find('}', i + 1);
            if (close == std::string::npos) {
                error = "\\{ without a closing }";
                return false;
            }
            std::string name = text.substr(i + 1, close - i - 1);
            if (!NamedKeyCode(name, stroke.code)) {
                error = "unknown key name '" + name + "' in \\{...}";
                return false;
            }
            i = close;
            return true;
        }
        default: error = std::string("unknown escape \\") + e; return false;
    }
}

}  // namespace

bool Runner_ParseTypedText(const std::string& text, std::vector<KeyStroke>& strokes,
                           std::string& error) {
    strokes.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        KeyStroke stroke{};
        if (c == '\\') {
            if (!ParseEscape(text, i, stroke, error)) return false;
            strokes.push_back(stroke);
            continue;
        }
        if (c == UTF8_LEAD_OF_POUND && i + 1 < text.size() &&
            static_cast<unsigned char>(text[i + 1]) == PSG_KEY_POUND) {
            c = PSG_KEY_POUND;
            ++i;
        } else if (c >= 0x80) {
            error = "no CPC key types " + Describe(c);
            return false;
        }
        uint8_t withShift = 0;
        stroke.code = PSG_KeyCodeForChar(c, &withShift);
        stroke.shifted = withShift != 0;
        if (stroke.code == PSG_KEY_NONE) {
            error = "no CPC key types " + Describe(c);
            return false;
        }
        strokes.push_back(stroke);
    }
    return true;
}
