// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace varnel::test {

/// How long anything may take before a test gives up; never how long it waits for things to settle.
inline constexpr std::chrono::seconds deadline{60};

struct finished {
    int status; ///< exit status, or 128 and the signal
    std::string out;
    std::string err;
};

/// A program with pipes to its standard streams.
class process {
  public:
    explicit process(const std::vector<std::string> &words);
    ~process(); ///< finishes it, or kills it if that does not help
    process(process &&other) noexcept;
    process &operator=(process &&) = delete;

    [[nodiscard]] pid_t id() const { return id_; }

    void write(const std::string &text) const;
    /// A line of its standard output, without the line feed; empty at the end.
    std::string read_line();
    void send(int signal) const;
    /// Closes its standard input, and waits until it has ended and closed its output.
    finished finish(std::chrono::seconds limit = deadline);

  private:
    void kill_and_forget();

    std::string out_so_far_;
    pid_t id_;
    int in_;
    int out_;
    int err_;
};

/// Runs a program to its end.
finished run(const std::vector<std::string> &words);

} // namespace varnel::test
