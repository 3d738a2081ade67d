// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include "host/descriptor.h"
#include "sim/scenario/line_memory.h"

namespace varnel::sim::scenario {

/// Becomes a program on the board; does not return.
using runner = std::function<void(const std::vector<std::string> &words)>;

/// A program on the board, and what it prints.
class program {
  public:
    /// Starts a program, in a process group of its own, with `input` as its standard input, or ours when that is negative.
    /// Throws std::system_error.
    program(const runner &become, const std::vector<std::string> &words, int input);
    /// Starts a command by the shell. Signals reach the program itself, if the command is only that.
    program(const runner &become, const std::string &command);
    ~program(); ///< kills it
    program(const program &) = delete;
    program &operator=(const program &) = delete;

    /// Adds what becomes readable when there is news of it.
    void add_watched(std::vector<pollfd> &watched) const;
    /// Waits until a command that the shell was given has begun.
    void wait_for_begin();
    /// If that command has ended, waits until its status is known, which takes a moment.
    void wait_if_ended();
    /// Takes in what it has printed, and whether it has ended. Does not wait.
    void look();

    /// Its exit status, or 128 and the signal that ended it; nothing while it runs.
    [[nodiscard]] std::optional<int> status() const { return status_; }
    /// All lines that it has printed, to either stream.
    [[nodiscard]] line_memory &lines() { return lines_; }
    [[nodiscard]] const line_memory &lines() const { return lines_; }

    /// Sends a signal to the program that a shell's command is. Nothing happens when it has ended.
    void send(int signal);
    /// Ends it and all programs that it has started, as a loss of power does, and waits until nobody serves them.
    void cut_off();

  private:
    void start(const runner &become, const std::vector<std::string> &words, int input);
    void read_output();

    bool prints_number_;
    pid_t process_ = -1;              ///< the program's own number, if it is known
    host::descriptor process_ending_; ///< becomes readable at its end
    pid_t runner_ = -1;
    host::descriptor ending_;  ///< becomes readable at the runner's end
    host::descriptor service_; ///< ends with the runner and who serves the program's device files
    host::descriptor output_;  ///< not open after its end
    std::string unfinished_;   ///< line
    line_memory lines_ = {};
    std::optional<int> status_;
};

} // namespace varnel::sim::scenario
