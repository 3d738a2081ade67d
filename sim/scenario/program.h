// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "host/descriptor.h"

namespace varnel::sim::scenario {

/// A program of a scenario, started by the shell on the board, and what it prints.
class program {
  public:
    /// `runner` are the words that come before the program's: "varnel-sim run --board FILE --". It runs in a process
    /// group of its own. Throws std::system_error.
    program(const std::vector<std::string> &runner, const std::string &command);
    ~program(); ///< kills it
    program(const program &) = delete;
    program &operator=(const program &) = delete;

    /// Becomes readable when there is news of it.
    [[nodiscard]] int news() const { return output_.get(); }
    /// Takes in what it has printed, and whether it has ended. Does not wait.
    void look();

    /// Whether a line matches a regular expression; lines up to that one are not looked at again.
    [[nodiscard]] bool prints(const std::string &pattern);
    /// Its exit status, or 128 and the signal that ended it; nothing while it runs.
    [[nodiscard]] std::optional<int> status() const { return status_; }
    /// All lines that it has printed, to either stream.
    [[nodiscard]] const std::vector<std::string> &lines() const { return lines_; }

    /// Sends a signal to the program itself. Nothing happens when it has ended.
    void send(int signal);

  private:
    void read_output();

    pid_t runner_ = -1;
    pid_t process_ = -1; ///< the program's own number
    host::descriptor output_;
    std::string unfinished_; ///< line
    std::vector<std::string> lines_;
    std::size_t seen_ = 0; ///< lines that have been matched
    std::optional<int> status_;
};

} // namespace varnel::sim::scenario
