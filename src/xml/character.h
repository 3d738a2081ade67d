// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <bit>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace varnel::xml {

/// What a byte can be to the reader and the writer; a byte can be several of these.
enum class_bit : std::uint8_t {
    letter = 1,     ///< ASCII letters; is_letter() asks the locale about the rest.
    name_part = 2,  ///< Characters of an ASCII name after the first.
    markup = 4,     ///< Written as an entity.
    terminator = 8, ///< NUL.
    blank = 16,     ///< White space but for the newline.
};

struct entity {
    const char *name;
    const char *text;
    char character;
};

inline constexpr std::array<entity, 5> entities = {{{"amp", "&amp;", '&'},
                                                    {"lt", "&lt;", '<'},
                                                    {"gt", "&gt;", '>'},
                                                    {"quot", "&quot;", '"'},
                                                    {"apos", "&apos;", '\''}}};

constexpr std::array<std::uint8_t, 256> classes_of_bytes() {
    std::array<std::uint8_t, 256> classes{};
    const auto add = [&classes](std::string_view bytes, unsigned bits) {
        for (const char c : bytes) {
            classes[static_cast<unsigned char>(c)] |= static_cast<std::uint8_t>(bits);
        }
    };
    add("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", letter | name_part);
    add("0123456789-_:", name_part);
    add(" \t\r", blank);
    for (const entity &each : entities) {
        add({&each.character, 1}, markup);
    }
    classes['\0'] = terminator;
    return classes;
}

inline constexpr std::array<std::uint8_t, 256> byte_classes = classes_of_bytes();

constexpr bool is(char c, unsigned bits) { return (byte_classes[static_cast<unsigned char>(c)] & bits) != 0; }

// Characters as xml_refiller_get_char() gives them: bytes, the end of input, or whatever was pushed back.

constexpr bool is_ascii(int c) { return c >= 0 && c < 128; }
constexpr bool is_white_space(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

inline bool is_letter(int c) {
    return is_ascii(c) ? is(static_cast<char>(c), letter) : c >= 0 && c <= 255 && std::isalpha(c) != 0;
}

inline bool is_name_part(int c) { return is_ascii(c) ? is(static_cast<char>(c), name_part) : is_letter(c); }

/// Several bytes that are compared at once: 16 where the machine can, else a machine word. `marks` are bits,
/// the lowest for the first byte in memory.
#ifdef __SSE2__
class chunk {
  public:
    using marks = unsigned;
    explicit chunk(const char *at) : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i *>(at))) {}
    [[nodiscard]] marks any_of(char a, char b, char c) const {
        return bits(_mm_or_si128(_mm_or_si128(equal(a), equal(b)), equal(c)));
    }
    static std::size_t first(marks set) { return static_cast<std::size_t>(std::countr_zero(set)); }

  private:
    [[nodiscard]] __m128i equal(char c) const { return _mm_cmpeq_epi8(bytes_, _mm_set1_epi8(c)); }
    static marks bits(__m128i mask) { return static_cast<marks>(_mm_movemask_epi8(mask)); }
    __m128i bytes_;
};
#else
class chunk {
  public:
    using marks = std::size_t;
    explicit chunk(const char *at) {
        std::memcpy(&word_, at, sizeof word_);
        if constexpr (std::endian::native == std::endian::big) {
            word_ = reversed(word_);
        }
    }
    [[nodiscard]] marks any_of(char a, char b, char c) const { return equal(a) | equal(b) | equal(c); }
    static std::size_t first(marks set) { return static_cast<std::size_t>(std::countr_zero(set)) / 8; }

  private:
    static constexpr std::size_t reversed(std::size_t word) {
        return sizeof word == sizeof(uint64_t) ? static_cast<std::size_t>(__builtin_bswap64(word))
                                               : __builtin_bswap32(static_cast<uint32_t>(word));
    }
    static constexpr std::size_t ones = ~std::size_t{0} / 255;
    static constexpr std::size_t repeated(char c) { return ones * static_cast<unsigned char>(c); }
    /// The top bit of each byte that is `c`, exact up to the first.
    [[nodiscard]] marks equal(char c) const {
        const std::size_t difference = word_ ^ repeated(c);
        return (difference - ones) & ~difference & (ones << 7);
    }
    std::size_t word_; // the first byte is the lowest
};
#endif

constexpr bool holds_chunk(const char *at, const char *end) {
    return end - at >= static_cast<std::ptrdiff_t>(sizeof(chunk));
}

/// Over bytes that are neither of two characters nor a newline.
inline const char *skip_others(const char *at, const char *end, char a, char b) {
    for (; holds_chunk(at, end); at += sizeof(chunk)) {
        const chunk::marks found = chunk(at).any_of(a, b, '\n');
        if (found != 0) {
            return at + chunk::first(found);
        }
    }
    while (at != end && *at != a && *at != b && *at != '\n') {
        ++at;
    }
    return at;
}

/// Over bytes of a class, few of them, which come again: the machine predicts where they end.
template <unsigned bits>
const char *skip(const char *at, const char *end) {
    constexpr std::ptrdiff_t at_once = 4; // with one look at the end
    for (; end - at >= at_once; at += at_once) {
        for (std::ptrdiff_t i = 0; i < at_once; ++i) {
            if (!is(at[i], bits)) {
                return at + i;
            }
        }
    }
    while (at != end && is(*at, bits)) {
        ++at;
    }
    return at;
}

} // namespace varnel::xml
