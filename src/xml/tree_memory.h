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
        auto *const made = compact_ ? filler_.record<Record>() : make<Record>();
        if (made == nullptr) {
            in.memory_ran_out();
        }
        return made;
    }
    [[nodiscard]] char *string(input &in, const token &of) {
        char *made = nullptr;
        if (!in.is_cut(of)) {
            made = compact_ && of.length <= slab_filler::string_limit
                       ? filler_.string(of.bytes, of.length, in.readable_from(of))
                       : in.copied(of);
        }
        if (made == nullptr) {
            in.memory_ran_out();
        }
        return made;
    }

  private:
    const bool compact_;
    slab_filler filler_;
};

} // namespace varnel::xml
