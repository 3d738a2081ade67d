// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "varnel/xml.h"
#include "xml/model.h"
#include "xml/read_text.h"

/// Whole documents of texts.
namespace varnel::test {

inline void free_document(xml_document *doc) {
    xml_node_delete(doc->root);
    xml_document_delete(doc);
}

inline xml_document *document_of(std::string text) {
    xml_document *const doc = xml_document_new();
    read_text(doc, text);
    return doc;
}

inline std::string tree_of(const std::string &text) {
    xml_document *const doc = document_of(text);
    std::string tree = dump(*doc->root);
    free_document(doc);
    return tree;
}

} // namespace varnel::test
