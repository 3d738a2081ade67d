// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_tree.h"

#include "xml/memory.h"
#include "xml/node.h"

namespace {

xml_attribute *clone_one(const xml_attribute &attribute) {
    auto *copy = xml_attribute_new();
    if (copy != nullptr && (!varnel::xml::copy_string(copy->name, attribute.name) ||
                            !varnel::xml::copy_string(copy->value, attribute.value))) {
        xml_attribute_delete(copy);
        return nullptr;
    }
    return copy;
}

} // namespace

int xml_attribute_setup(xml_attribute *a) {
    *a = {};
    return 0;
}

xml_attribute *xml_attribute_new() { return varnel::xml::make<xml_attribute>(); }

void xml_attribute_delete(xml_attribute *a) {
    varnel::xml::piece_deleter deleter;
    varnel::xml::delete_attributes(a, deleter);
}

xml_attribute *xml_attribute_clone(const xml_attribute *a) {
    xml_attribute *first = nullptr;
    xml_attribute **end = &first;
    for (; a != nullptr; a = a->next) {
        *end = clone_one(*a);
        if (*end == nullptr) {
            xml_attribute_delete(first);
            return nullptr;
        }
        end = &(*end)->next;
    }
    return first;
}
