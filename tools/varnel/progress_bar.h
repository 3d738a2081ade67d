// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace varnel::tools {

/// A line on the terminal that tells how far a transfer has come. Where standard error is no terminal it says
/// nothing.
class progress_bar {
  public:
    progress_bar();
    ~progress_bar(); ///< ends the line
    progress_bar(const progress_bar &) = delete;
    progress_bar &operator=(const progress_bar &) = delete;

    /// Something to wait for.
    void say(const std::string &text);
    /// `done` of `total` bytes; the rate counts from the first call with this label.
    void show(const std::string &label, uint64_t done, uint64_t total);

  private:
    void draw(const std::string &line);

    bool visible_;
    bool drawn_ = false;
    std::string label_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_;
};

/// "64.0 MiB  12.3 MiB/s  0:04 left", see progress_bar.cpp.
std::string progress_line(const std::string &label, uint64_t done, uint64_t total, double seconds,
                          std::size_t width);

} // namespace varnel::tools
