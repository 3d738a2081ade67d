// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "host/ini_file.h"

namespace varnel::sim {

/// Where a chip's port is soldered, as the description words it.
struct placement {
    std::string bus; ///< "0", "mux0.3" or "sel0"
    int line;        ///< in which this is
    uint8_t address;
};

struct chip_description {
    std::string name;
    int line;
    std::string type;
    int type_line;
    placement place;
    std::optional<placement> other_place;  ///< of a selector's second master
    std::vector<host::ini_entry> settings; ///< for chip::set(), in their order
    std::optional<int> gpiochip_line =
        std::nullopt; ///< in which it is made a /dev/gpiochipN; nothing: it is none
    std::optional<host::ini_entry> presence = std::nullopt; ///< the pin that shows whether it is plugged in
    bool plugged = true;                                    ///< at power-on
};

/// How fast a bus is.
struct bus_clock {
    std::optional<uint8_t>
        adapter; ///< with all buses behind it; nothing: every adapter that has no clock of its own
    double kilohertz;
    int line;
};

struct board_description {
    std::string file;
    std::string name;
    std::vector<chip_description> chips;
    std::vector<bus_clock> clocks = {}; ///< none: transfers take no time
};

/// Reads a board description; what it says of chips is checked when a board is made of it. `file` is for
/// messages. Throws host::bad_line.
[[nodiscard]] board_description read_description(std::istream &input, const std::string &file);

} // namespace varnel::sim
