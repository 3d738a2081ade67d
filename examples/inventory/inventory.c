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

/* A report that lacks something would look like a board that lacks it: without memory there is none. */
static void *checked(void *memory) {
    if (memory == NULL) {
        fputs("inventory: out of memory\n", stderr);
        exit(1);
    }
    return memory;
}

/* Names and values are blocks of their own that the tree owns. */
static xml_node *add_element(xml_node *parent, const char *name) {
    xml_node *node = checked(xml_node_new());
    node->name = checked(strdup(name));
    xml_node_add_child(parent, node);
    return node;
}

static void add_value(xml_node *parent, const char *name, const char *unit, double value) {
    char text[32];
    xml_node *node = add_element(parent, name);
    snprintf(text, sizeof text, "%.2f", value);
    node->value = checked(strdup(text));
    node->attributes = checked(xml_attribute_new());
    node->attributes->name = checked(strdup("unit"));
    node->attributes->value = checked(strdup(unit));
}

static void add_supply(xml_node *board, int number) {
    uint16_t reading[CAR2512_READINGS];
    uint16_t output;
    uint8_t firmware;
    char name[8];
    snprintf(name, sizeof name, "psu%d", number);
    xml_node *node = add_element(board, name);
    if (pca9548_enable_channel(supply_mux, channel_of(number)) != 0 || car2512_getall(supply, reading) != 0 ||
        car2512_get_output_volt(supply, &output) != 0 || car2512_get_frw_version(supply, &firmware) != 0) {
        return; /* an element without content: it does not answer */
    }
    add_value(node, "output", "V", output / 100.0);
    add_value(node, "input", "V", reading[CAR2512_INPUT_VOLT] / 10.0);
    add_value(node, "power", "W", reading[CAR2512_INPUT_POWER] / 10.0);
    add_value(node, "temperature", "C", (int16_t)reading[CAR2512_TEMPERATURE] / 10.0);
    add_value(node, "firmware", "version", firmware);
}

static xml_document *new_document(void) {
    xml_document *document = checked(xml_document_new());
    if (document->status != 0) {
        checked(NULL);
    }
    return document;
}

/* xml_write() would not report a disk that is full before the file is closed. */
static bool write_file(xml_document *document, const char *path) {
    FILE *file = fopen(path, "w");
    if (file == NULL) {
        return false;
    }
    xml_write_file(document, file, xml_flag_indent | xml_flag_three_spaces);
    const bool written = fflush(file) == 0 && ferror(file) == 0;
    return fclose(file) == 0 && written;
}

static bool write_report(const char *path) {
    xml_document *document = new_document();
    xml_node *board = add_element(document->root, "board");
    for (int i = 0; i < SUPPLIES; i++) {
        add_supply(board, i);
    }
    if (!disconnect_supplies()) {
        fputs("inventory: the multiplexer does not answer\n", stderr);
    }
    const bool written = write_file(document, path);
    xml_node_delete(document->root);
    xml_document_delete(document);
    return written;
}

/* --- Reading --- */

static int print_report(const char *path) {
    xml_document *document = new_document();
    if (xml_read(document, path, xml_flag_compact) != 0) {
        fprintf(stderr, "inventory: %s: status %d at line %u\n", path, document->status, document->line);
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
    return fflush(stdout) != 0 || ferror(stdout) != 0;
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
