// SPDX-License-Identifier: Apache-2.0
#include "config/format_text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

using varnel::bounded_text;

constexpr long unset = -1;
constexpr long longest = bounded_text::limit + 1; // what pads to this does not fit

constexpr std::string_view all_flags = " +-#0'I";

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_one_of(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

/// One conversion without its arguments: no "5$", and a '*' replaced by the zero that it would fetch.
struct conversion {
    std::string_view flags;
    long width = unset;
    long precision = unset;
    std::string_view length_modifier;
    char letter = '\0'; // '\0' where the text ends too early
    bool is_positional = false;

    [[nodiscard]] bool is_known() const { return is_one_of("diouxXbBcCaAeEfFgGsSpmn%", letter); }
    [[nodiscard]] bool is_too_long() const { return std::max(width, precision) >= INT_MAX; }
};

/// Reads one conversion, by the grammar of the C library's formatter.
class conversion_reader {
  public:
    /// `at` stands behind the '%'.
    explicit conversion_reader(const char *at) : at_(at) {}

    conversion read() {
        conversion c;
        c.is_positional = skip_position();
        const std::size_t flags = std::strspn(at_, all_flags.data());
        c.flags = {at_, flags};
        at_ += flags;
        if (*at_ == '*' || is_digit(*at_)) {
            c.width = number(c);
        }
        if (*at_ == '.') {
            ++at_;
            c.precision = number(c);
        }
        c.length_modifier = length_modifier();
        c.letter = *at_;
        at_ += c.letter != '\0' ? 1 : 0;
        return c;
    }

    [[nodiscard]] const char *rest() const { return at_; }

  private:
    long number(conversion &c) {
        if (*at_ == '*') {
            ++at_;
            c.is_positional |= skip_position();
            return 0;
        }
        return is_digit(*at_) ? digits() : 0;
    }

    long digits() {
        char *behind = nullptr;
        const long n = std::strtol(at_, &behind, 10); // LONG_MAX when too large
        at_ = behind;
        return std::min<long>(n, INT_MAX);
    }

    /// "5$" chooses an argument; they are all zero.
    bool skip_position() {
        const char *const begin = at_;
        if (is_digit(*at_) && digits() != 0 && *at_ == '$') {
            ++at_;
            return true;
        }
        at_ = begin;
        return false;
    }

    std::string_view length_modifier() {
        const char *const begin = at_;
        if (is_one_of("hl", *at_)) {
            at_ += at_[1] == at_[0] ? 2 : 1;
        } else if (is_one_of("LqzZtj", *at_)) {
            ++at_;
        }
        return {begin, static_cast<std::size_t>(at_ - begin)};
    }

    const char *at_;
};

/// Writes a conversion out again, for the formatter. A zero prints the same with every length modifier, so a
/// known conversion gets none. An unknown one is echoed by the formatter and stays as it is, but for its
/// width: that is an argument, or a letter that is a flag or a digit would be read as one, and "%5$", which
/// is left of "%1$5$", as the choice of an argument that nobody gave.
class conversion_text {
  public:
    explicit conversion_text(const conversion &c) {
        put('%');
        for (const char flag : all_flags) {
            if (is_one_of(c.flags, flag)) {
                put(flag);
            }
        }
        if (!c.is_known() && c.width != unset) {
            put('*');
        } else if (c.width > 0) {
            put(std::min(c.width, longest));
        }
        if (c.precision != unset) {
            put('.');
            put(c.is_known() ? std::min(c.precision, longest) : c.precision);
        }
        if (!c.is_known()) {
            for (const char modifier : c.length_modifier) {
                put(modifier);
            }
        }
        put(c.letter);
    }

    [[nodiscard]] const char *c_str() const { return text_.data(); }

  private:
    void put(char c) { text_[length_++] = c; }
    void put(long number) {
        const int digits = std::snprintf(text_.data() + length_, text_.size() - length_, "%ld", number);
        length_ += static_cast<std::size_t>(digits);
    }

    std::array<char, 40> text_{}; // '%', 7 flags, two numbers of 10 digits, '.', 2 modifiers, letter
    std::size_t length_ = 0;
};

void print_zero(bounded_text &out, const conversion &c) {
    const conversion_text text(c);
    if (c.letter == 'n') {
        return; // would store through a null pointer
    }
    if (is_one_of("sSp", c.letter)) {
        out.print(text.c_str(), static_cast<const char *>(nullptr));
    } else if (is_one_of("aAeEfFgG", c.letter)) {
        out.print(text.c_str(), 0.0);
    } else {
        out.print(text.c_str(), c.is_known() ? 0 : static_cast<int>(std::max(c.width, 0L)));
    }
}

} // namespace

void varnel::print_with_zeros(bounded_text &out, const char *format) {
    bool echoes = false;
    for (const char *percent = nullptr; out.fits() && (percent = std::strchr(format, '%')) != nullptr;) {
        out.append({format, static_cast<std::size_t>(percent - format)});
        conversion_reader reader(percent + 1);
        const conversion c = reader.read();
        format = reader.rest();
        if (c.is_too_long()) {
            out.refuse();
        } else if (c.letter != '\0') {
            echoes |= c.is_positional || !c.is_known();
            print_zero(out, c);
        } else if (echoes) {
            // From its first unknown or positional conversion on, the formatter also echoes an unfinished
            // one.
            out.append(percent);
        }
    }
    out.append(format);
}
