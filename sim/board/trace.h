// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include <nlohmann/json.hpp>

#include "sim/board/bus.h"

namespace varnel::sim {

/// Who made a transfer, and when.
struct transfer_origin {
    std::chrono::nanoseconds time; ///< since power-on
    std::string process;
    int pid;
};

/// Bytes of each direction that a trace keeps; of longer transfers the first ones.
inline constexpr std::size_t traced_bytes = 256;

/// A transfer as one JSON object:
/// {"time": SECONDS, "process", "pid", "bus", "path": ["0/mux0.3"...], "chips": [NAME...], "address",
///  "operation": "write" | "read" | "write-read", "register", "register_name" (both null when the chip has
///  none), "written": [BYTE...], "written_length", "read": [BYTE...], "read_length", "result", "error": null
///  | "ENXIO", "error_text": null | TEXT, "faults": [KIND...]}. The lengths are those asked for; the bytes
///  are those that were on the wire.
[[nodiscard]] nlohmann::ordered_json
trace_record(const transfer_origin &origin, const transfer_request &request, const transfer_outcome &outcome);

/// The same as a line for people, without a line feed:
/// "12.034567 board_monitor[1234] 0/mux0.3 psu0@0x58 READ_TEMP(0xE2) -> 7a 01  ok".
[[nodiscard]] std::string trace_line(const nlohmann::ordered_json &record);

} // namespace varnel::sim
