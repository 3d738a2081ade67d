// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_tree.h"

#include <cstdlib>

#include "varnel/xml_reader.h"
#include "xml/memory.h"

int xml_document_setup(xml_document *d) {
    *d = {};
    d->root = xml_node_new();
    d->index = xml_index_new();
    if (d->root == nullptr || d->index == nullptr) {
        d->status = xml_status_out_of_memory;
    } else {
        d->root->kind = xml_kind_document;
    }
    return d->status;
}

xml_document *xml_document_new() {
    auto *d = varnel::xml::make<xml_document>();
    if (d != nullptr) {
        xml_document_setup(d);
    }
    return d;
}

void xml_document_delete(xml_document *d) {
    xml_index_delete(d->index);
    std::free(d);
}

int xml_index_setup(xml_index *i) {
    *i = {};
    return 0;
}

xml_index *xml_index_new() { return varnel::xml::make<xml_index>(); }

void xml_index_delete(xml_index *i) {
    if (i != nullptr) {
        std::free(i->buffer);
        std::free(i);
    }
}
