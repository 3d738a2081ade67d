// SPDX-License-Identifier: Apache-2.0
// settings INI XML: stores a setting and reads it back, then prints the values in an XML file. Calls no
// platform.
#include <iostream>
#include <memory>
#include <varnel/varnel.h>

namespace {

struct close_document {
    void operator()(xml_document *document) const {
        xml_node_delete(document->root);
        xml_document_delete(document);
    }
};

bool print_values(const char *path) {
    const std::unique_ptr<xml_document, close_document> document(xml_document_new());
    if (!document || xml_read(document.get(), path, 0) != 0) {
        return false;
    }
    xml_iterator iterator;
    xml_iterator_setup(&iterator, document.get());
    for (const xml_node *node = iterator.current; node != nullptr; node = xml_iterator_next(&iterator)) {
        if (node->name != nullptr && node->value != nullptr) {
            std::cout << node->name << ' ' << node->value << '\n';
        }
    }
    return true;
}

} // namespace

int main(int argc, char *argv[]) {
    std::int32_t percent = 0;
    if (argc != 3 || set_config_string(argv[1], "fan", "least-percent", "60") != 0 ||
        get_config_integer(argv[1], "fan", "least-percent", 10, &percent) != 0) {
        return 1;
    }
    std::cout << "fan " << percent << '\n';
    return print_values(argv[2]) ? 0 : 1;
}
