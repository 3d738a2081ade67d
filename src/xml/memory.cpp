// SPDX-License-Identifier: Apache-2.0
#include "xml/memory.h"

#include <cstdint>

namespace varnel::xml {

namespace {

/// From `sizeof(Word)` to twice as many bytes: the first and the last of them, which may overlap.
template <class Word>
void copy_ends(char *to, const char *from, std::size_t length) {
    Word first;
    Word last;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + length - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + length - sizeof last, &last, sizeof last);
}

/// Names and values are short: most are copied in less time than a call of memcpy() takes.
void copy_mostly_short(char *to, const char *from, std::size_t length) {
    if (length > 2 * sizeof(std::uint64_t)) {
        std::memcpy(to, from, length);
    } else if (length >= sizeof(std::uint64_t)) {
        copy_ends<std::uint64_t>(to, from, length);
    } else if (length >= sizeof(std::uint32_t)) {
        copy_ends<std::uint32_t>(to, from, length);
    } else if (length >= sizeof(std::uint16_t)) {
        copy_ends<std::uint16_t>(to, from, length);
    } else if (length == 1) {
        *to = *from;
    }
}

} // namespace

char *copied(const char *bytes, std::size_t length) {
    char *const copy = static_cast<char *>(std::malloc(length + 1));
    if (copy != nullptr) {
        copy_mostly_short(copy, bytes, length);
        copy[length] = '\0';
    }
    return copy;
}

} // namespace varnel::xml
