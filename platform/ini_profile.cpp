// Settings file reading and in-place updating. The file is read whole, changed as text and
// written back through a temporary file, so a failed write never leaves half a file.
#include "platform/ini_profile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>

#include "platform/atomic_file.h"

namespace {
// One line of the text: [start, contentEnd) without its line break, which ends at end.
struct Line {
    size_t start;
    size_t contentEnd;
    size_t end;
};

enum class LineKind { Other, Section, Entry };

struct ParsedLine {
    LineKind kind = LineKind::Other;
    std::string name;  // section name or key, trimmed
    std::string value;
};

std::mutex g_fileMutex;  // one read-change-write at a time in this process

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string Trim(const std::string& text, size_t from, size_t to) {
    while (from < to && IsBlank(text[from])) ++from;
    while (to > from && IsBlank(text[to - 1])) --to;
    return text.substr(from, to - from);
}

bool SameName(const std::string& a, const char* b) {
    size_t i = 0;
    for (; i < a.size() && b[i]; ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return i == a.size() && b[i] == '\0';
}

Line NextLine(const std::string& text, size_t start) {
    size_t newline = text.find('\n', start);
    size_t end = newline == std::string::npos ? text.size() : newline + 1;
    size_t contentEnd = newline == std::string::npos ? text.size() : newline;
    if (contentEnd > start && text[contentEnd - 1] == '\r') --contentEnd;
    return {start, contentEnd, end};
}

ParsedLine Parse(const std::string& text, const Line& line) {
    ParsedLine parsed;
    size_t at = line.start;
    while (at < line.contentEnd && IsBlank(text[at])) ++at;
    if (at == line.contentEnd || text[at] == ';') return parsed;
    if (text[at] == '[') {
        size_t close = text.find(']', at);
        if (close == std::string::npos || close > line.contentEnd) close = line.contentEnd;
        parsed.kind = LineKind::Section;
        parsed.name = Trim(text, at + 1, close);
        return parsed;
    }
    size_t equals = text.find('=', at);
    if (equals == std::string::npos || equals >= line.contentEnd) return parsed;
    parsed.kind = LineKind::Entry;
    parsed.name = Trim(text, at, equals);
    parsed.value = Trim(text, equals + 1, line.contentEnd);
    const std::string& v = parsed.value;
    if (v.size() >= 2 && (v[0] == '"' || v[0] == '\'') && v.back() == v[0])
        parsed.value = v.substr(1, v.size() - 2);
    return parsed;
}

// Where a key lives, or where it can be added.
struct Location {
    bool sectionFound = false;
    bool keyFound = false;
    Line keyLine{};
    Line lastLineOfSection{};  // the last line that is not blank, header included
};

Location Locate(const std::string& text, const char* section, const char* key) {
    Location where;
    bool inSection = false;
    bool inFirstSection = false;
    for (size_t at = 0; at < text.size();) {
        Line line = NextLine(text, at);
        at = line.end;
        ParsedLine parsed = Parse(text, line);
        if (parsed.kind == LineKind::Section) {
            inSection = SameName(parsed.name, section);
            inFirstSection = inSection && !where.sectionFound;
            if (inFirstSection) {
                where.sectionFound = true;
                where.lastLineOfSection = line;
            }
            continue;
        }
        if (!inSection) continue;
        if (parsed.kind == LineKind::Entry && SameName(parsed.name, key)) {
            where.keyFound = true;
            where.keyLine = line;
            return where;
        }
        if (inFirstSection && Trim(text, line.start, line.contentEnd).size() > 0)
            where.lastLineOfSection = line;
    }
    return where;
}

bool HasLineBreak(const char* text) {
    for (; *text; ++text)
        if (*text == '\n' || *text == '\r') return true;
    return false;
}

// What ends the line that stops at end: nothing when it has its line break, the "\n" that
// completes a lone "\r" (which readers already take for the break), or a whole break.
std::string LineEnding(const std::string& text, size_t end, const std::string& lineBreak) {
    if (end == 0 || text[end - 1] == '\n') return "";
    return text[end - 1] == '\r' ? "\n" : lineBreak;
}

// The file's own line break, "\n" for a file that has none yet.
std::string LineBreakOf(const std::string& text) {
    size_t newline = text.find('\n');
    return newline != std::string::npos && newline > 0 && text[newline - 1] == '\r' ? "\r\n" : "\n";
}

bool ReadWholeFile(const char* fileName, std::string& text, bool& exists) {
    text.clear();
    exists = access(fileName, F_OK) == 0;
    if (!exists) return true;
    // Opening a named pipe would wait for a writer: only a regular file is read.
    struct stat status;
    if (stat(fileName, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return false;
    std::ostringstream contents;
    contents << in.rdbuf();
    text = contents.str();
    return !in.bad();
}

std::string ReadFileOrEmpty(const char* fileName) {
    std::string text;
    bool exists = false;
    if (!fileName || !*fileName || !ReadWholeFile(fileName, text, exists)) return {};
    return text;
}

// Through a symbolic link the target is replaced, so the link keeps pointing at the
// settings.
bool ReplaceFile(const char* fileName, const std::string& text) {
    std::string error;
    return PAL_WriteFileAtomically(fileName, text.data(), text.size(), error);
}
}  // namespace

bool PAL_ProfileLookup(const std::string& text, const char* section, const char* key,
                       std::string& value) {
    if (!section || !key) return false;
    Location where = Locate(text, section, key);
    if (!where.keyFound) return false;
    value = Parse(text, where.keyLine).value;
    return true;
}

bool PAL_ProfileUpdate(std::string& text, const char* section, const char* key, const char* value) {
    if (!section || !key || !value || !*key) return false;
    if (HasLineBreak(section) || HasLineBreak(key) || HasLineBreak(value)) return false;
    for (const char* c = key; *c; ++c)
        if (*c == '=') return false;

    const std::string lineBreak = LineBreakOf(text);
    Location where = Locate(text, section, key);
    if (where.keyFound) {
        std::string written = Parse(text, where.keyLine).name + "=" + value;
        text.replace(where.keyLine.start, where.keyLine.contentEnd - where.keyLine.start, written);
        return true;
    }
    std::string entry = std::string(key) + "=" + value + lineBreak;
    if (where.sectionFound) {
        const Line& last = where.lastLineOfSection;
        text.insert(last.end, LineEnding(text, last.end, lineBreak) + entry);
        return true;
    }
    text += LineEnding(text, text.size(), lineBreak);
    text += "[" + std::string(section) + "]" + lineBreak + entry;
    return true;
}

unsigned PAL_ProfileParseInt(const std::string& value) {
    size_t at = 0;
    while (at < value.size() && static_cast<unsigned char>(value[at]) <= ' ') ++at;
    bool negative = false;
    if (at < value.size() && (value[at] == '+' || value[at] == '-')) negative = value[at++] == '-';
    unsigned base = 10;
    if (at + 1 < value.size() && value[at] == '0') {
        char prefix = value[at + 1];
        if (prefix == 'x' || prefix == 'X') base = 16;
        if (prefix == 'o' || prefix == 'O') base = 8;
        if (prefix == 'b' || prefix == 'B') base = 2;
        if (base != 10) at += 2;
    }
    unsigned result = 0;
    for (; at < value.size(); ++at) {
        char c = value[at];
        unsigned digit = c >= '0' && c <= '9'   ? static_cast<unsigned>(c - '0')
                         : c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a' + 10)
                         : c >= 'A' && c <= 'F' ? static_cast<unsigned>(c - 'A' + 10)
                                                : 16;
        if (digit >= base) break;
        result = result * base + digit;
    }
    return negative ? 0u - result : result;
}

std::string PAL_GetProfileString(const char* section, const char* key, const char* defaultValue,
                                 const char* fileName) {
    std::string text;
    {
        std::lock_guard<std::mutex> lock(g_fileMutex);
        text = ReadFileOrEmpty(fileName);
    }
    std::string value;
    if (PAL_ProfileLookup(text, section, key, value)) return value;
    return defaultValue ? defaultValue : "";
}

unsigned PAL_GetProfileInt(const char* section, const char* key, int defaultValue,
                           const char* fileName) {
    std::string value = PAL_GetProfileString(section, key, "", fileName);
    if (value.empty()) return static_cast<unsigned>(defaultValue);
    return PAL_ProfileParseInt(value);
}

bool PAL_WriteProfileString(const char* section, const char* key, const char* value,
                            const char* fileName) {
    if (!fileName || !*fileName) return false;
    std::lock_guard<std::mutex> lock(g_fileMutex);
    std::string text;
    bool exists = false;
    if (!ReadWholeFile(fileName, text, exists)) return false;
    if (!PAL_ProfileUpdate(text, section, key, value)) return false;
    return ReplaceFile(fileName, text);
}
