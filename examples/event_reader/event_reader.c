/* SPDX-License-Identifier: Apache-2.0 */
/*
 * event_reader prints the events that board_monitor posts to a queue, each with a reading of its own, taken
 * from the bus that both guard with one lock.
 */
#include <endian.h>
#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../board_monitor/events.h"
#include "../demo_board.h"
#include "varnel/varnel.h"

/* A lock that cannot be had any more, because its set was removed, ends the program. */
static void end_without_lock(void) {
    fprintf(stderr, "event_reader: lock: %s\n", strerror(errno));
    exit(1);
}

static bool read_temperature(int supply_number, int bus_lock, double *celsius) {
    uint16_t raw = 0;
    while (wait_sem_lock(bus_lock, 0) != 0) {
        if (errno != EINTR) {
            end_without_lock();
        }
    }
    const bool read = pca9548_enable_channel(supply_mux, channel_of(supply_number)) == 0 &&
                      car2512_get_temp(supply, &raw) == 0;
    if (!disconnect_supplies()) {
        fputs("event_reader: the multiplexer does not answer\n", stderr);
    }
    if (release_sem_lock(bus_lock, 0) != 0) {
        end_without_lock();
    }
    *celsius = (int16_t)raw / 10.0;
    return read;
}

static void print_event(const queue_message *event, int bus_lock) {
    const int supply_number = event->header[EVENT_SUPPLY];
    double celsius = 0;
    printf("event_reader: level %d psu%d %.*s", event->header[EVENT_LEVEL], supply_number,
           (int)le32toh(event->payload_len), (const char *)event->payload);
    if (supply_number < SUPPLIES && read_temperature(supply_number, bus_lock, &celsius)) {
        printf(" (%.1f C now)", celsius);
    }
    putchar('\n');
}

/* Opens both ends, so that there is always a writer and reading waits instead of reaching the end of file. */
static int open_queue(const char *path) {
    if (mkfifo(path, 0660) != 0 && errno != EEXIST) {
        return -1;
    }
    return open(path, O_RDWR);
}

int main(int argc, char *argv[]) {
    if (argc != 4) {
        fprintf(stderr,
                "usage: event_reader QUEUE LOCK EVENTS (a FIFO, a key file, how many events to print)\n");
        return 2;
    }
    char *end;
    const long events = strtol(argv[3], &end, 10);
    if (*argv[3] == '\0' || *end != '\0' || events < 1) {
        fprintf(stderr, "event_reader: not a number of events: %s\n", argv[3]);
        return 2;
    }
    const int queue = open_queue(argv[1]);
    const int bus_lock = get_sem_lock(argv[2], 1);
    if (queue < 0 || bus_lock < 0) {
        fprintf(stderr, "event_reader: %s: %s\n", queue < 0 ? argv[1] : argv[2], strerror(errno));
        return 1;
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    printf("event_reader: waiting for events at %s\n", argv[1]);
    static union {
        queue_message message;
        uint8_t bytes[QUEUE_MESSAGE_RECORD_MAX];
    } record;
    for (long i = 0; i < events; i++) {
        if (get_message(&record, queue, -1) != 0) {
            return 1;
        }
        print_event(&record.message, bus_lock);
    }
    return ferror(stdout) != 0;
}
