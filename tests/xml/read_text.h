// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "varnel/xml.h"

namespace varnel::test {

/// Reads a text where it lies in memory.
inline int read_text(xml_document *into, std::string &text, unsigned flags = 0) {
    const auto size = static_cast<unsigned>(text.size());
    xml_refiller source{};
    xml_refiller_setup(&source, nullptr, text.data(), size, size);
    return xml_node_read(&source, into->root, into, flags);
}

} // namespace varnel::test
