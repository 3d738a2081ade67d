// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/channel.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "host/json.h"
#include "sim/protocol/message.h"

namespace varnel::sim {

using json = nlohmann::ordered_json;

namespace {

iovec part_of(std::span<const uint8_t> bytes) {
    return {const_cast<uint8_t *>(bytes.data()), bytes.size()}; // sendmsg() does not write there
}

/// Returns the size of a message; 0 when there will be none. The kernel reports a peer that left without
/// reading everything once, before the messages that the peer sent.
std::size_t receive_into(int socket, std::span<uint8_t> buffer, int flags) {
    ssize_t size = 0;
    do {
        size = recv(socket, buffer.data(), buffer.size(), flags);
    } while (size < 0 && (errno == EINTR || errno == ECONNRESET));
    if (size < 0) {
        throw std::system_error(errno, std::generic_category(), "recv");
    }
    return static_cast<std::size_t>(size);
}

} // namespace

connection_refused::connection_refused() : std::runtime_error(fmt::format("this board {}", refusal_reason)) {}

bool channel::send(std::span<const uint8_t> head, std::span<const uint8_t> body) {
    std::array<iovec, 2> parts{part_of(head), part_of(body)};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    while (sendmsg(get(), &message, MSG_NOSIGNAL) < 0) {
        if (errno == EAGAIN) {
            return false;
        }
        if (errno == EPIPE || errno == ECONNRESET) {
            return true;
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
    std::vector<uint8_t> message(receive_into(get(), {}, MSG_PEEK | MSG_TRUNC));
    if (!message.empty()) {
        receive_into(get(), message, 0);
    }
    return message;
}

std::optional<json> channel::receive_control() {
    const auto message = receive();
    if (message.empty()) {
        return std::nullopt;
    }
    if (message_kind{message[0]} == message_kind::refusal) {
        throw connection_refused();
    }
    return parse_control(message);
}

json parse_control(std::span<const uint8_t> message) {
    if (message.empty() || message_kind{message[0]} != message_kind::control) {
        throw std::runtime_error("not a control message");
    }
    const auto text = message.subspan(1);
    return json::parse(text.begin(), text.end());
}

} // namespace varnel::sim
