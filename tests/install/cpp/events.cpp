// SPDX-License-Identifier: Apache-2.0
// events QUEUE: posts a record to a new queue and receives it. Queues call the platform's file locks.
#include <array>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <sys/stat.h>
#include <varnel/varnel.h>

namespace {

// A record is bytes: header, length, payload.
using record = std::array<std::uint8_t, QUEUE_MESSAGE_RECORD_MAX>;
record sent, received;

queue_message *message_in(record &bytes) { return reinterpret_cast<queue_message *>(bytes.data()); }

} // namespace

int main(int argc, char *argv[]) {
    if (argc != 2 || mkfifo(argv[1], 0600) != 0) {
        return 1;
    }
    constexpr std::string_view text = "psu1 is hot";
    queue_message *const message = message_in(sent);
    message->payload_len = text.size();
    std::memcpy(message->payload, text.data(), text.size());
    const int queue = open(argv[1], O_RDWR);
    if (queue < 0 || post_message(message, queue) != 0 || get_message(received.data(), queue, 5) != 0) {
        return 1;
    }
    const queue_message *const event = message_in(received);
    std::cout << "event "
              << std::string_view(reinterpret_cast<const char *>(event->payload), event->payload_len) << '\n';
    return 0;
}
