// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/board/bus.h"

namespace varnel::sim {

/// Who made a transfer, and when.
struct transfer_origin {
    std::chrono::nanoseconds time; ///< since power-on
    std::string process;
    int pid;
    bool stop = true; ///< ended it; otherwise the next transfer begins with a repeated START
};

/// Bytes of each direction that a trace keeps; of longer transfers the first ones.
inline constexpr std::size_t traced_bytes = 256;

/// A chip with the address of a transfer, and the way there: "0/mux0.3".
struct traced_chip {
    std::string name;
    std::string path;

    bool operator==(const traced_chip &) const = default;
};

/// The register that the first byte of a transfer selects.
struct traced_register {
    uint8_t code;
    std::string name; ///< empty when the chip has no register of this code

    bool operator==(const traced_register &) const = default;
};

/// Bytes of one direction.
struct traced_data {
    std::vector<uint8_t> bytes; ///< that were on the wire, at most `traced_bytes`
    std::size_t length;         ///< that the program asked for

    bool operator==(const traced_data &) const = default;
};

/// What a trace keeps of a transfer.
struct transfer_record {
    std::chrono::microseconds time; ///< since power-on
    std::string process;
    int pid;
    uint8_t bus;
    std::vector<traced_chip> chips;
    uint8_t address;
    operation kind;
    std::optional<traced_register>
        selected; ///< nothing when the chip has no registers, or nothing was written
    traced_data written;
    traced_data read;
    int result;
    int error; ///< errno, or 0
    std::vector<fault_kind> faults;
    bool stop = true; ///< ended it; otherwise the next transfer of the bus begins with a repeated START

    bool operator==(const transfer_record &) const = default;
};

/// "write", "read" or "write-read".
[[nodiscard]] std::string_view name_of(operation kind);

[[nodiscard]] transfer_record record_of(const transfer_origin &origin, const transfer_request &request,
                                        const transfer_outcome &outcome);

/// A record as a line for people, without a newline:
/// "12.034567 board_monitor[1234] 0/mux0.3 psu0@0x58 READ_TEMP(0xE2) -> 7a 01  ok".
[[nodiscard]] std::string trace_line(const transfer_record &record);

} // namespace varnel::sim
