// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cctype>
#include <optional>
#include <string>
#include <string_view>

#include <string.h>
#include <strings.h>

/// A reference model of the INI store, written for clarity: tests compare the library with it.
namespace varnel::test::ini_model {

struct scan_result {
    int section_start = -1;
    int section_end = -1;
    int key_start = -1;
    int key_end = -1;
    int value_start = -1;
    int value_end = -1;
};

/// The content of a file: what the library reads of its bytes.
inline std::string content_of(std::string_view file) {
    return std::string(file.substr(0, file.find('\xFF')));
}

inline bool ends_line(char c) { return c == '\r' || c == '\n'; }

inline scan_result scan(const std::string &content, const std::string &section, const std::string &key) {
    const char *const b = content.c_str(); // b[content.size()] is the terminating NUL
    const int size = static_cast<int>(content.size());
    const int section_length = static_cast<int>(section.size());
    scan_result r;
    int pos = 0;
    for (;;) {
        while (pos < size && !(b[pos] == '[' && (pos == 0 || ends_line(b[pos - 1])))) {
            ++pos;
        }
        if (pos >= size) {
            return r;
        }
        const int name = pos + 1;
        pos = name;
        while (pos < size && b[pos] != ']') {
            ++pos;
        }
        if (strncasecmp(b + name, section.c_str(), section.size()) != 0 || b[name + section_length] != ']') {
            continue;
        }
        ++pos;
        while (std::isspace(static_cast<unsigned char>(b[pos])) != 0) {
            ++pos;
        }
        r.section_start = name;
        r.section_end = pos;
        for (;;) {
            if (pos > size || b[pos] == '\0') {
                return r;
            }
            if (ends_line(b[pos - 1]) && b[pos] == '[') {
                break;
            }
            const int line = pos;
            int line_end = line;
            while (b[line_end] != '\0' && !ends_line(b[line_end])) {
                ++line_end;
            }
            if (line_end != line && b[line] != '#' && b[line] != ';' && b[line] != '=') {
                int equals = line;
                while (equals < line_end && b[equals] != '=') {
                    ++equals;
                }
                if (equals < line_end &&
                    strncmp(key.c_str(), b + line, static_cast<size_t>(equals - line)) == 0) {
                    r.key_start = line;
                    r.key_end = equals - 1;
                    r.value_start = equals + 1;
                    r.value_end = line_end;
                    return r;
                }
            }
            pos = line_end + 1;
        }
    }
}

inline std::string slice(const std::string &s, int from, int to) {
    return s.substr(static_cast<size_t>(from), static_cast<size_t>(to - from));
}
inline std::string tail(const std::string &s, int from) { return s.substr(static_cast<size_t>(from)); }

inline std::optional<std::string> get(std::string_view file, const std::string &section,
                                      const std::string &key) {
    const std::string content = content_of(file);
    const scan_result r = scan(content, section, key);
    if (r.value_start < 0) {
        return std::nullopt;
    }
    const int length = (r.value_end - r.value_start) % 256;
    return slice(content, r.value_start, r.value_start + length);
}

/// `print` expands the conversions in the text after a new entry.
template <typename Print>
std::string set(std::string_view file, const std::string &section, const std::string &key,
                const std::string &value, Print print) {
    const std::string old = content_of(file);
    const scan_result r = scan(old, section, key);
    if (r.section_start < 0) {
        return old + "\n[" + section + "]\n" + key + "=" + value + "\n";
    }
    if (r.key_start >= 0) {
        return slice(old, 0, r.value_start) + value.substr(0, value.size() % 256) + tail(old, r.value_end);
    }
    return slice(old, 0, r.section_end) + key + "=" + value + "\n" + print(tail(old, r.section_end));
}

inline std::string rename(std::string_view file, const std::string &old_section,
                          const std::string &new_section) {
    const std::string old = content_of(file);
    const scan_result r = scan(old, old_section, "");
    if (r.section_start < 0) {
        return old + "\n[" + new_section + "]\n";
    }
    const auto newline = old.find('\n', static_cast<size_t>(r.section_start));
    const int rest = newline == std::string::npos ? r.section_start : static_cast<int>(newline);
    return slice(old, 0, r.section_start) + "[" + new_section + "]" + tail(old, rest);
}

} // namespace varnel::test::ini_model
