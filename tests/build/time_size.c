/* SPDX-License-Identifier: Apache-2.0 */
/* The clock's functions in a program that is compiled with TIME_SIZE bytes of time_t. Compiles as C and as C++. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "varnel/ds3232.h"
#include "varnel/platform.h"

/* What the chip holds, and how many bytes were written to it. */
static uint8_t registers[7];
static int writes;

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    (void)bus;
    (void)slave;
    registers[buffer[0]] = buffer[1];
    ++writes;
    return length;
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    (void)bus;
    (void)slave;
    (void)write_length;
    (void)read_length;
    read_buffer[0] = registers[write_buffer[0]];
    return 0;
}

static int failures;

static void check(int holds, const char *what) {
    if (!holds) {
        printf("does not hold: %s\n", what);
        ++failures;
    }
}

static time_t chip_time(void) {
    time_t times[3] = {-1, -1, -1};
    check(ds3232_get_time(&times[1]) == 0, "the clock is read");
    check(times[0] == -1 && times[2] == -1, "only the result is written");
    return times[1];
}

static void times_after_32_bits_are_refused(time_t first) {
    check(ds3232_set_time(first) == -1 && writes == 0,
          "a time that needs more bits is refused, nothing is written");
    registers[6] = 0x40; /* 2040 */
    check(chip_time() == -1, "a date after 2038 is read as -1");
}

int main(void) {
    const time_t leap_day = 1835395199; /* 2028-02-28 23:59:59 UTC */
    setenv("TZ", "UTC0", 1);
    check(sizeof(time_t) == TIME_SIZE, "time_t has the size for which the program was compiled");
    check(ds3232_set_time(leap_day) == 0 && writes == 7, "the clock is set");
    check(registers[0] == 0x59 && registers[4] == 0x28 && registers[5] == 0x02 && registers[6] == 0x28,
          "registers");
    check(chip_time() == leap_day, "the clock is read as it was set");
    writes = 0;
    if (sizeof(time_t) > 4) {
        times_after_32_bits_are_refused((time_t)((uint64_t)1 << 31));
    }
    printf("%d failures\n", failures);
    return failures != 0;
}
