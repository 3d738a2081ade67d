/* SPDX-License-Identifier: Apache-2.0 */
/* settings INI XML: stores a setting and reads it back, then prints the values in an XML file. Calls no
 * platform. */
#include <stdio.h>
#include <varnel/varnel.h>

static int print_values(const char *path) {
    xml_document *document = xml_document_new();
    if (document == NULL || xml_read(document, path, 0) != 0) {
        return 1;
    }
    xml_iterator iterator;
    xml_iterator_setup(&iterator, document);
    for (const xml_node *node = iterator.current; node != NULL; node = xml_iterator_next(&iterator)) {
        if (node->name != NULL && node->value != NULL) {
            printf("%s %s\n", node->name, node->value);
        }
    }
    xml_node_delete(document->root);
    xml_document_delete(document);
    return 0;
}

int main(int argc, char *argv[]) {
    int32_t percent = 0;
    if (argc != 3 || set_config_string(argv[1], "fan", "least-percent", "60") != 0 ||
        get_config_integer(argv[1], "fan", "least-percent", 10, &percent) != 0) {
        return 1;
    }
    printf("fan %d\n", (int)percent);
    return print_values(argv[2]);
}
