// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_tree.h"

#include <cstdlib>

#include "xml/memory.h"

int xml_index_setup(xml_index *i) {
    *i = {};
    return 0;
}

xml_index *xml_index_new() { return varnel::xml::make<xml_index>(); }

void xml_index_delete(xml_index *i) {
    if (i != nullptr) {
        free(i->buffer);
        free(i);
    }
}
