// SPDX-License-Identifier: Apache-2.0
#include "config/ini_scan.h"

#include <cctype>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <strings.h>

namespace {

using varnel::ini_match;

constexpr bool ends_line(char c) { return c == '\r' || c == '\n'; }

/// The line end (CR, LF or NUL) of the line that contains `at`.
const char *line_end(const char *at) {
    while (!ends_line(*at) && *at != '\0') {
        ++at;
    }
    return at;
}

const char *after_white_space(const char *at) {
    while (std::isspace(static_cast<unsigned char>(*at)) != 0) {
        ++at;
    }
    return at;
}

/// Whether the line can hold an entry: a key of at least one byte, and no comment.
constexpr bool is_entry(char first) {
    return !ends_line(first) && first != '#' && first != ';' && first != '=';
}

/// A NUL ends the line that contains it; at the start of a line of a section it ends the search. The end of
/// the text is such a NUL.
class ini_scan {
  public:
    ini_scan(std::string_view text, const char *section, const char *key)
        : begin_(text.data()), end_(text.data() + text.size()), section_(section),
          section_length_(std::strlen(section)), key_(key) {}

    ini_match run() {
        const char *at = next_header(begin_);
        while (at != nullptr) {
            const char *const name = at + 1;
            at = find(name, ']');
            if (at != nullptr && names_section(name)) {
                match_.section_name = name;
                match_.section_body = after_white_space(at + 1);
                at = find_key(match_.section_body);
            }
            at = at != nullptr ? next_header(at) : nullptr;
        }
        return match_;
    }

  private:
    [[nodiscard]] const char *find(const char *from, char wanted) const {
        return static_cast<const char *>(std::memchr(from, wanted, static_cast<std::size_t>(end_ - from)));
    }

    [[nodiscard]] const char *next_header(const char *at) const {
        at = find(at, '[');
        while (at != nullptr && at != begin_ && !ends_line(at[-1])) {
            at = find(at + 1, '[');
        }
        return at;
    }

    [[nodiscard]] bool names_section(const char *name) const {
        return strncasecmp(name, section_, section_length_) == 0 && name[section_length_] == ']';
    }

    /// Searches one section's lines. Returns the header after them, or null when the search has ended.
    [[nodiscard]] const char *find_key(const char *line) {
        while (line < end_ && *line != '\0') {
            if (*line == '[' && ends_line(line[-1])) {
                return line;
            }
            const char *const end = line_end(line);
            if (is_entry(*line) && take_entry(line, end)) {
                return nullptr;
            }
            line = end + 1;
        }
        return nullptr;
    }

    /// The wanted key matches when it begins with the line's whole key: "PortNumber" finds "Port=80".
    [[nodiscard]] bool take_entry(const char *line, const char *end) {
        const auto length = static_cast<std::size_t>(end - line);
        const auto *const equals = static_cast<const char *>(std::memchr(line, '=', length));
        if (equals == nullptr || std::strncmp(key_, line, static_cast<std::size_t>(equals - line)) != 0) {
            return false;
        }
        match_.value = equals + 1;
        match_.value_end = end;
        return true;
    }

    const char *begin_;
    const char *end_;
    const char *section_;
    std::size_t section_length_;
    const char *key_;
    ini_match match_;
};

} // namespace

varnel::ini_match varnel::scan_ini(std::string_view text, const char *section, const char *key) {
    return ini_scan(text, section, key).run();
}
