/* SPDX-License-Identifier: Apache-2.0 */
#include "settings.h"

#include "varnel/iniparser.h"

static void read_integer(const char *path, const char *section, const char *key, int32_t *value,
                         int32_t otherwise) {
    if (get_config_integer(path, section, key, 10, value) != 0) {
        *value = otherwise;
    }
}

static void read_string(const char *path, const char *section, const char *key, char *value) {
    if (get_config_string(path, section, key, value) != 0) {
        value[0] = '\0';
    }
}

void read_settings(const char *path, struct settings *settings) {
    read_integer(path, "fan", "least-percent", &settings->least_fan_percent, 60);
    read_integer(path, "supply", "hot-celsius", &settings->hot_celsius, 70);
    read_integer(path, "log", "limit-bytes", &settings->log_limit, 64 * 1024);
    read_string(path, "log", "file", settings->log_file);
    read_string(path, "events", "queue", settings->queue);
    read_string(path, "bus", "lock", settings->bus_lock);
}
