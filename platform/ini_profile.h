#pragma once
// Settings files with the Windows profile semantics: "[Section]" lines and "Key=Value"
// lines, section and key compared without regard to case, surrounding blanks and one pair
// of matching quotes removed from a value, the first match winning. A write changes the one
// line of its key (or adds one) and keeps every other byte of the file as it was, lines it
// cannot parse and a missing final newline included; the file is created by the first write.
#include <string>

// The value of key in section of fileName, or defaultValue when the file, the section or
// the key is missing.
std::string PAL_GetProfileString(const char* section, const char* key, const char* defaultValue,
                                 const char* fileName);
// The value read as an integer: blanks, an optional sign, an optional 0x, 0o or 0b prefix,
// then the digits up to the first other character (none: 0). A missing or empty value gives
// defaultValue. Negative values come back as their two's complement.
unsigned PAL_GetProfileInt(const char* section, const char* key, int defaultValue,
                           const char* fileName);
// Sets key in section to value. False when the file cannot be read or written, or a name or
// the value holds a line break (or the key an '=').
bool PAL_WriteProfileString(const char* section, const char* key, const char* value,
                            const char* fileName);

// The same on the file's text, for callers that hold it in memory.
bool PAL_ProfileLookup(const std::string& text, const char* section, const char* key,
                       std::string& value);
bool PAL_ProfileUpdate(std::string& text, const char* section, const char* key, const char* value);
unsigned PAL_ProfileParseInt(const std::string& value);
