// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "varnel/xml.h"

namespace varnel::test {

/// A tree as the tests know it: nothing of the library's in it.
struct model_attribute {
    std::optional<std::string> name;
    std::optional<std::string> value;
};

struct model_node {
    int kind = 0;
    std::optional<std::string> name;
    std::optional<std::string> value; // with zero bytes, if there are any
    std::vector<model_attribute> attributes;
    std::vector<std::unique_ptr<model_node>> children;
};

struct model_document {
    model_node root{.kind = xml_kind_document, .name = {}, .value = {}, .attributes = {}, .children = {}};
    int status = 0;
    unsigned node_count = 0;
    unsigned line = 0;
};

/// One line for a whole tree: children in braces, attributes in brackets with "~" for a record without a
/// name, values in quotes. Elements are `name[..]="value"{..}`, others begin with #, ?, ! or T; "~" is a name
/// that is null. `a[x="1" ~]="text"{b[~]}`
std::string dump(const model_node &node);

/// What documents cannot contain, before what is wrong.
inline constexpr std::string_view broken = "\x01 BROKEN";

/// The same of a library's tree. Anything wrong with its links, lengths or terminators shows as `broken`.
std::string dump(const xml_node &node);

/// Children alone, without the node around them.
std::string dump_children(const model_node &node);
std::string dump_children(const xml_node &node);

/// Status, count and line after the tree.
std::string dump(const model_document &document);
std::string dump(const xml_document &document);

} // namespace varnel::test
