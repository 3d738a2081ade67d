// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

namespace varnel::xml {

/// A zeroed record in a block of its own, or null.
template <class Record>
[[nodiscard]] inline Record *make() {
    void *memory = std::malloc(sizeof(Record));
    if (memory == nullptr) {
        return nullptr;
    }
    return new (memory) Record{};
}

/// `length` bytes and a terminator in a block of just that size, or null.
[[nodiscard]] inline char *copied(const char *bytes, std::size_t length) {
    auto *const copy = static_cast<char *>(std::malloc(length + 1));
    if (copy != nullptr) {
        std::memcpy(copy, bytes, length);
        copy[length] = '\0';
    }
    return copy;
}

/// The copy of a string that may be absent. False when memory ran out.
[[nodiscard]] inline bool copy_string(char *&to, const char *from) {
    to = from != nullptr ? copied(from, std::strlen(from)) : nullptr;
    return from == nullptr || to != nullptr;
}

} // namespace varnel::xml
