// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/board/trace.h"

namespace varnel::sim::capture {

/// START or repeated START, the address and the bytes of one direction.
struct wire_message {
    direction way;
    std::vector<uint8_t> bytes; ///< after the address
    std::size_t length;         ///< of them on the wire; more than `bytes` when the trace has cut them
    bool address_acknowledged = true;
    bool last_acknowledged =
        true;         ///< the last byte written; of those read the master acknowledges all but the last
    bool stop = true; ///< follows; otherwise a repeated START does
};

enum class held_line : uint8_t { none, data, clock };

/// What a logic analyser at an adapter saw of a transfer.
struct wire_activity {
    std::vector<wire_message> messages = {}; ///< none: no START
    held_line held = held_line::none;        ///< low, after the messages, until the adapter gave up
    bool arbitration_lost = false;           ///< while the address of the only message was sent
};

/// Nothing for a transfer of an adapter that the board does not have.
[[nodiscard]] wire_activity activity_of(const transfer_record &record);

} // namespace varnel::sim::capture
