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

constexpr int unset = -1;
constexpr long long too_large = INT_MAX + 1LL;   // for the formatter
constexpr int longest = bounded_text::limit + 1; // padding to this does not fit

constexpr std::string_view all_flags = " +-#0'I";

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_one_of(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

/// One conversion without its arguments: no "5$", and each '*' replaced by the zero that it would read.
struct conversion {
    std::string_view flags;
    int width = unset;
    int precision = unset;
    std::string_view length_modifier;
    char letter = '\0'; // '\0' when the text ends before it

    [[nodiscard]] bool is_known() const { return is_one_of("diouxXbBcCaAeEfFgGsSpmn%", letter); }
    /// Only the formatter that parses ahead accepts 'h' before a letter that is not an integer's.
    [[nodiscard]] bool is_odd() const {
        return !is_known() || (length_modifier == "h" && is_one_of("cCaAeEfFgGsSpm", letter));
    }
};

/// Reads conversions by the grammar of the C library's formatter. From the first conversion that is odd or
/// selects its argument ("%5$d") the formatter parses the whole rest ahead, and is less strict.
class conversion_reader {
  public:
    explicit conversion_reader(const char *text) : at_(text) {}

    /// The text before the next '%', or the rest.
    std::string_view plain_text() {
        const char *const begin = at_;
        at_ = begin + std::strcspn(begin, "%");
        return {begin, static_cast<std::size_t>(at_ - begin)};
    }

    [[nodiscard]] bool at_end() const { return *at_ == '\0'; }

    /// The conversion of the '%' here.
    conversion read() {
        ++at_;
        conversion c;
        skip_position(too_large);
        const std::size_t flags = std::strspn(at_, all_flags.data());
        c.flags = {at_, flags};
        at_ += flags;
        if (*at_ == '*' || is_digit(*at_)) {
            c.width = number();
        }
        if (*at_ == '.') {
            ++at_;
            c.precision = *at_ == '*' || is_digit(*at_) ? number() : 0;
        }
        c.length_modifier = length_modifier();
        c.letter = *at_;
        at_ += c.letter != '\0' ? 1 : 0;
        parses_ahead_ |= c.letter != '\0' && c.is_odd();
        return c;
    }

    [[nodiscard]] bool parses_ahead() const { return parses_ahead_; }

    /// A number above INT_MAX was read at which the formatter fails.
    [[nodiscard]] bool gives_up() const { return gives_up_; }

  private:
    /// Unset for a number above INT_MAX, which the formatter that parses ahead ignores.
    int number() {
        if (*at_ != '*') {
            const long long n = digits();
            return n < too_large ? static_cast<int>(n) : unset;
        }
        ++at_;
        skip_position(INT_MAX);
        return 0;
    }

    /// Stops at `too_large`.
    long long digits() {
        long long n = 0;
        for (; is_digit(*at_); ++at_) {
            n = std::min(n * 10 + (*at_ - '0'), too_large);
        }
        gives_up_ |= n == too_large && !parses_ahead_;
        return n;
    }

    /// "5$" selects an argument, which is zero like all others. Numbers above `last` select none.
    void skip_position(long long last) {
        const char *const begin = at_;
        const long long n = digits();
        if (n != 0 && n <= last && *at_ == '$') {
            ++at_;
            parses_ahead_ = true;
        } else {
            at_ = begin;
        }
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
    bool parses_ahead_ = false;
    bool gives_up_ = false;
};

/// A conversion's flags, modifier and letter as a separate format. Width and precision are passed as '*',
/// because digits in front of an unknown letter could be parsed as a flag, a width or an 'n$' position.
class conversion_text {
  public:
    explicit conversion_text(const conversion &c) {
        put("%");
        for (const char &flag : all_flags) {
            put({&flag, is_one_of(c.flags, flag) ? 1U : 0U});
        }
        put("*.*");
        put(c.is_known() ? "" : c.length_modifier);  // a zero prints the same with each
        put({c.letter == 'S' ? "s" : &c.letter, 1}); // a null string prints the same; musl reads it for 'S'
    }

    [[nodiscard]] const char *c_str() const { return text_.data(); }

  private:
    void put(std::string_view part) {
        std::memcpy(text_.data() + length_, part.data(), part.size());
        length_ += part.size();
    }

    std::array<char, 16> text_{}; // '%', 7 flags, "*.*", 2 modifiers, letter, terminator
    std::size_t length_ = 0;
};

void print_zero(bounded_text &out, const conversion &c) {
    if (c.letter == 'n') {
        return; // it would write through a null pointer
    }
    const conversion_text text(c);
    const int most = c.is_known() ? longest : INT_MAX;
    const int width = std::clamp(c.width, 0, most);
    const int precision = std::min(c.precision, most);
    if (is_one_of("sSp", c.letter)) {
        out.print(text.c_str(), width, precision, static_cast<const char *>(nullptr));
    } else if (is_one_of("aAeEfFgG", c.letter)) {
        out.print(text.c_str(), width, precision, 0.0);
    } else {
        out.print(text.c_str(), width, precision, 0);
    }
}

/// What the formatter that parses ahead prints for a conversion that the end of the text truncates.
void echo_unfinished(bounded_text &out, conversion c) {
    c.length_modifier = "";
    c.letter = '!'; // unknown
    print_zero(out, c);
    out.drop_last();
}

void print_format(bounded_text &out, const char *format) {
    conversion_reader reader(format);
    for (out.append(reader.plain_text()); !reader.at_end() && out.fits(); out.append(reader.plain_text())) {
        const conversion c = reader.read();
        if (reader.gives_up()) {
            out.refuse();
        } else if (c.letter != '\0') {
            print_zero(out, c);
        } else if (reader.parses_ahead()) {
            echo_unfinished(out, c);
        }
    }
}

} // namespace

void varnel::print_with_zeros(bounded_text &out, std::string_view formats) {
    print_format(out, formats.data());
    for (std::size_t nul = 0; (nul = formats.find('\0')) != std::string_view::npos;) {
        out.append({formats.data() + nul, 1});
        formats.remove_prefix(nul + 1);
        print_format(out, formats.data());
    }
}
