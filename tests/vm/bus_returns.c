/* SPDX-License-Identifier: Apache-2.0 */
/* bus_returns DEVICE: reads a chip until its adapter is removed, and then until the chip answers again; prints
 * a line at each change. */
#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "varnel/smbus.h"

static bool answers(uint32_t device) {
    uint8_t byte;
    return smbus_recv_byte_to_device(device, &byte) == 0;
}

int main(int argc, char *argv[]) {
    if (argc != 2) {
        return 2;
    }
    const uint32_t device = (uint32_t)strtoul(argv[1], NULL, 0);
    alarm(60);
    setvbuf(stdout, NULL, _IOLBF, 0);
    puts(answers(device) ? "answers" : "does not answer");
    /* A transfer in progress during the removal fails with another errno. */
    while (answers(device) || errno != ENODEV) {
        usleep(1000);
    }
    printf("gone: %s\n", strerror(errno));
    while (!answers(device)) {
        usleep(1000);
    }
    puts("answers again");
    return 0;
}
