// SPDX-License-Identifier: Apache-2.0
// Calls on TCP sockets that are steps of actors. send() and recv() move as many bytes as the schedule says.
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include "models/actor.h"
#include "support/interposed.h"

namespace {

using namespace varnel::models;
using varnel::test::interposed;

interposed<int(int, int)> listen_call("listen");
interposed<int(int, sockaddr *, socklen_t *)> accept_call("accept");
interposed<int(int, const sockaddr *, socklen_t)> connect_call("connect");
interposed<ssize_t(int, const void *, size_t, int)> send_call("send");
interposed<ssize_t(int, void *, size_t, int)> recv_call("recv");
interposed<unsigned int(unsigned int)> sleep_call("sleep");

constexpr size_t piece = 131072; // of a recv() that waits

/// A line of /proc/net/tcp.
struct tcp_end {
    std::string local;
    std::string remote;
    unsigned int state = 0;
    unsigned int unsent = 0;
    unsigned int unread = 0;
};

enum : unsigned int { established = 1, syn_received = 3, fin_wait_1 = 4, time_wait = 6, close_wait = 8 };
constexpr const char *nowhere = "00000000:0000";
constexpr const char *transfer_port = ":1B58";

/// With the C library's stream: that of C++ calls read(), which is a step.
std::string kernels_table() {
    std::FILE *const file = std::fopen("/proc/net/tcp", "r");
    std::array<char, 4096> bytes{};
    std::string all;
    for (size_t n = 0; (n = std::fread(bytes.data(), 1, bytes.size(), file)) > 0;) {
        all.append(bytes.data(), n);
    }
    std::fclose(file);
    return all;
}

std::vector<tcp_end> tcp_ends() {
    std::istringstream table(kernels_table());
    std::vector<tcp_end> ends;
    std::string line;
    for (std::getline(table, line); std::getline(table, line);) {
        tcp_end end;
        std::string number;
        char colon = 0;
        std::istringstream words(line);
        words >> number >> end.local >> end.remote >> std::hex >> end.state >> end.unsent >> colon >>
            end.unread;
        if (end.remote != nowhere && end.state != time_wait) {
            ends.push_back(end);
        }
    }
    return ends;
}

/// What an end has sent has arrived, and what a process that has ended or closed it leaves to be said.
bool is_settled(const tcp_end &end, const std::vector<tcp_end> &all) {
    const auto peer = std::ranges::find_if(
        all, [&](const tcp_end &other) { return other.local == end.remote && other.remote == end.local; });
    if (peer == all.end()) {
        return false;
    }
    switch (end.state) {
    case established:
        return end.unsent == 0 || peer->unread != 0;
    case syn_received:
        return false;
    case fin_wait_1:
        return !end.remote.ends_with(transfer_port); // clients send nothing that would have to wait
    case close_wait:
        return end.unsent == 0;
    default:
        return true;
    }
}

/// Packets on loopback may still be under way when the call that sent them, or the end of a process, is over. An actor
/// that slept here would seem to wait in its step.
void settle() {
    const auto last = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (std::vector<tcp_end> ends = tcp_ends();
         !std::ranges::all_of(ends, [&](const tcp_end &end) { return is_settled(end, ends); }) &&
         std::chrono::steady_clock::now() < last;
         ends = tcp_ends()) {
        sched_yield();
    }
}

std::string stop_and_settle(std::string_view name) {
    std::string result = stop_before(name);
    settle();
    return result;
}

size_t scheduled(const std::string &result, size_t otherwise) {
    const long bytes = result.empty() ? 0 : std::stol(result);
    return bytes > 0 ? static_cast<size_t>(bytes) : otherwise;
}

ssize_t send_as_scheduled(int fd, const void *bytes, size_t size, int flags) {
    const size_t some = std::min(size, scheduled(stop_and_settle("send"), size));
    const ssize_t sent = send_call(fd, bytes, some, flags);
    errno = sent < 0 ? EPIPE : errno; // or ECONNRESET
    report_result("send", sent);
    return sent;
}

ssize_t receive_as_scheduled(int fd, void *bytes, size_t size, int flags) {
    const size_t some = std::min(size, scheduled(stop_and_settle("recv"), piece));
    const ssize_t received = recv_call(fd, bytes, some, flags | MSG_WAITALL);
    report_result("recv", received);
    return received;
}

} // namespace

extern "C" {
int listen(int fd, int backlog) noexcept {
    return step("listen", [=] { return listen_call(fd, backlog); });
}
int accept(int fd, sockaddr *address, socklen_t *size) {
    if (!acting()) {
        return accept_call(fd, address, size);
    }
    stop_and_settle("accept");
    const int client = accept_call(fd, address, size);
    report_result("accept", client < 0 ? -1 : 0);
    return client;
}
int connect(int fd, const sockaddr *address, socklen_t size) {
    return step("connect", [=] { return connect_call(fd, address, size); });
}
ssize_t send(int fd, const void *bytes, size_t size, int flags) {
    return acting() ? send_as_scheduled(fd, bytes, size, flags) : send_call(fd, bytes, size, flags);
}
ssize_t recv(int fd, void *bytes, size_t size, int flags) {
    return acting() ? receive_as_scheduled(fd, bytes, size, flags) : recv_call(fd, bytes, size, flags);
}
unsigned int sleep(unsigned int seconds) {
    return acting() ? step("sleep", [] { return 0U; }) : sleep_call(seconds);
}
}
