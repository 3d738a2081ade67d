// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "host/descriptor.h"

namespace varnel::sim {

using host::descriptor;

/// The server takes no more connections; what() says why, without a newline.
class connection_refused : public std::runtime_error {
  public:
    connection_refused();
};

/// One end of a connection. Functions throw std::system_error when the connection cannot be used.
class channel {
  public:
    explicit channel(descriptor socket) : socket_(std::move(socket)) {}

    [[nodiscard]] int get() const { return socket_.get(); }

    /// Sends one message of two parts. Returns false when the other side does not take it now and the socket
    /// is non-blocking. What is sent after the other side has left is lost; receive() reports that.
    bool send(std::span<const uint8_t> head, std::span<const uint8_t> body);
    bool send(const nlohmann::ordered_json &control);
    /// A whole message; empty when the other side has left.
    [[nodiscard]] std::vector<uint8_t> receive();
    /// A control message; nothing when the other side has left. Throws connection_refused, and
    /// std::runtime_error for anything else.
    [[nodiscard]] std::optional<nlohmann::ordered_json> receive_control();

  private:
    descriptor socket_;
};

/// The JSON of a control message. Throws std::runtime_error when it is none.
[[nodiscard]] nlohmann::ordered_json parse_control(std::span<const uint8_t> message);

} // namespace varnel::sim
