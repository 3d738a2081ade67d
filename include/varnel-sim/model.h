/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_SIM_MODEL_H
#define VARNEL_SIM_MODEL_H

/**
 * @file
 * A chip model of your own for the simulated board: a shared object that defines `varnel_sim_plugin`. A board file names it as
 * the type of a chip, with its path (see docs/chips/plug-ins.md). examples/chip_model/lm75.c is a whole one.
 *
 *     cc -shared -fPIC -o lm75.so lm75.c
 *
 * @par Threads
 * All functions are called by one thread of the board's server, one at a time. They must not wait: the whole board waits with
 * them. Programs on the board use other processes.
 *
 * @par Time
 * A model computes what has changed since it was called last from the board's time, which now() returns.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Changes whenever a plug-in for an earlier version would no longer work. */
enum { varnel_sim_model_version = 1 };

/** What a board offers its chips. */
struct varnel_sim_board {
    /** Nanoseconds since power came on. */
    uint64_t (*now)(const struct varnel_sim_board *board);
};

/** Takes one reading of a chip: its name (as in `varnel-sim set CHIP.NAME`), its value, and whether set() accepts it. */
typedef void varnel_sim_reading(void *to, const char *name, const char *value, int settable);

/** What became of a setting. */
enum varnel_sim_set_result {
    varnel_sim_set_done,
    varnel_sim_set_bad_value, /**< nothing is changed; the expected text says what the setting takes: "-55 to 125" */
    varnel_sim_set_bad_name /**< nothing is changed; the expected text lists the settings: "temperature, a0" */
};

/** A type of chip. A board may have several chips of it, each with a state of its own. */
struct varnel_sim_model {
    uint32_t version;  /**< varnel_sim_model_version */
    const char *title; /**< for `varnel-sim show`: "temperature sensor" */

    /** A chip when power comes on. Returns its state, which the other functions get, or NULL: the board does not start.
     * The board outlives the chip. A chip that is plugged in again gets a new state, to which the settings that it took are
     * applied; its old state is freed. */
    void *(*power_on)(const struct varnel_sim_board *board);
    /** Frees the state. */
    void (*power_off)(void *chip);

    /** START, or a repeated START, with the chip's address. Returns whether the chip acknowledges. */
    int (*start)(void *chip, int is_read);
    /** A byte from the master. Returns whether the chip acknowledges it. */
    int (*write)(void *chip, uint8_t byte);
    /** A byte to the master. */
    uint8_t (*read)(void *chip);
    /** STOP. May be NULL. */
    void (*stop)(void *chip);

    /** Calls `reading` for each reading, with `to` as it is, in the order in which users want to see them. */
    void (*show)(void *chip, varnel_sim_reading *reading, void *to);
    /** Changes what surrounds the chip. For other results than varnel_sim_set_done, stores the expected text, which lives as
     * long as the plug-in. */
    enum varnel_sim_set_result (*set)(void *chip, const char *name, const char *value, const char **expected);
};

/** The plug-in defines this. */
extern const struct varnel_sim_model varnel_sim_plugin;

#ifdef __cplusplus
}
#endif

#endif
