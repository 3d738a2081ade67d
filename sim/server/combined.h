// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "sim/board/bus.h"
#include "sim/protocol/message.h"

namespace varnel::sim {

/// A message_kind::combined.
struct combined_request {
    uint8_t adapter;
    bool continues;                           ///< the transfer of the client's last message
    bool goes_on;                             ///< in its next one
    std::vector<transfer_request> parts = {}; ///< none: a STOP
};

/// Its parts keep pointing into the message. Throws std::runtime_error when it is malformed.
[[nodiscard]] combined_request decode_combined(std::span<const uint8_t> message);

/// Performs the parts; `wire` is null when there is no such adapter, or when the transfer that they continue has ended.
[[nodiscard]] std::vector<transfer_outcome> perform(transaction *wire, const combined_request &request);

/// Whether all parts were done.
[[nodiscard]] bool all_done(std::span<const transfer_request> requests,
                            std::span<const transfer_outcome> outcomes);

/// The reply to it, in two parts.
struct combined_reply {
    std::array<uint8_t, reply_header::size> head;
    std::vector<uint8_t> body;
};
[[nodiscard]] combined_reply encode_combined(std::span<const transfer_request> requests,
                                             std::span<const transfer_outcome> outcomes);

} // namespace varnel::sim
