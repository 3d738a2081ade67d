/* SPDX-License-Identifier: Apache-2.0 */
/*
 * planted ERROR: a daemon's round on the bench board, with one error in how it handles failures: it looks at the
 * expander 0x20, shows on pin 0 that it is at work, and reads the status of the supply behind the multiplexer 0x70. "none"
 * has no error.
 */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "varnel/platform.h"
#include "varnel/varnel.h"

static const uint32_t expander = 0x2000;
static const uint32_t mux = 0x7000;
static const uint32_t supply = 0x5800;
static const uint32_t memory = 0x5000;

static const char *planted;

static bool has(const char *error) { return strcmp(planted, error) == 0; }

/* A failed transfer takes no time on the board. */
static void pause_briefly(void) { nanosleep(&(struct timespec){.tv_nsec = 1000000}, NULL); }

/* Transfer 1. */
static void look_at_pins(void) {
    uint8_t pins = 0xEE;
    const int result = smbus_read_byte_to_device(expander, 0, &pins);
    if (has("crashes") && result != 0) {
        const volatile uintptr_t no_page = 16; /* not NULL, which a sanitizer would report instead */
        *(volatile char *)no_page = 0;
    }
    if (has("aborts") && result != 0) {
        abort();
    }
    while (has("retries-for-ever") && smbus_read_byte_to_device(expander, 0, &pins) != 0) {
        pause_briefly();
    }
    if (result == 0 || has("ignores-failure")) {
        printf("pins 0x%02x\n", pins);
    } else {
        puts("no pins");
    }
}

/* Transfers 2 and 3: a level, then the direction. */
static void show_work(void) {
    if (smbus_write_byte_to_device(expander, 2, 0xFE) != 0 ||
        smbus_write_byte_to_device(expander, 6, 0xFE) != 0) {
        puts("no light");
        if (has("wrong-status")) {
            exit(3);
        }
    }
}

/* Transfers 4 to 6. */
static void look_at_supply(void) {
    uint16_t status = 0;
    if (smbus_send_byte_to_device(mux, 1) != 0) {
        puts("no multiplexer");
        return;
    }
    const int result = smbus_read_word_to_device(supply, 0x79, &status);
    if (result != 0) {
        puts("no supply");
        if (has("leaves-the-channel-on")) {
            return;
        }
    } else {
        printf("status 0x%04x\n", status);
        if (has("believes-anything") && status != 0) {
            puts("shutting down"); /* without a second look */
        }
    }
    if (smbus_send_byte_to_device(mux, 0) != 0 && !has("switches-off-once")) {
        smbus_send_byte_to_device(mux, 0);
    }
}

/* Transfer 7: two bytes of the memory. */
static void look_at_memory(void) {
    uint8_t bytes[2] = {0xDE, 0xAD};
    const int read = i2c_master_read_on_bus((uint8_t)memory, (uint8_t)(memory >> 8), bytes, 2);
    if (read == 2 || (has("ignores-the-length") && read > 0)) {
        printf("memory %02x%02x\n", bytes[0], bytes[1]);
    }
}

/* From transfer 8 on: a byte is written, and the memory asked until it has stored it. */
static void remember(void) {
    smbus_write_byte_to_device(memory, 0x10, 0x55);
    for (int tries = 0; tries < 100 || has("polls-for-ever"); tries++) {
        uint8_t stored = 0;
        if (smbus_read_byte_to_device(memory, 0x10, &stored) == 0) {
            return;
        }
        pause_briefly();
    }
}

int main(int argc, char *argv[]) {
    planted = argc > 1 ? argv[1] : "none";
    setvbuf(stdout, NULL, _IOLBF, 0);
    look_at_pins();
    show_work();
    look_at_supply();
    look_at_memory();
    remember();
    return 0;
}
