// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/protocol/channel.h"

namespace varnel::sim {

/// Where the server of a board and everybody who wants to talk to it find each other: a socket in a directory
/// of the user's own, named after the board file. Functions throw std::runtime_error or std::system_error,
/// whose what() is one line for the user.
class meeting_point {
  public:
    /// Of the board that a file describes. The file must exist.
    [[nodiscard]] static meeting_point of_board(const std::string &file);
    /// Of a board that only those find who know the socket, in a folder of its own. remove() removes the folder, too.
    [[nodiscard]] static meeting_point of_new_private_board();
    [[nodiscard]] static meeting_point at_socket(std::string path);
    /// All boards that were used, running or not, except private ones.
    [[nodiscard]] static std::vector<meeting_point> all();

    [[nodiscard]] const std::string &socket_path() const { return socket_path_; }

    /// A connection to the server; not open when none is running.
    [[nodiscard]] descriptor connect() const;
    /// A non-blocking, listening socket, in place of what a server that has died may have left.
    [[nodiscard]] descriptor listen() const;
    void remove() const;

    /// Held, exclusively, while a server starts, is joined or ends. Released with the descriptor. With
    /// `wait` false, not open when another process has it.
    [[nodiscard]] descriptor lock(bool wait) const;

  private:
    explicit meeting_point(std::string socket_path) : socket_path_(std::move(socket_path)) {}
    [[nodiscard]] std::string lock_name() const;

    std::string socket_path_;
};

/// The file's name, absolute and without symbolic links. Throws std::runtime_error when there is no such
/// file.
[[nodiscard]] std::string canonical_name(const std::string &file);

/// FNV-1a, 64 bits.
[[nodiscard]] uint64_t hash_of(std::string_view text);

/// All of a file. Throws std::runtime_error: "FILE: No such file or directory".
[[nodiscard]] std::string contents_of(const std::string &file);

} // namespace varnel::sim
