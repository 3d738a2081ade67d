/* SPDX-License-Identifier: Apache-2.0 */
/* Jobs of a daemon that needs only the C library and does nothing: the cost of any process. */
#include "jobs.h"

int limit_in_ini(const char *path) { return path == 0; }
int speed_in_xml(const char *path) { return path == 0; }
int log_speed(const char *path, int speed) { return path == 0 || speed != 0; }
int take_and_release_lock(const char *path) { return path == 0; }
int post_record(const char *path, int speed) { return path == 0 || speed != 0; }
int bring_up_chips(void) { return 0; }
int log_to_system_log(int speed) { return speed; }
int fetch_file(const char *path, const char *host) { return path == 0 || host == 0; }
