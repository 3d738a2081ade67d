// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstdlib>
#include <cstring>

#include "varnel/xml_iterator.h"

namespace {

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
