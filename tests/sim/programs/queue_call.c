/* SPDX-License-Identifier: Apache-2.0 */
/* queue_call: posts a record to a pipe, receives it, and prints its payload. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "varnel/varnel.h"

static const char text[] = "fan0 failed";

union record {
    queue_message message;
    char room[QUEUE_MESSAGE_HEADER_SIZE + sizeof text];
};

int main(void) {
    union record sent = {.room = {0}};
    union record received = {.room = {0}};
    int ends[2];
    setvbuf(stdout, NULL, _IOLBF, 0);
    sent.message.payload_len = sizeof text;
    memcpy(sent.room + QUEUE_MESSAGE_HEADER_SIZE, text, sizeof text);
    if (pipe(ends) != 0 || post_message(&sent.message, ends[1]) != 0 ||
        get_message(received.room, ends[0], 0) != 0) {
        return 1;
    }
    printf("%s\n", received.room + QUEUE_MESSAGE_HEADER_SIZE);
    return 0;
}
