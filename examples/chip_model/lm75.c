/* SPDX-License-Identifier: Apache-2.0 */
/*
 * A chip model for the simulated board: the LM75 temperature sensor (Texas Instruments LM75B datasheet, sections 7.5 and 7.6).
 * Build and use it:
 *
 *     cc -shared -fPIC -o lm75.so lm75.c
 *
 *     [inlet]
 *     type = ./lm75.so
 *     bus = 0
 *     address = 0x48
 *     temperature = 24.5
 *
 * Its four registers: temperature (0, read-only), configuration (1), hysteresis (2), over-temperature threshold (3). All but
 * the configuration have two bytes, the high one first, with 9 bits of half a degree each.
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <varnel-sim/model.h>

enum { temperature, configuration, hysteresis, threshold, registers };

struct lm75 {
    int16_t value[registers]; /* as on the bus; the configuration in the high byte */
    int over;                 /* above the threshold, and not yet below the hysteresis */
    int selected;
    int byte; /* of the selected register, after the START; -1: the next byte written selects a register */
};

static int16_t of_degrees(double degrees) { return (int16_t)(lround(degrees * 2) * 128); }

static void compare(struct lm75 *chip) {
    const int16_t limit = chip->value[chip->over ? hysteresis : threshold];
    chip->over = chip->over ? chip->value[temperature] >= limit : chip->value[temperature] > limit;
}

static void *power_on(const struct varnel_sim_board *board) {
    struct lm75 *const chip = calloc(1, sizeof *chip);
    (void)board; /* conversions take no time here */
    if (chip != NULL) {
        chip->value[temperature] = of_degrees(25);
        chip->value[hysteresis] = of_degrees(75);
        chip->value[threshold] = of_degrees(80);
    }
    return chip;
}

static int start(void *state, int is_read) {
    struct lm75 *const chip = state;
    chip->byte = is_read ? 0 : -1;
    return 1;
}

static int write_byte(void *state, uint8_t byte) {
    struct lm75 *const chip = state;
    const int shift = chip->byte == 0 ? 8 : 0;
    if (chip->byte < 0) {
        chip->selected = byte % registers;
    } else if (chip->selected != temperature && chip->byte < (chip->selected == configuration ? 1 : 2)) {
        const unsigned int kept = (uint16_t)chip->value[chip->selected] & (0xFF00U >> shift);
        chip->value[chip->selected] = (int16_t)(kept | (unsigned int)byte << shift);
        compare(chip);
    }
    ++chip->byte;
    return 1;
}

static uint8_t read_byte(void *state) {
    struct lm75 *const chip = state;
    const int shift = chip->byte % 2 == 0 || chip->selected == configuration ? 8 : 0;
    ++chip->byte;
    return (uint8_t)((uint16_t)chip->value[chip->selected] >> shift);
}

static void show(void *state, varnel_sim_reading *reading, void *to) {
    const struct lm75 *const chip = state;
    char text[16];
    snprintf(text, sizeof text, "%.1f", chip->value[temperature] / 256.0);
    reading(to, "temperature", text, 1);
    reading(to, "os", chip->over ? "low (over-temperature)" : "high", 0);
}

static enum varnel_sim_set_result set(void *state, const char *name, const char *value,
                                      const char **expected) {
    struct lm75 *const chip = state;
    char *end = NULL;
    const double degrees = strtod(value, &end);
    if (strcmp(name, "temperature") != 0) {
        *expected = "temperature";
        return varnel_sim_set_bad_name;
    }
    if (end == value || *end != '\0' || !(degrees >= -55 && degrees <= 125)) {
        *expected = "-55 to 125";
        return varnel_sim_set_bad_value;
    }
    chip->value[temperature] = of_degrees(degrees);
    compare(chip);
    return varnel_sim_set_done;
}

const struct varnel_sim_model varnel_sim_plugin = {
    .version = varnel_sim_model_version,
    .title = "temperature sensor",
    .power_on = power_on,
    .power_off = free,
    .start = start,
    .write = write_byte,
    .read = read_byte,
    .show = show,
    .set = set,
};
