// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "varnel/xml_tree.h"
#include "xml/text_buffer.h"

namespace varnel::xml {

/// The way back up through a tree that is walked by `first_child` and `next`. Usually that is a node's
/// `parent`; for nodes whose `parent` says something else it is noted here.
class noted_parents {
  public:
    /// Notes that the walk came to `node` from `parent`. False when memory ran out.
    [[nodiscard]] bool push(const xml_node *node, const xml_node *parent) {
        const note last{node, parent};
        notes_.append(reinterpret_cast<const char *>(&last), sizeof last);
        return !notes_.memory_ran_out();
    }

    /// Where the walk came to `node` from: as noted (and no more then), else `linked`.
    [[nodiscard]] const xml_node *pop(const xml_node *node, const xml_node *linked) {
        if (notes_.length() == 0) {
            return linked;
        }
        note last;
        const std::size_t rest = notes_.length() - sizeof last;
        std::memcpy(&last, notes_.data() + rest, sizeof last);
        if (last.node != node) {
            return linked;
        }
        notes_.cut_to(rest);
        return last.parent;
    }

  private:
    struct note {
        const xml_node *node;
        const xml_node *parent;
    };

    text_buffer notes_;
};

} // namespace varnel::xml
