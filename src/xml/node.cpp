// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_tree.h"

#include <cstring>

#include "xml/memory.h"
#include "xml/node.h"

namespace {

/// Fetches what is deleted soon: in a slab the records that lie before this one.
void fetch_next(const xml_node *n, varnel::xml::walk_ahead &ahead) {
    if (varnel::xml::is_record_piece(n)) {
        varnel::xml::fetch_records_before(n);
    } else {
        ahead.go_to(n, varnel::xml::usual_node_size);
    }
}

void delete_one(xml_node *n, varnel::xml::piece_deleter &deleter) {
    deleter.string(n->name);
    deleter.string(n->value);
    varnel::xml::delete_attributes(n->attributes, deleter);
    deleter.record(n);
}

bool copy_content(xml_node &to, const xml_node &from) {
    to.kind = from.kind;
    to.value_length = from.value_length;
    if (from.value != nullptr) {
        to.value = varnel::xml::copied(from.value,
                                       from.value_length != 0 ? from.value_length : std::strlen(from.value));
    }
    to.attributes = xml_attribute_clone(from.attributes);
    return varnel::xml::copy_string(to.name, from.name) && (to.value != nullptr) == (from.value != nullptr) &&
           (to.attributes != nullptr) == (from.attributes != nullptr);
}

// While a copy is being made, the `previous` of each copied node whose siblings are still to come holds the
// node that it was copied from: the way back up needs neither memory nor the original's own `parent` links.
const xml_node *original_of(const xml_node &copy) { return copy.previous; }
void remember_original(xml_node &copy, const xml_node *original) {
    copy.previous = const_cast<xml_node *>(original);
}

/// A copy of `original` below `parent`, after its other children.
xml_node *append_copy(const xml_node &original, xml_node &parent) {
    xml_node *const copy = xml_node_clone(&original);
    if (copy == nullptr) {
        return nullptr;
    }
    (parent.last_child != nullptr ? parent.last_child->next : parent.first_child) = copy;
    parent.last_child = copy;
    copy->parent = &parent;
    remember_original(*copy, &original);
    return copy;
}

/// Copies what comes after `at` in document order. Its copy, `root` when all is copied, or null out of
/// memory.
xml_node *copy_next(xml_node *at, xml_node *root) {
    if (const xml_node *child = original_of(*at)->first_child) {
        return append_copy(*child, *at);
    }
    while (at != root) {
        const xml_node *const sibling = original_of(*at)->next;
        remember_original(*at, nullptr);
        if (sibling != nullptr) {
            return append_copy(*sibling, *at->parent);
        }
        at = at->parent;
    }
    return root;
}

/// An incomplete copy: no link leads out of it but through `previous`.
xml_node *give_up(xml_node *copy) {
    xml_node_delete(copy);
    return nullptr;
}

} // namespace

int xml_node_setup(xml_node *n) {
    *n = {};
    return 0;
}

xml_node *xml_node_new() { return varnel::xml::make<xml_node>(); }

void xml_node_delete(xml_node *n) {
    varnel::xml::piece_deleter deleter;
    varnel::xml::walk_ahead ahead;
    xml_node *waiting = nullptr; // siblings to delete after the children before them, linked by `parent`
    while (n != nullptr) {
        xml_node *next = n->next;
        fetch_next(n, ahead);
        if (n->first_child != nullptr) {
            if (next != nullptr) {
                next->parent = waiting;
                waiting = next;
            }
            next = n->first_child;
        }
        delete_one(n, deleter);
        if (next == nullptr && waiting != nullptr) {
            next = waiting;
            waiting = waiting->parent;
        }
        n = next;
    }
}

xml_node *xml_node_clone(const xml_node *n) {
    xml_node *const copy = xml_node_new();
    if (copy == nullptr || copy_content(*copy, *n)) {
        return copy;
    }
    return give_up(copy);
}

xml_node *xml_node_clone_tree(const xml_node *n) {
    xml_node *const root = xml_node_clone(n);
    if (root == nullptr) {
        return nullptr;
    }
    remember_original(*root, n);
    xml_node *at = root;
    do {
        at = copy_next(at, root);
    } while (at != nullptr && at != root);
    root->previous = nullptr;
    return at != nullptr ? root : give_up(root);
}

void xml_node_unlink(xml_node *n) {
    if (n->previous != nullptr) {
        n->previous->next = n->next;
    }
    if (n->next != nullptr) {
        n->next->previous = n->previous;
    }
    if (n->parent != nullptr && n->parent->first_child == n) {
        n->parent->first_child = n->next;
    }
    n->parent = nullptr;
    n->previous = nullptr;
    n->next = nullptr;
}

void xml_node_insert_sibling_before(xml_node *n, xml_node *new_node) {
    new_node->parent = n->parent;
    new_node->previous = n->previous;
    new_node->next = n;
    if (n->parent != nullptr && n->parent->first_child == n) {
        n->parent->first_child = new_node;
    }
    n->previous = new_node;
}

void xml_node_insert_sibling_after(xml_node *n, xml_node *new_node) {
    new_node->parent = n->parent;
    new_node->next = n->next;
    new_node->previous = n;
    if (n->parent != nullptr && n->parent->last_child == n) {
        n->parent->last_child = new_node;
    }
    n->next = new_node;
}

xml_node *xml_node_add_child(xml_node *parent, xml_node *child) {
    varnel::xml::append_child(*parent, *child);
    return parent;
}

void xml_node_add_middle_child(xml_node *n, xml_node *middle) {
    middle->first_child = n->first_child;
    middle->last_child = n->last_child;
    for (xml_node *child = n->first_child; child != nullptr; child = child->next) {
        child->parent = middle;
    }
    middle->parent = n;
    n->first_child = middle;
    n->last_child = middle;
}

char *xml_node_get_attribute_value_with_failsafe(const xml_node *n, const char *name, const char *fallback) {
    for (const xml_attribute *a = n->attributes; a != nullptr; a = a->next) {
        if (a->name != nullptr && std::strcmp(a->name, name) == 0) {
            return a->value;
        }
    }
    return const_cast<char *>(fallback);
}

char *xml_node_get_attribute_value(const xml_node *n, const char *name) {
    return xml_node_get_attribute_value_with_failsafe(n, name, nullptr);
}
