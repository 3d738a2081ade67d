/* SPDX-License-Identifier: Apache-2.0 */
/* events QUEUE: posts a record to a new queue and receives it. Queues call the platform's file locks. */
#define _POSIX_C_SOURCE 200809L
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <varnel/varnel.h>

static const char text[] = "psu1 is hot";

static union {
    queue_message message;
    uint8_t bytes[QUEUE_MESSAGE_RECORD_MAX];
} sent, received;

int main(int argc, char *argv[]) {
    if (argc != 2 || mkfifo(argv[1], 0600) != 0) {
        return 1;
    }
    const int queue = open(argv[1], O_RDWR);
    sent.message.payload_len = sizeof text;
    memcpy(sent.message.payload, text, sizeof text);
    if (queue < 0 || post_message(&sent.message, queue) != 0 || get_message(&received, queue, 5) != 0) {
        return 1;
    }
    printf("event %s\n", (const char *)received.message.payload);
    return 0;
}
