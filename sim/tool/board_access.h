// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "host/json.h"
#include "sim/protocol/channel.h"
#include "sim/protocol/meeting_point.h"

namespace varnel::sim::tool {

/// Environment that `run` gives to programs and that the other commands look at.
inline constexpr const char *board_variable = "VARNEL_SIM_BOARD";
inline constexpr const char *socket_variable = "VARNEL_SIM_SOCKET";

/// The board's server was killed, or has ended with the last program.
class board_ended : public std::runtime_error {
  public:
    board_ended() : std::runtime_error("the board's server has ended") {}
};

/// A connection to a running board. Functions throw board_ended, or connection_refused when the board takes
/// no more connections.
class board_access {
  public:
    /// `socket` is not open when there is no server any more.
    explicit board_access(descriptor socket);

    /// Throws bad_usage when the board refuses.
    nlohmann::ordered_json request(const nlohmann::ordered_json &request);
    /// The next message that the board sends by itself.
    nlohmann::ordered_json receive();
    channel &link() { return link_; }

  private:
    channel link_;
};

/// Where the board of a file, a canonical name, is: that of the surrounding `run`, which may be a private one, if it is of
/// this file, otherwise the one that all who name the file share.
[[nodiscard]] meeting_point place_of(const std::string &file);

/// The board of `--board FILE`, else of the surrounding `run`, else the only one that is running. Throws
/// bad_usage when there is none, or no telling which.
[[nodiscard]] board_access find_board(const std::string &board_option);

/// The description of the board that a new `run` is for: found likewise, but it need not be running.
[[nodiscard]] std::string find_board_file(const std::string &board_option);

} // namespace varnel::sim::tool
