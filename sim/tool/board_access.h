// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "sim/protocol/channel.h"
#include "sim/protocol/meeting_point.h"

namespace varnel::sim::tool {

/// Environment that `run` gives to programs and that the other commands look at.
inline constexpr const char *board_variable = "VARNEL_SIM_BOARD";
inline constexpr const char *socket_variable = "VARNEL_SIM_SOCKET";

/// A connection to a running board.
class board_access {
  public:
    explicit board_access(descriptor socket) : link_(std::move(socket)) {}

    /// Throws bad_usage when the board refuses, std::runtime_error when it is gone.
    nlohmann::ordered_json request(const nlohmann::ordered_json &request);
    channel &link() { return link_; }

  private:
    channel link_;
};

/// The board of `--board FILE`, else of the surrounding `run`, else the only one that is running. Throws
/// bad_usage when there is none, or no telling which.
[[nodiscard]] board_access find_board(const std::string &board_option);

/// The description of the board that a new `run` is for: found likewise, but it need not be running.
[[nodiscard]] std::string find_board_file(const std::string &board_option);

} // namespace varnel::sim::tool
