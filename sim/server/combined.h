// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "sim/board/bus.h"
#include "sim/protocol/message.h"

namespace varnel::sim {

/// The parts of a message_kind::combined, which keep pointing into it. Throws std::runtime_error when it is malformed.
[[nodiscard]] std::vector<transfer_request> decode_combined(std::span<const uint8_t> message);

/// The reply to it, in two parts.
struct combined_reply {
    std::array<uint8_t, reply_header::size> head;
    std::vector<uint8_t> body;
};
[[nodiscard]] combined_reply encode_combined(std::span<const transfer_request> requests,
                                             std::span<const transfer_outcome> outcomes);

} // namespace varnel::sim
