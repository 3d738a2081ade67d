// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/board/fault.h"
#include "sim/models/reading.h"

namespace varnel::sim {

/// Where one port of a chip is soldered.
struct chip_connection {
    std::string bus; ///< "0", "mux0.3", "sel0"
    uint8_t address;
};

/// A bus behind a multiplexer or selector.
struct chip_channel {
    std::string name;
    std::vector<bool> on; ///< whether each of the chip's connections reaches it now
};

/// A fault that may still strike.
struct waiting_fault {
    fault_kind kind;
    fault_terms terms; ///< its count is how many more transfers

    bool operator==(const waiting_fault &) const = default;
};

/// What there is to see of a chip.
struct chip_status {
    std::string name;
    std::string type;
    bool plugged;
    std::vector<chip_connection> connections;
    std::vector<chip_channel> channels;
    std::vector<reading> readings;
    std::vector<waiting_fault> faults;
};

/// What there is to see of a board, chips in the order of the description.
struct board_status {
    std::string name;
    std::vector<chip_status> chips;
};

} // namespace varnel::sim
