// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace varnel::host {

/// Becomes a program: does not return. Says so and exits with 126 or 127, as of env(1), when there is no such
/// program.
[[noreturn]] void become(const std::vector<std::string> &words);

/// The exit status for what waitpid(2) stores: the program's, or 128 and the signal that ended it.
[[nodiscard]] int exit_status_of(int wait_status);

/// A program that runs in the foreground in our place: signals of the terminal are for it, not for us.
class foreground_program {
  public:
    /// Starts it; cannot fail for want of the program, which is the program's exit status 126 or 127, as of
    /// env(1).
    explicit foreground_program(const std::vector<std::string> &words);
    /// Starts a process that calls `body`, which does not return.
    explicit foreground_program(const std::function<void()> &body);
    ~foreground_program();
    foreground_program(const foreground_program &) = delete;
    foreground_program &operator=(const foreground_program &) = delete;

    /// Becomes readable when the program has ended.
    [[nodiscard]] int ending() const { return ending_; }
    /// Waits; the program's exit status, or 128 and the signal that ended it.
    [[nodiscard]] int wait();

  private:
    pid_t process_;
    int ending_;
};

} // namespace varnel::host
