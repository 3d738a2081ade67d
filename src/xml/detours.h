// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

#include "varnel/xml_tree.h"

namespace varnel::xml {

/// The way back up through a tree that is walked by `first_child` and `next`. Usually that is a node's
/// `parent`; for nodes whose `parent` says something else it is kept here.
class detours {
  public:
    detours() = default;
    ~detours();
    detours(const detours &) = delete;
    detours &operator=(const detours &) = delete;

    /// Notes that the walk came to `node` from `parent`. False when memory ran out.
    [[nodiscard]] bool push(const xml_node *node, const xml_node *parent);

    /// Where the walk came to `node` from: as noted (and no more then), else `linked`.
    [[nodiscard]] const xml_node *pop(const xml_node *node, const xml_node *linked);

  private:
    struct detour {
        const xml_node *node;
        const xml_node *parent;
    };

    [[nodiscard]] bool grow();

    std::array<detour, 8> first_;
    detour *detours_ = first_.data();
    size_t count_ = 0;
    size_t capacity_ = first_.size();
};

} // namespace varnel::xml
