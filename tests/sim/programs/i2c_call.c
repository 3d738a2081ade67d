/* SPDX-License-Identifier: Apache-2.0 */
/*
 * i2c_call STEP...: calls the I2C primitives through the library, one step after the other, and prints what
 * each returned. Exits 0 when all steps succeeded, 1 otherwise.
 *
 *   DEVICE             as 0x5800: address in bits 8-15, bus in bits 0-7, for the steps that follow
 *   rb COMMAND         SMBus read byte              wb COMMAND BYTE      SMBus write byte
 *   rw COMMAND         SMBus read word              sb BYTE              send byte
 *   q                  quick write                  read N | write N     plain transfer of N bytes
 *   wr COMMAND N       one byte written, N read
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "varnel/platform.h"
#include "varnel/varnel.h"

static char **next;
static uint32_t device;
static uint8_t data[65535];

static unsigned long argument(void) {
    if (*next == NULL) {
        fprintf(stderr, "i2c_call: a number is missing\n");
        exit(2);
    }
    return strtoul(*next++, NULL, 0);
}

static uint8_t bus(void) { return (uint8_t)device; }
static uint8_t slave(void) { return (uint8_t)(device >> 8); }

static int report(int result) {
    printf(result == 0 ? " ok\n" : " failed: %s\n", strerror(errno));
    return result;
}

static int bytes_read(int result, unsigned long wanted) {
    for (int i = 0; i < result && i < 16; ++i) {
        printf(" %02x", data[i]);
    }
    if (result == (int)wanted) {
        return report(0);
    }
    if (result >= 0) {
        printf(" %d of %lu bytes\n", result, wanted);
        return -1;
    }
    return report(result);
}

static int read_byte(void) {
    uint8_t byte = 0;
    const int result = smbus_read_byte_to_device(device, (uint8_t)argument(), &byte);
    if (result == 0) {
        printf(" %02x", byte);
    }
    return report(result);
}

static int read_word(void) {
    uint16_t word = 0;
    const int result = smbus_read_word_to_device(device, (uint8_t)argument(), &word);
    if (result == 0) {
        printf(" %04x", word);
    }
    return report(result);
}

static int write_byte(void) {
    const uint8_t command = (uint8_t)argument();
    return report(smbus_write_byte_to_device(device, command, (uint8_t)argument()));
}

static int plain_read(void) {
    const unsigned long length = argument();
    return bytes_read(i2c_master_read_on_bus(bus(), slave(), data, (uint16_t)length), length);
}

static int plain_write(void) {
    const unsigned long length = argument();
    const int result = i2c_master_write_on_bus(bus(), slave(), data, (uint16_t)length);
    if (result >= 0) {
        printf(" %d of %lu bytes\n", result, length);
        return result == (int)length ? 0 : -1;
    }
    return report(result);
}

static int write_read(void) {
    const uint8_t command = (uint8_t)argument();
    const unsigned long length = argument();
    const int result = i2c_writeread_on_bus(bus(), slave(), &command, data, 1, (uint16_t)length);
    return result == 0 ? bytes_read((int)length, length) : report(result);
}

static const struct {
    const char *name;
    int (*run)(void);
} steps[] = {{"rb", read_byte},    {"rw", read_word},      {"wb", write_byte},
             {"read", plain_read}, {"write", plain_write}, {"wr", write_read}};

static int run_step(const char *name) {
    for (size_t i = 0; i < sizeof steps / sizeof *steps; ++i) {
        if (strcmp(name, steps[i].name) == 0) {
            return steps[i].run();
        }
    }
    if (strcmp(name, "sb") == 0) {
        return report(smbus_send_byte_to_device(device, (uint8_t)argument()));
    }
    if (strcmp(name, "q") == 0) {
        return report(smbus_quick_to_device(device, 0));
    }
    fprintf(stderr, "i2c_call: unknown step '%s'\n", name);
    exit(2);
}

int main(int argc, char *argv[]) {
    int failed = 0;
    next = argv + 1;
    setvbuf(stdout, NULL, _IOLBF, 0);
    while (next < argv + argc) {
        const char *const name = *next++;
        if (*name == '0') {
            device = (uint32_t)strtoul(name, NULL, 0);
            continue;
        }
        printf("%s", name);
        failed |= run_step(name) != 0;
    }
    return failed;
}
