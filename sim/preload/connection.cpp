// SPDX-License-Identifier: Apache-2.0
#include "sim/preload/connection.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "sim/preload/turn.h"
#include "sim/protocol/socket_address.h"

namespace varnel::sim::preload {

namespace {

/// Out of the way of the low numbers that a program may expect for its own files.
constexpr int first_descriptor = 512;

/// The connection of this process, as long as its descriptor is what it was when we opened it.
struct connection {
    int socket = -1;
    pid_t owner = 0;
    dev_t device = 0;
    ino_t inode = 0;

    [[nodiscard]] bool usable() const { return owner == getpid() && is_ours(); }
    [[nodiscard]] bool is_ours() const;
    bool open();
    void close();
};

connection link;
pthread_mutex_t one_at_a_time = PTHREAD_MUTEX_INITIALIZER;
bool complained = false;

/// A daemon that closes all descriptors closes ours, and may have another file under its number by now.
bool connection::is_ours() const {
    struct stat now {};
    return socket >= 0 && fstat(socket, &now) == 0 && S_ISSOCK(now.st_mode) && now.st_dev == device &&
           now.st_ino == inode;
}

int connect_to(const char *path) {
    const socket_address address(path);
    if (!address.valid()) {
        return -1;
    }
    const int low = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (low < 0) {
        return -1;
    }
    const int high = fcntl(low, F_DUPFD_CLOEXEC, first_descriptor);
    const int result = high >= 0 ? high : low; // few descriptors allowed: any will do
    if (result == high) {
        close(low);
    }
    int connected = 0;
    do {
        connected = connect(result, address.get(), socket_address::size());
    } while (connected != 0 && errno == EINTR);
    if (connected != 0) {
        close(result);
        return -1;
    }
    return result;
}

bool connection::open() {
    socket = -1;
    const char *const path = getenv("VARNEL_SIM_SOCKET");
    if (path == nullptr) {
        return false;
    }
    socket = connect_to(path);
    struct stat status {};
    if (socket < 0 || fstat(socket, &status) != 0) {
        return false;
    }
    owner = getpid();
    device = status.st_dev;
    inode = status.st_ino;
    return true;
}

void connection::close() {
    if (is_ours()) {
        ::close(socket);
    }
    socket = -1;
}

bool send_request(const transfer &wanted) {
    auto header = encode(transfer_header{wanted.kind, protocol_version, wanted.adapter, wanted.address,
                                         wanted.write_length, wanted.read_length});
    iovec parts[] = {{header.data(), header.size()},
                     {const_cast<uint8_t *>(wanted.write_buffer), wanted.write_length}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    mmsghdr unasked{message, 0};
    const bool asks = !takes_turn();
    ssize_t sent = 0;
    do {
        sent = asks ? sendmsg(link.socket, &message, MSG_NOSIGNAL)
                    : sendmmsg(link.socket, &unasked, 1, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0 || errno == EPIPE || errno == ECONNRESET; // a server that has left may have said why
}

/// Receives the bytes read straight into the program's buffer.
bool receive_reply(const transfer &wanted, reply_header &reply) {
    uint8_t header[reply_header::size];
    iovec parts[] = {{header, sizeof header}, {wanted.read_buffer, wanted.read_length}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    ssize_t received = 0;
    do {
        received = recvmsg(link.socket, &message, 0);
    } while (received < 0 && (errno == EINTR || errno == ECONNRESET)); // reported before what was sent
    if (received < static_cast<ssize_t>(sizeof header)) {
        return false;
    }
    reply = decode_reply(header);
    return reply.kind == message_kind::reply && reply.version == protocol_version &&
           received == static_cast<ssize_t>(sizeof header + reply.read_length);
}

void complain(bool refused) {
    const char *const path = getenv("VARNEL_SIM_SOCKET");
    const char *const hint = "start programs with varnel-sim run";
    if (refused) {
        dprintf(STDERR_FILENO, "libvarnel_sim: the board at %s %s\n", path, refusal_reason);
    } else if (path == nullptr) {
        dprintf(STDERR_FILENO, "libvarnel_sim: VARNEL_SIM_SOCKET is not set: %s\n", hint);
    } else {
        dprintf(STDERR_FILENO, "libvarnel_sim: no simulated board at %s: %s\n", path, hint);
    }
}

int without_board(bool refused = false) {
    if (!complained) {
        complained = true;
        complain(refused);
    }
    errno = ENODEV;
    return -1;
}

/// The old connection, if anything the parent process's, goes last: it may be all that keeps the board
/// powered.
bool renew_link() {
    connection old = link;
    const bool opened = link.open();
    old.close();
    return opened;
}

int exchange(const transfer &wanted) {
    const int saved_errno = errno;
    errno = 0;
    if (!link.usable() && !renew_link()) {
        return without_board();
    }
    reply_header reply{};
    if (!send_request(wanted) || !receive_reply(wanted, reply)) {
        const bool bad_buffer = errno == EFAULT;
        link.close();
        if (bad_buffer) {
            errno = EFAULT;
            return -1;
        }
        return without_board(reply.kind == message_kind::refusal);
    }
    errno = reply.error != 0 ? reply.error : saved_errno;
    return reply.result;
}

void lock() { pthread_mutex_lock(&one_at_a_time); }
void unlock() { pthread_mutex_unlock(&one_at_a_time); }

/// Connects at once, so that a board keeps its power while a program runs, even before its first transfer.
__attribute__((constructor)) void start() {
    const int saved_errno = errno;
    pthread_atfork(lock, unlock, unlock);
    find_turn();
    link.open();
    errno = saved_errno;
}

} // namespace

int transfer_bytes(const transfer &wanted) {
    int cancel_state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    lock();
    const int result = exchange(wanted);
    unlock();
    pthread_setcancelstate(cancel_state, nullptr);
    return result;
}

} // namespace varnel::sim::preload
