// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_iterator.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "xml/memory.h"

namespace {

/// A stored string matches when the one searched begins with it.
bool matches(const char *stored, const char *searched) {
    return stored != nullptr && std::strncmp(stored, searched, std::strlen(stored)) == 0;
}

template <class Predicate>
bool any_attribute(const xml_node &node, Predicate found) {
    for (const xml_attribute *a = node.attributes; a != nullptr; a = a->next) {
        if (found(*a)) {
            return true;
        }
    }
    return false;
}

template <class Predicate>
xml_node *scan(xml_iterator &it, Predicate found) {
    xml_node *node = it.current;
    while (node != nullptr && !found(*node)) {
        node = xml_iterator_next(&it);
    }
    return node;
}

xml_node *move(xml_iterator &it, xml_node *to, int levels) {
    if (to != nullptr) {
        it.current = to;
        it.depth += levels;
    }
    return to;
}

constexpr int level_limit = 64;

/// Bytes of the path of the `levels` nearest to the node, without a terminator.
int path_length(const xml_node *node, int levels) {
    std::size_t length = 0;
    for (; levels > 0 && node != nullptr && node->name != nullptr; --levels, node = node->parent) {
        length += 1 + std::strlen(node->name);
    }
    return static_cast<int>(length);
}

/// Writes the last `length` bytes of the node's path, the last first, and a terminator.
void fill_path(char *path, int length, const xml_node *node) {
    path[length] = '\0';
    while (length > 0) {
        const auto name_length = static_cast<int>(std::strlen(node->name));
        length -= name_length;
        std::memcpy(path + length, node->name, static_cast<std::size_t>(name_length));
        path[--length] = '/';
        node = node->parent;
    }
}

} // namespace

int xml_iterator_setup(xml_iterator *it, xml_document *doc) {
    it->document = doc;
    it->root = doc->root;
    it->reserved = 0;
    xml_iterator_get_root(it);
    return 0;
}

xml_iterator *xml_iterator_new(xml_document *doc) { return varnel::xml::make_with(xml_iterator_setup, doc); }

void xml_iterator_delete(xml_iterator *it) { std::free(it); }

void xml_iterator_copy(xml_iterator *dst, const xml_iterator *src) { *dst = *src; }

xml_iterator *xml_iterator_clone(const xml_iterator *it) {
    auto *copy = varnel::xml::make<xml_iterator>();
    if (copy != nullptr) {
        xml_iterator_copy(copy, it);
    }
    return copy;
}

xml_node *xml_iterator_get_root(xml_iterator *it) {
    it->depth = 0;
    it->current = it->root;
    return it->root;
}

void xml_iterator_set_root(xml_iterator *it, xml_node *node) { it->root = node; }

xml_node *xml_iterator_next(xml_iterator *it) {
    if (it->current == nullptr) {
        return nullptr;
    }
    if (it->current->first_child != nullptr) {
        return xml_iterator_descend(it);
    }
    int levels = 0;
    const xml_node *node = it->current;
    while (node->next == nullptr && node->parent != nullptr) {
        node = node->parent;
        --levels;
    }
    return move(*it, node->next, levels);
}

xml_node *xml_iterator_previous_sibling(xml_iterator *it) {
    return it->current != nullptr ? move(*it, it->current->previous, 0) : nullptr;
}

xml_node *xml_iterator_next_sibling(xml_iterator *it) {
    return it->current != nullptr ? move(*it, it->current->next, 0) : nullptr;
}

xml_node *xml_iterator_ascend(xml_iterator *it) {
    return it->current != nullptr ? move(*it, it->current->parent, -1) : nullptr;
}

xml_node *xml_iterator_descend(xml_iterator *it) {
    return it->current != nullptr ? move(*it, it->current->first_child, 1) : nullptr;
}

void xml_iterator_add_child(xml_iterator *it, xml_node *node) {
    if (it->current == nullptr) {
        it->current = node;
        it->document->root = node;
    } else {
        xml_node_add_child(it->current, node);
    }
}

void xml_iterator_insert_sibling_after(xml_iterator *it, xml_node *node) {
    it->current != nullptr ? xml_node_insert_sibling_after(it->current, node)
                           : xml_iterator_add_child(it, node);
}

void xml_iterator_insert_sibling_before(xml_iterator *it, xml_node *node) {
    it->current != nullptr ? xml_node_insert_sibling_before(it->current, node)
                           : xml_iterator_add_child(it, node);
}

void xml_iterator_add_middle_child(xml_iterator *it, xml_node *node) {
    xml_node_add_middle_child(it->current, node);
}

xml_node *xml_iterator_scan_node_via_node_name(xml_iterator *it, const char *name) {
    return scan(*it, [name](const xml_node &node) { return matches(node.name, name); });
}

xml_node *xml_iterator_scan_node_via_attribute_name(xml_iterator *it, const char *name) {
    return scan(*it, [name](const xml_node &node) {
        return any_attribute(node, [name](const xml_attribute &a) { return matches(a.name, name); });
    });
}

xml_node *xml_iterator_scan_node_via_attribute_name_and_value(xml_iterator *it, const char *name,
                                                              const char *value) {
    return scan(*it, [name, value](const xml_node &node) {
        return any_attribute(node, [name, value](const xml_attribute &a) {
            return matches(a.name, name) && matches(a.value, value);
        });
    });
}

int xml_node_get_path_depth(const xml_node *node) {
    int depth = 0;
    for (; node != nullptr && node->kind != xml_kind_document; node = node->parent) {
        ++depth;
    }
    return depth;
}

int xml_node_get_path_length(const xml_node *node) { return path_length(node, INT_MAX); }

char *xml_node_get_path_new(const xml_node *node) {
    if (node == nullptr || node->kind == xml_kind_document) {
        return nullptr;
    }
    const int length = xml_node_get_path_length(node);
    char *const path = static_cast<char *>(std::malloc(static_cast<std::size_t>(length) + 1));
    if (path != nullptr) {
        fill_path(path, length, node);
    }
    return path;
}

int xml_node_get_path(const xml_node *node, char *buffer) {
    const int length = path_length(node, level_limit);
    fill_path(buffer, length, node);
    return length;
}
