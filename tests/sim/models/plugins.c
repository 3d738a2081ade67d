/* SPDX-License-Identifier: Apache-2.0 */
/* Plug-ins for the tests, one for each name that is defined: NO_MODEL, LATER_MODEL, DEAD_MODEL, CLOCK_MODEL. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "varnel-sim/model.h"

#ifdef NO_MODEL

int not_a_model = 1;

#else

struct clock_chip {
    const struct varnel_sim_board *board;
};

static void *power_on(const struct varnel_sim_board *board) {
#ifdef DEAD_MODEL
    (void)board;
    return NULL;
#else
    struct clock_chip *const chip = malloc(sizeof *chip);
    if (chip != NULL) {
        chip->board = board;
    }
    return chip;
#endif
}

static int refuse(void *chip, int is_read) {
    (void)chip;
    (void)is_read;
    return 0;
}

static void show(void *chip, varnel_sim_reading *reading, void *to) {
    const struct varnel_sim_board *const board = ((struct clock_chip *)chip)->board;
    char text[24];
    snprintf(text, sizeof text, "%" PRIu64, board->now(board));
    reading(to, "time", text, 0);
}

const struct varnel_sim_model varnel_sim_plugin = {
#ifdef LATER_MODEL
    .version = varnel_sim_model_version + 1,
#else
    .version = varnel_sim_model_version,
#endif
    .title = "clock",
    .power_on = power_on,
    .power_off = free,
    .start = refuse,
    .show = show,
};

#endif
