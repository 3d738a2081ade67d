/* SPDX-License-Identifier: Apache-2.0 */
/* Macros that make a call and print it with its result, which is the same on any platform. */
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <string.h>

/* A device handle (smbus.h). */
#define DEVICE(bus, slave) ((uint32_t)(slave) << 8 | (bus))

static inline void say(const char *call, int result) { printf("%s: %d\n", call, result); }

static inline void say_number(const char *call, int result, unsigned number, int digits) {
    printf("%s: %d, 0x%0*x\n", call, result, digits, number);
}

static inline void say_bytes(const char *call, int result, const uint8_t *bytes, unsigned count) {
    printf("%s: %d,", call, result);
    for (unsigned i = 0; i < count; ++i) {
        printf(" %02x", bytes[i]);
    }
    putchar('\n');
}

/* Each evaluates a call, whose result comes in `byte`, `word` or `bytes`, and prints both. */
#define CALL(call) say(#call, call)
#define BYTE(call)                                                                                           \
    do {                                                                                                     \
        uint8_t byte = 0xA5;                                                                                 \
        const int result = call;                                                                             \
        say_number(#call, result, byte, 2);                                                                  \
    } while (0)
#define WORD(call)                                                                                           \
    do {                                                                                                     \
        uint16_t word = 0xA5A5;                                                                              \
        const int result = call;                                                                             \
        say_number(#call, result, word, 4);                                                                  \
    } while (0)
/* For what changes while the board warms up. */
#define WORD_ABOUT(least, most, call)                                                                        \
    do {                                                                                                     \
        uint16_t word = 0;                                                                                   \
        const int result = call;                                                                             \
        printf("%s: %d, %s\n", #call, result, word >= (least) && word <= (most) ? "about right" : "wrong");  \
    } while (0)
#define BYTES(count, call)                                                                                   \
    do {                                                                                                     \
        uint8_t bytes[count];                                                                                \
        memset(bytes, 0xA5, sizeof bytes);                                                                   \
        const int result = call;                                                                             \
        say_bytes(#call, result, bytes, count);                                                              \
    } while (0)
