// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/reception.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "host/descriptor.h"
#include "host/numbers.h"
#include "varnel/lan_transfer.h"

namespace varnel::tools {

namespace {

constexpr int connection_pause = 2; // milliseconds
constexpr int idle_pause = 100;
constexpr std::size_t piece_size = 65536;

bool is_connected_to_sender(int number) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    return getpeername(number, reinterpret_cast<sockaddr *>(&peer), &size) == 0 &&
           peer.sin_family == AF_INET && ntohs(peer.sin_port) == LAN_TRANSFER_PORT;
}

/// What poll(2) says of a socket at once: it takes nothing from it, not even an error.
int state_of(int number, short events) {
    pollfd socket{number, events, 0};
    poll(&socket, 1, 0);
    return socket.revents;
}

/// Whether this is a socket with an error to tell of, such as a connection that has been reset already.
bool is_broken(int number) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    return getsockname(number, reinterpret_cast<sockaddr *>(&own), &size) == 0 && own.sin_family == AF_INET &&
           (state_of(number, 0) & POLLERR) != 0;
}

std::size_t bytes_ready(int connection) {
    int bytes = 0;
    ioctl(connection, FIONREAD, &bytes);
    return static_cast<std::size_t>(bytes);
}

/// What is to be seen of the library's socket, the one of this process that leads to a sender.
struct sighting {
    int connected = -1;
    bool broken = false;
};

sighting look_for_connection() {
    sighting seen;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string name = entry.path().filename();
        const int number = host::whole_number<int>(name).value_or(-1);
        seen.connected = is_connected_to_sender(number) ? number : seen.connected;
        seen.broken = seen.broken || is_broken(number);
    }
    return seen;
}

void read_all(int pipe, const std::function<void(const char *, std::size_t)> &use) {
    std::array<char, piece_size> piece;
    for (ssize_t n = 0; (n = read(pipe, piece.data(), piece.size())) > 0;) {
        use(piece.data(), static_cast<std::size_t>(n));
    }
}

} // namespace

/// Shared with the thread, which may outlive us: it waits in the library for as long as the sender likes.
struct reception::order {
    std::string pipe;
    std::string address;
    host::descriptor finished{eventfd(0, EFD_CLOEXEC)};
    ending end{};

    [[nodiscard]] bool is_finished() const {
        pollfd one{finished.get(), POLLIN, 0};
        return poll(&one, 1, 0) == 1;
    }
};

std::shared_ptr<reception::order> reception::make_order(std::string pipe, std::string address) {
    auto made = std::make_shared<order>();
    made->pipe = std::move(pipe);
    made->address = std::move(address);
    return made;
}

reception::reception(std::string pipe, std::string address)
    : order_(make_order(std::move(pipe), std::move(address))),
      thread_(run, new std::shared_ptr<order>(order_)) {} // the thread's own hold on it

void *reception::run(void *arg) {
    const std::unique_ptr<std::shared_ptr<order>> mine(static_cast<std::shared_ptr<order> *>(arg));
    order &work = **mine;
    errno = 0;
    const int result = mma_lan_transfer(work.pipe.c_str(), work.address.c_str());
    work.end = {result, errno};
    eventfd_write(work.finished.get(), 1);
    return nullptr;
}

std::optional<uint32_t> reception::announced_size(const meanwhile &idle) {
    sighting seen;
    while ((seen = look_for_connection()).connected < 0) {
        if (seen.broken || order_->is_finished()) {
            return std::nullopt;
        }
        poll(nullptr, 0, connection_pause);
        idle();
    }
    std::array<uint8_t, 4> size{}; // in the sender's byte order, little-endian on the boards
    bool ended = false;
    while (!ended && bytes_ready(seen.connected) < size.size()) {
        poll(nullptr, 0, connection_pause);
        idle();
        ended = (state_of(seen.connected, POLLRDHUP) & (POLLERR | POLLRDHUP)) != 0;
    }
    if (bytes_ready(seen.connected) < size.size()) {
        return std::nullopt;
    }
    recv(seen.connected, size.data(), size.size(), MSG_PEEK);
    return static_cast<uint32_t>(size[0] | size[1] << 8 | size[2] << 16) | static_cast<uint32_t>(size[3])
                                                                               << 24U;
}

void reception::receive(const std::function<void(const char *, std::size_t)> &use, const meanwhile &idle) {
    const host::descriptor pipe(open(order_->pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!pipe.is_open()) {
        throw std::system_error(errno, std::generic_category(), order_->pipe);
    }
    std::array<pollfd, 2> watched{{{pipe.get(), POLLIN, 0}, {order_->finished.get(), POLLIN, 0}}};
    while (watched[1].revents == 0) {
        poll(watched.data(), watched.size(), idle_pause);
        idle();
        if (watched[0].revents == POLLHUP) {
            watched[0].fd = -1; // the library has closed the file, and is about to return
        }
        read_all(pipe.get(), use); // and when it has returned, all is there
    }
}

reception::ending reception::end() const { return order_->end; }

} // namespace varnel::tools
