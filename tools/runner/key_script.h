#pragma once
// Text for the --type action, turned into CPC key strokes.
#include <cstdint>
#include <string>
#include <vector>

struct KeyStroke {
    uint8_t code;  // CPC key code for PSG_KeyEvent
    bool shifted;  // held with SHIFT (upper-case letters)
};

// Translates TEXT (UTF-8, with the escapes --help lists) into key strokes. Returns false
// with a message for a character no CPC key types or a bad escape.
bool Runner_ParseTypedText(const std::string& text, std::vector<KeyStroke>& strokes,
                           std::string& error);
