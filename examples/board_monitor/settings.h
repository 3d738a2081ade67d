/* SPDX-License-Identifier: Apache-2.0 */
/* The settings that board_monitor reads from its INI file. */
#ifndef BOARD_MONITOR_SETTINGS_H
#define BOARD_MONITOR_SETTINGS_H

#include <stdint.h>

struct settings {
    int32_t least_fan_percent; /* [fan] least-percent, 0 to 100 */
    int32_t hot_celsius;       /* [supply] hot-celsius */
    int32_t log_limit;         /* [log] limit-bytes: the file is moved to FILE.old beyond it */
    char log_file[256];        /* [log] file; empty: no log file */
    char queue[256];           /* [events] queue: a FIFO; empty: no queue */
    char bus_lock[256];        /* [bus] lock: key file of the lock that guards the bus; empty: no lock */
};

/* Settings that the file does not have get their defaults. */
void read_settings(const char *path, struct settings *settings);

#endif
