// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * @file
 * The board's state as the JSON of control messages: records and status that the server sends, and commands
 * read. Keys carry the unit of their number.
 */

#include <chrono>
#include <string>
#include <vector>

#include "host/json.h"
#include "sim/board/status.h"
#include "sim/board/trace.h"

namespace varnel::sim {

struct program_status {
    std::string process;
    int pid;
};

/// What there is to see of a running board.
struct server_status {
    board_status board;
    std::string file;
    std::chrono::duration<double> uptime;
    int server; ///< process id
    std::vector<program_status> programs;
};

/// {"time_seconds", "process", "pid", "bus", "path": ["0/mux0.3"...], "chips": [NAME...], "address",
///  "operation": "write" | "read" | "write-read", "register", "register_name" (null when the chip has none),
///  "written": [BYTE...], "written_length", "read": [BYTE...], "read_length", "result", "error": null |
///  "ENXIO", "error_text": null | TEXT, "faults": [KIND...], "stop": BOOLEAN}. The lengths are those asked for; the bytes are
///  those that were on the wire.
void to_json(nlohmann::ordered_json &json, const transfer_record &record);
void from_json(const nlohmann::ordered_json &json, transfer_record &record);

/// {"board": NAME, "chips": {NAME: {"type", "plugged": BOOLEAN, "connections": [{"bus", "address"}...], "channels": [{"name",
///  "on": [per connection...]}...], "readings": [{"name", "settable", "text" | "number", "unit", "decimals" |
///  "bits", "digits"}...], "faults": [{"kind", "transfers" | "rate", "seed"}...]}...}, "file",
///  "uptime_seconds", "server", "programs": [{"process", "pid"}...]}.
void to_json(nlohmann::ordered_json &json, const server_status &status);
void from_json(const nlohmann::ordered_json &json, server_status &status);

} // namespace varnel::sim
