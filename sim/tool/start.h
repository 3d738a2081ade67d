// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/board/trace.h"
#include "sim/protocol/meeting_point.h"
#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

/// How a `run` wants time to go on its board.
struct time_options {
    bool is_virtual = false;
    std::optional<uint64_t> seed = std::nullopt; ///< of what is left to chance, in virtual time
    bool outer_decides =
        false; ///< the programs live in the time of the `run` around this one, which is on the same board
};

/// Joins the board that `file`, a canonical name, describes, and powers it on if it is not running. It stays
/// on as long as the connection. Throws host::bad_line.
[[nodiscard]] board_access join_board(const meeting_point &where, const std::string &file,
                                      const time_options &time);

struct joined_board {
    meeting_point where;
    board_access access;
};

/// Powers on a board that nobody else joins by the name of its file. Throws host::bad_line.
[[nodiscard]] joined_board start_private_board(const std::string &file, const time_options &time = {});

/// Starts a server that answers as recorded, on the buses of the recording; users know it by `name`.
[[nodiscard]] joined_board start_replay(const std::string &file, const std::string &name,
                                        std::vector<transfer_record> recording, const time_options &time);

} // namespace varnel::sim::tool
