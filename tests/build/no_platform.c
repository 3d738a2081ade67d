/* SPDX-License-Identifier: Apache-2.0 */
/* A C program that uses no bus runs although no library provides the platform functions. */
#include <stdio.h>

#include "varnel/varnel.h"

int main(void) {
    uint64_t integer = 0;
    set_bits_value(&integer, 4, 7, 0xA);
    if (get_bits_value(integer, 7, 4) != 0xA || printf_buf((const uint8_t[]){0x1F}, 1) != '\n') {
        return 1;
    }
    puts("no platform needed");
    return 0;
}
