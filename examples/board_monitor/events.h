/* SPDX-License-Identifier: Apache-2.0 */
/* Reports board_monitor's events: to standard output, the system log, a text log and a queue. */
#ifndef BOARD_MONITOR_EVENTS_H
#define BOARD_MONITOR_EVENTS_H

#include "settings.h"

/* An event as a record of the queue: level and supply in the header, the text as payload. */
enum { EVENT_LEVEL = 0, EVENT_SUPPLY = 1, EVENT_TEXT_MAX = 200 };

/* level: as for syslog(), such as LOG_WARNING. */
void tell(const struct settings *settings, int level, int supply_number, const char *text);

#endif
