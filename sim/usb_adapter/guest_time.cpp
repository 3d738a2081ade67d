// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/guest_time.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <exception>
#include <stdexcept>
#include <string>

#include <poll.h>
#include <sys/socket.h>

#include "host/json.h"

namespace varnel::sim {

namespace {

using json = nlohmann::ordered_json;
using std::chrono::nanoseconds;

/// How long a machine may take for a part of its answer. Linux's driver waits 2 s for a transfer.
constexpr int answer_ms = 1500;

bool is_readable(int socket, int timeout_ms) {
    pollfd watched{socket, POLLIN, 0};
    return poll(&watched, 1, timeout_ms) > 0;
}

/// Without its newline; empty when it does not come.
std::string next_line(int socket) {
    std::string line;
    std::array<char, 64> part{};
    while (is_readable(socket, answer_ms)) {
        const ssize_t size = recv(socket, part.data(), part.size(), 0);
        if (size <= 0) {
            return {};
        }
        line.append(part.data(), static_cast<std::size_t>(size));
        if (line.back() == '\n') {
            line.pop_back();
            return line;
        }
    }
    return {};
}

json next_message(channel &board) {
    const auto message = board.receive_control();
    if (!message) {
        throw std::runtime_error("the board's server has ended");
    }
    if (message->contains("error")) {
        throw std::runtime_error(message->at("error").get<std::string>());
    }
    return *message;
}

} // namespace

/// To questions that were given up.
void guest_clock::forget_late_answers() const {
    std::array<char, 64> part{};
    while (recv(connection_.get(), part.data(), part.size(), MSG_DONTWAIT) > 0) {
    }
}

std::optional<nanoseconds> guest_clock::now() const {
    forget_late_answers();
    if (send(connection_.get(), "\n", 1, MSG_NOSIGNAL) != 1) {
        return std::nullopt;
    }
    const std::string line = next_line(connection_.get());
    int64_t time = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), time);
    if (error != std::errc() || end != line.data() + line.size() || time < 0) {
        return std::nullopt;
    }
    return nanoseconds(time);
}

bus_in_guest_time::bus_in_guest_time(device_files::adapter &bus, channel &board, const guest_clock &clock)
    : bus_(bus), board_(board), clock_(clock) {
    board_.send({{"command", "keep-time"}});
    (void)next_message(board_);
    wait_until(std::nullopt);
}

/// Without a time: others may move the clock.
void bus_in_guest_time::wait_until(std::optional<nanoseconds> time) {
    board_.send({{"command", "wait-until"},
                 {"number", ++requests_},
                 {"time", time ? json(time->count()) : json()},
                 {"drives", time.has_value()}});
}

void bus_in_guest_time::advance(nanoseconds to) {
    wait_until(to);
    (void)next_message(board_);
    wait_until(std::nullopt);
}

int bus_in_guest_time::transfer_part(std::span<device_files::i2c_message> messages, place where) {
    if (!where.continues) {
        const auto time = clock_.now();
        if (!time) {
            return ETIMEDOUT;
        }
        try {
            advance(*time);
        } catch (const std::exception &) {
            return ENODEV; // the server has ended
        }
    }
    return bus_.transfer_part(messages, where);
}

} // namespace varnel::sim
