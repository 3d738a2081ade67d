// SPDX-License-Identifier: Apache-2.0
#pragma once

// Memory for trees that are read compact (xml_flag_compact).
//
// The records and strings of such a tree, here "pieces", lie close together in slabs: strings from the start of a slab
// upwards, records from its end downwards. A slab is one block of malloc() with a count of its pieces that are in use.
// Deleting a piece only decrements the count; whoever makes it 0 frees the slab. There is no list of slabs, no lock, and
// nothing that belongs to a document. So pieces may move from tree to tree, be kept when the rest is deleted, and be
// deleted in any order and by any thread, as blocks of malloc() may.
//
// A piece is recognised by its address, which malloc() never returns: strings are at odd addresses, records half of
// malloc()'s alignment off. free() of one by hand therefore aborts instead of corrupting memory silently. The two bytes
// before each piece hold its distance from the start of its slab. What is not a piece, because a daemon put it into the
// tree, or because it is long, is freed with free().

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "xml/memory.h"

namespace varnel::xml {

/// Two words, also where no type needs so much.
inline constexpr std::uintptr_t malloc_alignment = std::max(alignof(std::max_align_t), 2 * sizeof(void *));
inline constexpr std::uintptr_t record_offset = malloc_alignment / 2;

inline bool is_string_piece(const char *string) { return address_of(string) % 2 != 0; }
inline bool is_record_piece(const void *record) {
    return address_of(record) % malloc_alignment == record_offset;
}

/// So many bytes ahead of what is made or deleted memory is fetched into the cache.
inline constexpr std::size_t soon = 4096;

/// Records are made downwards.
inline void fetch_records_before(const void *record) {
    constexpr std::size_t usual_size = 256; // a node's and its attributes'
    fetch(static_cast<const char *>(record) - soon - usual_size, usual_size);
}

struct slab {
    std::atomic<std::size_t> in_use; ///< pieces, and many more while a slab_filler fills it
    std::size_t size;
};

/// Null is no slab.
inline void count_out(slab *from, std::size_t pieces) {
    if (from != nullptr && from->in_use.fetch_sub(pieces, std::memory_order_acq_rel) == pieces) {
        std::free(from);
    }
}

/// Makes pieces. It has no room until start_slab() made some.
class slab_filler {
  public:
    slab_filler() = default;
    ~slab_filler() { finish(); }
    slab_filler(const slab_filler &) = delete;
    slab_filler &operator=(const slab_filler &) = delete;

    /// Longer strings are not worth a place here.
    static constexpr std::size_t string_limit = 400;

    /// Strings shorter than this are copied in one go, with some bytes that come after them.
    static constexpr std::size_t at_once = 32;

    /// A zeroed record; null when there is no room.
    template <class Record>
    [[nodiscard]] Record *record() {
        return room() >= size_of<Record> + distance_size ? record_in_room<Record>() : nullptr;
    }

    /// Whether there is room for one record_in_room() and two string_in_room().
    [[nodiscard]] bool has_room() const { return room() >= room_for_three; }
    template <class Record>
    [[nodiscard]] Record *record_in_room() {
        static_assert(alignof(Record) <= record_offset &&
                      size_of<Record> + 2 * (at_once + extra) <= room_for_three);
        end_ -= size_of<Record>; // records are made downwards, strings upwards
        __builtin_prefetch(end_ - soon, 1);
        __builtin_prefetch(begin_ + soon, 1);
        finish_piece(end_);
        return new (end_) Record{};
    }
    [[nodiscard]] char *string_in_room(const char *bytes, std::size_t length) {
        std::memcpy(begin_ + distance_size, bytes, at_once);
        return finish_string(length);
    }

    /// A copy with a terminator; null when there is no room, or when it is too long to be copied in one go with
    /// some bytes that come after it, of which so many may be read.
    [[nodiscard]] char *short_string(const char *bytes, std::size_t length, std::size_t readable) {
        if (length >= at_once || readable < at_once || room() < at_once + extra) {
            return nullptr;
        }
        return string_in_room(bytes, length);
    }

    /// A copy of at most `string_limit` bytes with a terminator; null when memory ran out.
    [[nodiscard]] char *string(const char *bytes, std::size_t length) {
        if (room() < length + extra && !start_slab()) {
            return nullptr;
        }
        std::memcpy(begin_ + distance_size, bytes, length);
        return finish_string(length);
    }

    /// False when memory ran out.
    [[nodiscard]] bool start_slab() {
        finish();
        const std::size_t size = taken_ < many_small ? small_size : std::min(taken_ / 4, big_size);
        void *const memory = std::malloc(size);
        if (memory == nullptr) {
            return false;
        }
        taken_ += size;
        slab_ = new (memory) slab{being_filled, size};
        begin_ = reinterpret_cast<char *>(slab_ + 1) + 1;
        end_ = reinterpret_cast<char *>(slab_) +
               (size - readable_after) / malloc_alignment * malloc_alignment - record_offset;
        return true;
    }

  private:
    static constexpr std::size_t distance_size = sizeof(std::uint16_t);
    static constexpr std::size_t extra = 2 * distance_size + 2; // a string's, and the distance below `end_`
    static constexpr std::size_t readable_after = 16;           // a string: the writer reads so many at once
    static constexpr std::size_t being_filled = SIZE_MAX / 2;
    // More than this would make the C library join all freed blocks at each request; so it is for big
    // documents only, and little compared with what these have.
    static constexpr std::size_t small_size = 1000;
    static constexpr std::size_t many_small = 32000;
    static constexpr std::size_t big_size = 60000;

    template <class Record>
    static constexpr std::size_t size_of =
        (sizeof(Record) + distance_size + malloc_alignment - 1) / malloc_alignment *malloc_alignment;
    static constexpr std::size_t room_for_three = 160;

    /// For pieces and their distances; a record's distance is below `end_`.
    [[nodiscard]] std::size_t room() const { return static_cast<std::size_t>(end_ - begin_); }

    char *finish_string(std::size_t length) {
        char *const made = begin_ + distance_size;
        made[length] = '\0';
        finish_piece(made);
        begin_ = made + (length | 1) + 1; // odd again
        return made;
    }

    void finish_piece(char *piece) {
        const auto distance = static_cast<std::uint16_t>(piece - reinterpret_cast<char *>(slab_));
        std::memcpy(piece - distance_size, &distance, distance_size);
        ++pieces_;
    }

    void finish() {
        count_out(slab_, being_filled - pieces_);
        slab_ = nullptr;
        begin_ = end_ = nullptr;
        pieces_ = 0;
    }

    slab *slab_ = nullptr;
    char *begin_ = nullptr;  // what is free in it; odd
    char *end_ = nullptr;    // a place for a record
    std::size_t pieces_ = 0; // made in it
    std::size_t taken_ = 0;  // all slabs' bytes
};

/// Deletes pieces and blocks of malloc(): an operation on the count for as many pieces of one slab as come in
/// a row.
class piece_deleter {
  public:
    piece_deleter() = default;
    ~piece_deleter() { count_out(slab_, pieces_); }
    piece_deleter(const piece_deleter &) = delete;
    piece_deleter &operator=(const piece_deleter &) = delete;

    void string(char *string) {
        if (is_in_slab(string)) {
            ++pieces_;
        } else if (string != nullptr) {
            if (is_string_piece(string)) {
                turn_to_slab_of(string);
            } else {
                std::free(string);
            }
        }
    }
    template <class Record>
    void record(Record *record) {
        if (is_in_slab(record)) {
            ++pieces_;
        } else if (is_record_piece(record)) {
            turn_to_slab_of(record);
        } else {
            std::free(record);
        }
    }

  private:
    [[nodiscard]] bool is_in_slab(const void *block) const {
        return address_of(block) - address_of(slab_) < size_;
    }

    void turn_to_slab_of(const void *piece) {
        slab_ = change_slab(slab_, pieces_, static_cast<const char *>(piece));
        size_ = slab_->size;
        pieces_ = 1;
    }

    // Without `this`, so that a walk keeps the deleter in registers.
    [[gnu::noinline]] static slab *change_slab(slab *from, std::size_t pieces, const char *piece) {
        count_out(from, pieces);
        std::uint16_t distance = 0;
        std::memcpy(&distance, piece - sizeof distance, sizeof distance);
        return reinterpret_cast<slab *>(const_cast<char *>(piece) - distance);
    }

    slab *slab_ = nullptr;
    std::size_t size_ = 0;
    std::size_t pieces_ = 0; // of that slab, not counted out yet
};

[[gnu::noinline]] inline void delete_string(char *string) { piece_deleter().string(string); }

} // namespace varnel::xml
