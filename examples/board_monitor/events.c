/* SPDX-License-Identifier: Apache-2.0 */
#include "events.h"

#include <endian.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "varnel/debug_log.h"
#include "varnel/message.h"
#include "varnel/text_log.h"

/* Returns 0, or -1. It does not wait for a full queue: the logs have the event, too. The library prints the
 * reason. A reader that leaves is a failure as well, and raises no SIGPIPE. */
static int post_record(const queue_message *record, int fd) {
    struct sigaction before;
    if (sigaction(SIGPIPE, &(struct sigaction){.sa_handler = SIG_IGN}, &before) != 0) {
        return -1;
    }
    const int result = post_message_non_block(record, fd);
    return sigaction(SIGPIPE, &before, NULL) == 0 ? result : -1;
}

/* Does nothing without a reader. */
static void post(const char *queue, int level, int supply_number, const char *text) {
    union {
        queue_message message;
        uint8_t bytes[QUEUE_MESSAGE_HEADER_SIZE + EVENT_TEXT_MAX];
    } record = {.bytes = {0}};
    const size_t length = strnlen(text, EVENT_TEXT_MAX);
    const int fd = open(queue, O_WRONLY | O_NONBLOCK);
    if (fd < 0) {
        if (errno != ENXIO && errno != ENOENT) {
            fprintf(stderr, "board_monitor: %s: %s\n", queue, strerror(errno));
        }
        return;
    }
    record.message.header[EVENT_LEVEL] = (uint8_t)level;
    record.message.header[EVENT_SUPPLY] = (uint8_t)supply_number;
    record.message.payload_len = htole32((uint32_t)length);
    memcpy(record.bytes + QUEUE_MESSAGE_HEADER_SIZE, text, length);
    if (post_record(&record.message, fd) != 0) {
        fprintf(stderr, "board_monitor: %s: event not posted\n", queue);
    }
    close(fd);
}

void tell(const struct settings *settings, int level, int supply_number, const char *text) {
    printf("event    psu%d %s\n", supply_number, text);
    IDBG_LINUXAPP_DbgLog(level, " psu%d %s", supply_number, text);
    if (settings->log_file[0] != '\0' &&
        log_str_size(settings->log_file, settings->log_limit, "psu%d %s", supply_number, text) != 0) {
        fprintf(stderr, "board_monitor: %s: event not logged\n", settings->log_file);
    }
    if (settings->queue[0] != '\0') {
        post(settings->queue, level, supply_number, text);
    }
}
