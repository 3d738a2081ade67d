// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"
#include "xml/memory.h"
#include "xml/slab.h"

namespace varnel::xml {

/// What the reader makes trees of: a block of malloc() for each record and string, or pieces of slabs. When
/// memory runs out the result is null, and the input is told.
class tree_memory {
  public:
    explicit tree_memory(bool compact) : compact_(compact) {}

    template <class Record>
    [[nodiscard]] Record *record(input &in) {
        Record *made = compact_ ? filler_.record<Record>() : record_in_block<Record>();
        if (made == nullptr) {
            made = record_in_new_slab<Record>();
        }
        if (made == nullptr) {
            in.memory_ran_out();
        }
        return made;
    }
    [[nodiscard]] char *string(input &in, const token &of) {
        char *const made = compact_ ? string_in_slab(in, of) : string_in_block(in, of);
        if (made == nullptr) {
            in.memory_ran_out();
        }
        return made;
    }

    /// For a record and two short strings; null when there is no room, and where each is a block of malloc().
    [[nodiscard]] slab_filler *slab_with_room() { return filler_.has_room() ? &filler_ : nullptr; }

  private:
    template <class Record>
    [[nodiscard]] Record *record_in_block() {
        auto *const made = make<Record>();
        if (made != nullptr) {
            ahead_.go_to(made, sizeof(Record));
        }
        return made;
    }
    /// A short string is copied in one go, with some bytes that come after it: the smallest block that malloc() makes has
    /// room for them.
    [[nodiscard]] char *string_in_block(input &in, const token &of) {
        constexpr std::size_t at_once = 2 * sizeof(void *);
        if (of.length >= at_once || in.readable(of) < at_once) {
            return string_elsewhere(of, in.copy());
        }
        auto *const made = static_cast<char *>(std::malloc(at_once));
        if (made != nullptr) {
            ahead_.fetch_far_from(made, at_once);
            std::memcpy(made, of.bytes, at_once);
            made[of.length] = '\0';
        }
        return made;
    }
    [[nodiscard]] char *string_in_slab(input &in, const token &of) {
        char *const made = filler_.short_string(of.bytes, of.length, in.readable(of));
        return made != nullptr ? made : string_elsewhere(of, in.copy());
    }
    template <class Record>
    [[nodiscard, gnu::noinline]] Record *record_in_new_slab() {
        return compact_ && filler_.start_slab() ? filler_.record<Record>() : nullptr;
    }
    [[nodiscard, gnu::noinline]] char *string_elsewhere(const token &of, text_buffer &copy) {
        if (compact_ && of.length <= slab_filler::string_limit) {
            return filler_.string(of.bytes, of.length);
        }
        return of.bytes == copy.data() && copy.is_on_heap() ? copy.release(of.length)
                                                            : copied(of.bytes, of.length);
    }

    const bool compact_;
    slab_filler filler_;
    walk_ahead ahead_;
};

} // namespace varnel::xml
