// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/channel.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "sim/protocol/message.h"

namespace varnel::sim {

using json = nlohmann::ordered_json;

descriptor::~descriptor() { close(); }

descriptor::descriptor(descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}

descriptor &descriptor::operator=(descriptor &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
}

void descriptor::close() {
    if (is_open()) {
        ::close(std::exchange(number_, -1));
    }
}

namespace {

iovec part_of(std::span<const uint8_t> bytes) {
    return {const_cast<uint8_t *>(bytes.data()), bytes.size()}; // sendmsg() does not write there
}

bool has_left(int error) { return error == ECONNRESET || error == EPIPE; }

/// Size of the next message; 0 when there will be none.
std::size_t wait_for_message(int socket) {
    ssize_t size = 0;
    do {
        size = recv(socket, nullptr, 0, MSG_PEEK | MSG_TRUNC);
    } while (size < 0 && errno == EINTR);
    if (size < 0 && !has_left(errno)) {
        throw std::system_error(errno, std::generic_category(), "recv");
    }
    return size < 0 ? 0 : static_cast<std::size_t>(size);
}

} // namespace

bool channel::send(std::span<const uint8_t> head, std::span<const uint8_t> body) {
    std::array<iovec, 2> parts{part_of(head), part_of(body)};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    while (sendmsg(get(), &message, MSG_NOSIGNAL) < 0) {
        if (errno == EAGAIN) {
            return false;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "sendmsg");
        }
    }
    return true;
}

bool channel::send(const json &control) {
    static constexpr std::array kind{static_cast<uint8_t>(message_kind::control)};
    // Names come from board files and /proc, which do not promise UTF-8.
    const std::string text = control.dump(-1, ' ', false, json::error_handler_t::replace);
    return send(kind, {reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

std::vector<uint8_t> channel::receive() {
    std::vector<uint8_t> message(wait_for_message(get()));
    if (!message.empty() && recv(get(), message.data(), message.size(), 0) < 0) {
        throw std::system_error(errno, std::generic_category(), "recv");
    }
    return message;
}

std::optional<json> channel::receive_control() {
    const auto message = receive();
    return message.empty() ? std::nullopt : std::optional(parse_control(message));
}

json parse_control(std::span<const uint8_t> message) {
    if (message.empty() || message_kind{message[0]} != message_kind::control) {
        throw std::runtime_error("not a control message");
    }
    const auto text = message.subspan(1);
    return json::parse(text.begin(), text.end());
}

} // namespace varnel::sim
