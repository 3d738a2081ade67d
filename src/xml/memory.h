// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace varnel::xml {

/// So many bytes ahead memory is fetched into the cache.
inline constexpr std::size_t soon = 4096;

/// Fetches so many bytes into the cache.
inline void fetch(const char *at, std::size_t size) {
    constexpr std::size_t cache_line = 64;
    for (std::size_t i = 0; i < size; i += cache_line) {
        __builtin_prefetch(at + i, 1);
    }
}

/// Fetches memory that lies after a block of malloc(). The blocks of a large tree lie mostly in the order in which they
/// were made, so that it is needed soon.
inline void fetch_after(const void *block, std::size_t size) {
    fetch(static_cast<const char *>(block) + soon, size);
}

/// What a node has with its strings and attributes.
inline constexpr std::size_t usual_node_size = 320;

/// A zeroed record in a block of its own, or null.
template <class Record>
[[nodiscard]] inline Record *make() {
    void *memory = std::malloc(sizeof(Record));
    if (memory == nullptr) {
        return nullptr;
    }
    return new (memory) Record{};
}

/// A record in a block of its own that its setup function has filled; null where that failed.
template <class Record, class... Arguments>
[[nodiscard]] inline Record *make_with(int (*setup)(Record *, Arguments...), Arguments... arguments) {
    auto *const made = make<Record>();
    if (made != nullptr && setup(made, arguments...) != 0) {
        std::free(made);
        return nullptr;
    }
    return made;
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
