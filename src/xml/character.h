// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <bit>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace varnel::xml {

/// What a byte can be to the reader and the writer; a byte can be several of these.
enum class_bit : uint8_t {
    letter = 1,    ///< ASCII letters; is_letter() asks the locale about the rest.
    name_part = 2, ///< What an ASCII name goes on with.
    blank = 4,     ///< White space.
    markup = 8,    ///< Written as an entity.
};

constexpr std::array<uint8_t, 256> classes_of_bytes() {
    std::array<uint8_t, 256> classes{};
    const auto add = [&classes](std::string_view bytes, unsigned bits) {
        for (const char c : bytes) {
            classes[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(bits);
        }
    };
    add("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", letter | name_part);
    add("0123456789-_:", name_part);
    add(" \t\n\r", blank);
    add("\"&'<>", markup);
    return classes;
}

inline constexpr std::array<uint8_t, 256> byte_classes = classes_of_bytes();

constexpr bool is(char c, unsigned bits) { return (byte_classes[static_cast<unsigned char>(c)] & bits) != 0; }

/// Where a scan of bytes ended, and the line feeds before that.
struct scanned {
    const char *end;
    unsigned line_feeds;
};

/// The top bit of each byte of `word` that is `c`, exact up to the first in memory (the lowest).
constexpr size_t bytes_equal(size_t word, char c) {
    constexpr size_t ones = ~size_t{0} / 255;
    const size_t difference = word ^ (ones * static_cast<unsigned char>(c));
    return (difference - ones) & ~difference & (ones << 7);
}

/// Up to the first of two characters; line feeds are no end. A machine word at a time: this is where a reader
/// spends its time.
inline scanned scan_until(const char *at, const char *end, char a, char b) {
    static_assert(std::endian::native == std::endian::little);
    unsigned line_feeds = 0;
    while (static_cast<size_t>(end - at) >= sizeof(size_t)) {
        size_t word = 0;
        memcpy(&word, at, sizeof word);
        const size_t found = bytes_equal(word, a) | bytes_equal(word, b) | bytes_equal(word, '\n');
        if (found == 0) {
            at += sizeof word;
            continue;
        }
        at += static_cast<unsigned>(std::countr_zero(found)) / 8;
        if (*at != '\n') {
            return {at, line_feeds};
        }
        ++line_feeds;
        ++at;
    }
    for (; at != end && *at != a && *at != b; ++at) {
        line_feeds += *at == '\n' ? 1 : 0;
    }
    return {at, line_feeds};
}

/// Up to the first byte that is not white space.
inline scanned skip_blanks(const char *at, const char *end) {
    unsigned line_feeds = 0;
    for (; at != end && is(*at, blank); ++at) {
        line_feeds += *at == '\n' ? 1 : 0;
    }
    return {at, line_feeds};
}

// Characters as xml_refiller_get_char() gives them: bytes, the end of input, or whatever was pushed back.

constexpr bool is_ascii(int c) { return c >= 0 && c < 128; }
constexpr bool is_blank(int c) { return is_ascii(c) && is(static_cast<char>(c), blank); }

inline bool is_letter(int c) {
    return is_ascii(c) ? is(static_cast<char>(c), letter) : c >= 0 && c <= 255 && std::isalpha(c) != 0;
}

inline bool is_name_part(int c) { return is_ascii(c) ? is(static_cast<char>(c), name_part) : is_letter(c); }

} // namespace varnel::xml
