// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/reception.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "tools/varnel/descriptor.h"
#include "varnel/lan_transfer.h"

namespace varnel::tools {

namespace {

constexpr int connection_pause = 2; // milliseconds
constexpr int idle_pause = 100;
constexpr std::size_t piece_size = 65536;
constexpr int closed_state = 7; // TCP_CLOSE of the kernel's net/tcp_states.h

bool is_connected_to_sender(int number) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    return getpeername(number, reinterpret_cast<sockaddr *>(&peer), &size) == 0 &&
           peer.sin_family == AF_INET && ntohs(peer.sin_port) == LAN_TRANSFER_PORT;
}

/// A connection that was there and has been reset since.
bool was_connected(int number) {
    tcp_info info{};
    socklen_t size = sizeof info;
    return number > STDERR_FILENO && getsockopt(number, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
           info.tcpi_state == closed_state && info.tcpi_segs_in > 0;
}

/// The library's socket: the one of this process that leads to a sender.
int find_connection() {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string name = entry.path().filename();
        int number = -1;
        std::from_chars(name.data(), name.data() + name.size(), number);
        if (is_connected_to_sender(number) || was_connected(number)) {
            return number;
        }
    }
    return -1;
}

void take_all(int pipe, const std::function<void(const char *, std::size_t)> &take) {
    std::array<char, piece_size> piece;
    for (ssize_t n = 0; (n = read(pipe, piece.data(), piece.size())) > 0;) {
        take(piece.data(), static_cast<std::size_t>(n));
    }
}

} // namespace

/// Shared with the thread, which may outlive us: it waits in the library for as long as the sender likes.
struct reception::order {
    std::string pipe;
    std::string address;
    descriptor finished{eventfd(0, EFD_CLOEXEC)};
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
    int connection = -1;
    while ((connection = find_connection()) < 0) {
        if (order_->is_finished()) {
            return std::nullopt;
        }
        poll(nullptr, 0, connection_pause);
        idle();
    }
    // In the sender's byte order, little-endian on the boards.
    std::array<uint8_t, 4> size{};
    ssize_t got = 0;
    while ((got = recv(connection, size.data(), size.size(), MSG_PEEK | MSG_DONTWAIT)) !=
           ssize_t{size.size()}) {
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
            return std::nullopt;
        }
        poll(nullptr, 0, connection_pause);
        idle();
    }
    return size[0] | size[1] << 8U | size[2] << 16U | static_cast<uint32_t>(size[3]) << 24U;
}

void reception::receive(const std::function<void(const char *, std::size_t)> &take, const meanwhile &idle) {
    const descriptor pipe(open(order_->pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!pipe) {
        throw std::system_error(errno, std::generic_category(), order_->pipe);
    }
    std::array<pollfd, 2> watched{{{pipe.get(), POLLIN, 0}, {order_->finished.get(), POLLIN, 0}}};
    while (watched[1].revents == 0) {
        poll(watched.data(), watched.size(), idle_pause);
        idle();
        if (watched[0].revents == POLLHUP) {
            watched[0].fd = -1; // the library has closed the file, and is about to return
        }
        take_all(pipe.get(), take); // and when it has returned, all is there
    }
}

reception::ending reception::end() const { return order_->end; }

} // namespace varnel::tools
