// Settings file text of any kind: reading gives a value or nothing; a write makes the key
// read back as written, keeps every line but the key's own, and a second identical write
// changes nothing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/ini_profile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string original(reinterpret_cast<const char*>(data), size);
    std::string value;
    for (const char* key : {"DriveA", "Type", ""})
        if (PAL_ProfileLookup(original, "Settings", key, value)) PAL_ProfileParseInt(value);

    std::string text = original;
    if (!PAL_ProfileUpdate(text, "Settings", "DriveA", "/new/path.dsk")) __builtin_trap();
    if (!PAL_ProfileLookup(text, "Settings", "DriveA", value) || value != "/new/path.dsk")
        __builtin_trap();
    // Only bytes of one line may go: what differs between the texts, after their common
    // beginning and end, holds no line break of the original.
    size_t prefix = 0, suffix = 0;
    while (prefix < original.size() && prefix < text.size() && original[prefix] == text[prefix])
        ++prefix;
    while (suffix < original.size() - prefix && suffix < text.size() - prefix &&
           original[original.size() - 1 - suffix] == text[text.size() - 1 - suffix])
        ++suffix;
    if (original.substr(prefix, original.size() - prefix - suffix).find('\n') != std::string::npos)
        __builtin_trap();

    std::string again = text;
    if (!PAL_ProfileUpdate(again, "Settings", "DriveA", "/new/path.dsk") || again != text)
        __builtin_trap();
    return 0;
}
