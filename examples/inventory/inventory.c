/* SPDX-License-Identifier: Apache-2.0 */
/*
 * inventory writes the state of the board as an XML report, reads the report back and prints what it found
 * there.
 */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "../demo_board.h"
#include "varnel/varnel.h"

/* --- Writing --- */

/* Names and values are blocks of their own that the tree owns. */
static xml_node *add_element(xml_node *parent, const char *name) {
    xml_node *node = xml_node_new();
    if (node != NULL) {
        node->name = strdup(name);
        xml_node_add_child(parent, node);
    }
    return node;
}

static void add_value(xml_node *parent, const char *name, const char *unit, double value) {
    char text[32];
    xml_node *node = add_element(parent, name);
    xml_attribute *attribute = xml_attribute_new();
    if (node == NULL || attribute == NULL) {
        free(attribute);
        return;
    }
    snprintf(text, sizeof text, "%.2f", value);
    node->value = strdup(text);
    attribute->name = strdup("unit");
    attribute->value = strdup(unit);
    node->attributes = attribute;
}

static void add_supply(xml_node *board, int number) {
    uint16_t reading[CAR2512_READINGS];
    uint16_t output;
    uint8_t firmware;
    char name[8];
    snprintf(name, sizeof name, "psu%d", number);
    xml_node *node = add_element(board, name);
    if (node == NULL || pca9548_enable_channel(supply_mux, channel_of(number)) != 0 ||
        car2512_getall(supply, reading) != 0 || car2512_get_output_volt(supply, &output) != 0 ||
        car2512_get_frw_version(supply, &firmware) != 0) {
        return; /* an element without content: it does not answer */
    }
    add_value(node, "output", "V", output / 100.0);
    add_value(node, "input", "V", reading[CAR2512_INPUT_VOLT] / 10.0);
    add_value(node, "power", "W", reading[CAR2512_INPUT_POWER] / 10.0);
    add_value(node, "temperature", "C", (int16_t)reading[CAR2512_TEMPERATURE] / 10.0);
    add_value(node, "firmware", "version", firmware);
}

static bool write_report(const char *path) {
    xml_document *document = xml_document_new();
    if (document == NULL || document->status != 0) {
        return false;
    }
    xml_node *board = add_element(document->root, "board");
    for (int i = 0; board != NULL && i < SUPPLIES; i++) {
        add_supply(board, i);
    }
    pca9548_disable_channel(supply_mux);
    const bool written =
        board != NULL && xml_write(document, path, xml_flag_indent | xml_flag_three_spaces) == 0;
    xml_node_delete(document->root);
    xml_document_delete(document);
    return written;
}

/* --- Reading --- */

static int print_report(const char *path) {
    xml_document *document = xml_document_new();
    if (document == NULL || xml_read(document, path, xml_flag_compact) != 0) {
        fprintf(stderr, "inventory: %s: status %d at line %u\n", path,
                document != NULL ? document->status : -1, document != NULL ? document->line : 0);
        return 1;
    }
    xml_iterator iterator;
    xml_iterator_setup(&iterator, document);
    for (const xml_node *node = iterator.current; node != NULL; node = xml_iterator_next(&iterator)) {
        if (node->name != NULL && node->value != NULL) {
            char place[256];
            if (xml_node_get_path_length(node) < (int)sizeof place) {
                xml_node_get_path(node, place);
                printf("%-26s %10s %s\n", place, node->value,
                       xml_node_get_attribute_value_with_failsafe(node, "unit", ""));
            }
        }
    }
    xml_node_delete(document->root);
    xml_document_delete(document);
    return 0;
}

int main(int argc, char *argv[]) {
    if (argc != 2) {
        fprintf(stderr, "usage: inventory FILE\n");
        return 2;
    }
    if (!write_report(argv[1])) {
        fprintf(stderr, "inventory: %s: cannot be written\n", argv[1]);
        return 1;
    }
    return print_report(argv[1]);
}
