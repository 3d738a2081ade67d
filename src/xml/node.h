// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "varnel/xml_tree.h"
#include "xml/slab.h"

namespace varnel::xml {

/// xml_node_add_child().
inline void append_child(xml_node &parent, xml_node &child) {
    child.parent = &parent;
    if (parent.last_child != nullptr) {
        child.previous = parent.last_child;
        parent.last_child->next = &child;
    } else {
        parent.first_child = &child;
    }
    parent.last_child = &child;
}

/// xml_attribute_delete().
inline void delete_attributes(xml_attribute *a, piece_deleter &deleter) {
    while (a != nullptr) {
        xml_attribute *const next = a->next;
        deleter.string(a->name);
        deleter.string(a->value);
        deleter.record(a);
        a = next;
    }
}

} // namespace varnel::xml
