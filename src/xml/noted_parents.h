// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <cstring>

#include "varnel/xml_tree.h"

namespace varnel::xml {

/// The way back up through a tree that is walked by `first_child` and `next`. Usually that is a node's
/// `parent`; for nodes whose `parent` says something else it is noted here.
class noted_parents {
  public:
    noted_parents() = default;
    ~noted_parents() { std::free(heap_); }
    noted_parents(const noted_parents &) = delete;
    noted_parents &operator=(const noted_parents &) = delete;

    /// Notes that the walk came to `node` from `parent`. False when memory ran out.
    [[nodiscard]] bool push(const xml_node *node, const xml_node *parent) {
        if (count_ == capacity_ && !grow()) {
            return false;
        }
        notes_[count_++] = {node, parent};
        return true;
    }

    /// Where the walk came to `node` from: as noted (and no more then), else `linked`.
    [[nodiscard]] const xml_node *pop(const xml_node *node, const xml_node *linked) {
        const bool noted = count_ > 0 && notes_[count_ - 1].node == node;
        return noted ? notes_[--count_].parent : linked;
    }

  private:
    struct note {
        const xml_node *node;
        const xml_node *parent;
    };

    [[nodiscard]] bool grow() {
        auto *const grown = static_cast<note *>(std::realloc(heap_, 2 * capacity_ * sizeof(note)));
        if (grown == nullptr) {
            return false;
        }
        if (heap_ == nullptr) {
            std::memcpy(grown, first_.data(), sizeof first_);
        }
        notes_ = heap_ = grown;
        capacity_ *= 2;
        return true;
    }

    std::array<note, 8> first_;
    note *heap_ = nullptr;
    note *notes_ = first_.data();
    std::size_t count_ = 0;
    std::size_t capacity_ = first_.size();
};

} // namespace varnel::xml
