// SPDX-License-Identifier: Apache-2.0
#include "varnel/message.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include "varnel/platform.h"

namespace {

constexpr std::size_t length_offset = offsetof(queue_message, payload_len);
constexpr std::size_t header_size = offsetof(queue_message, payload);
static_assert(header_size == QUEUE_MESSAGE_HEADER_SIZE);

constexpr int16_t for_ever = -1;
constexpr int debug_level = 0x82;
constexpr int longest_pause = 10; // milliseconds

using write_function = ssize_t(int fd, const void *bytes, std::size_t size);

/// Records come from and go to plain byte buffers, which need not be aligned. The lowest byte comes first.
uint32_t payload_length(const void *record) {
    const auto *const bytes = static_cast<const uint8_t *>(record) + length_offset;
    return bytes[0] | uint32_t{bytes[1]} << 8U | uint32_t{bytes[2]} << 16U | uint32_t{bytes[3]} << 24U;
}

uint16_t record_size(const queue_message *msg) {
    return static_cast<uint16_t>(payload_length(msg) + header_size);
}

/// A failure to lock or unlock is reported and otherwise ignored.
bool write_under_lock(int fd, const queue_message *msg, write_function put) {
    const uint16_t size = record_size(msg);
    if (file_lock_write(fd) == -1) {
        std::puts("Varnel message.c : Error locking Queue");
    }
    const ssize_t written = put(fd, msg, size);
    if (file_unlock(fd) == -1) {
        std::puts("Varnel message.c : Error unlocking Queue");
    }
    return written == size;
}

ssize_t write_without_waiting(int fd, const void *bytes, std::size_t size) {
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    const ssize_t written = write(fd, bytes, size);
    fcntl(fd, F_SETFL, flags);
    return written;
}

/// The whole wait is in the microseconds, in 32 bits: a wait of more than 2147 s wraps around.
timeval wait_of(int16_t seconds) {
    return {0, static_cast<int32_t>(static_cast<uint32_t>(seconds) * 1'000'000U)};
}

int wait_for_input(int fd, timeval wait) {
    if (fd < 0 || fd >= FD_SETSIZE) {
        errno = EBADF;
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    return select(fd + 1, &readable, nullptr, nullptr, &wait);
}

bool input_arrives(int fd, int16_t seconds) {
    const int ready = wait_for_input(fd, wait_of(seconds));
    if (ready == -1) {
        std::printf("Message.c : Error waiting on Queue %s\n", std::strerror(errno));
    }
    return ready > 0;
}

void wait_for_more(int fd) {
    pollfd input{fd, POLLIN, 0};
    poll(&input, 1, longest_pause);
}

/// While no process has the pipe open for writing, no system call waits for the next writer's data.
int pause_before_retry(int milliseconds) {
    poll(nullptr, 0, milliseconds);
    return std::min(2 * milliseconds, longest_pause);
}

/// Continues at the end of the file, because the next writer continues the record. An error ends it and
/// leaves the rest of `to` unchanged.
void read_fully(int fd, uint8_t *to, std::size_t size) {
    std::size_t got = 0;
    int pause = 1;
    while (got < size) {
        const ssize_t n = read(fd, to + got, size - got);
        if (n > 0) {
            got += static_cast<std::size_t>(n);
            pause = 1;
        } else if (n == 0) {
            pause = pause_before_retry(pause);
        } else if (errno == EAGAIN) {
            wait_for_more(fd);
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace

int post_message(const queue_message *msg, int32_t fd) {
    if (!write_under_lock(fd, msg, write)) {
        std::printf("Message.c : PostMsg %x %s\n", static_cast<unsigned int>(errno), std::strerror(errno));
        return -1;
    }
    return 0;
}

int post_message_non_block(const queue_message *msg, int32_t fd) {
    if (!write_under_lock(fd, msg, write_without_waiting)) {
        std::printf("Message.c : PostMsgNonBlock -  %s\n", std::strerror(errno));
        return -1;
    }
    return 0;
}

int post_message_to_named_queue(const queue_message *msg, const char *path) {
    const int fd = open(path, O_WRONLY);
    if (fd == -1) {
        // Continue: the write then fails, too, and prints its documented line.
        IDBG_LINUXAPP_DbgOut(debug_level, "[%s:%d]Error opening named pipe %s\n", "message.c", 103, path);
        std::perror("");
    }
    const bool posted = write_under_lock(fd, msg, write);
    close(fd);
    if (!posted) {
        std::printf("Message.c : PostMsg %s\n", std::strerror(errno));
        return -1;
    }
    return 0;
}

int get_message(void *buf, int32_t fd, int16_t timeout) {
    if (timeout != for_ever && !input_arrives(fd, timeout)) {
        return -1;
    }
    auto *record = static_cast<uint8_t *>(buf);
    read_fully(fd, record, header_size);
    const auto length = static_cast<int32_t>(payload_length(record));
    if (length > 0) {
        read_fully(fd, record + header_size, static_cast<std::size_t>(length));
    }
    return 0;
}

int message_number_in_queue(int32_t fd) {
    struct stat status {};
    const bool known = fstat(fd, &status) == 0;
    const auto size = static_cast<unsigned long>(status.st_size);
    std::printf("%sStat.st_size = %lx\n", known ? "" : "Error ", size);
    return known ? static_cast<int>(size / QUEUE_MESSAGE_RECORD_MAX) : 0;
}
