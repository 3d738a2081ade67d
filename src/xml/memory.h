// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace varnel::xml {

inline std::uintptr_t address_of(const void *block) { return reinterpret_cast<std::uintptr_t>(block); }

/// Fetches so many bytes into the cache.
inline void fetch(const char *at, std::size_t size) {
    constexpr std::size_t cache_line = 64;
    for (std::size_t i = 0; i < size; i += cache_line) {
        __builtin_prefetch(at + i, 1);
    }
}

/// Fetches what a walk over the blocks of a large tree will need soon. They lie mostly in the order in which they were
/// made. In slabs, and in memory that another tree left, it is the opposite order, and in that memory with leaps of some
/// kilobytes; so the direction is judged by many steps.
class walk_ahead {
  public:
    /// The walk is at `block` now.
    void go_to(const void *block, std::size_t size) {
        if (++steps_ % steps_to_judge == 0) {
            distance_ = address_of(block) > judged_at_ ? far : -far;
            judged_at_ = address_of(block);
        }
        fetch_far_from(block, size);
    }
    /// Fetches what lies as far from another block that is needed now.
    void fetch_far_from(const void *block, std::size_t size) const {
        fetch(static_cast<const char *>(block) + distance_, size);
    }

  private:
    static constexpr unsigned steps_to_judge = 64;
    static constexpr std::ptrdiff_t far = 16384;
    unsigned steps_ = 0;
    std::uintptr_t judged_at_ = 0;
    std::ptrdiff_t distance_ = far;
};

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
