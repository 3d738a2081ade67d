// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "varnel/xml.h"

namespace varnel::test {

/// What the trees of a test are made of: built once without and once with this, a test holds for both kinds.
#ifdef COMPACT_TREES
inline constexpr unsigned tree_kind = xml_flag_compact;
#else
inline constexpr unsigned tree_kind = 0;
#endif

/// Reads a text where it lies in memory.
inline int read_text(xml_document *into, std::string &text, unsigned flags = tree_kind) {
    const auto size = static_cast<unsigned>(text.size());
    xml_refiller source{};
    xml_refiller_setup(&source, nullptr, text.data(), size, size);
    return xml_node_read(&source, into->root, into, flags);
}

} // namespace varnel::test
