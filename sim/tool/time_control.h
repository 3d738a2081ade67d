// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

/// Stops the virtual time of a board and lets it go on, by taking part in it. Several threads may call it.
class time_control {
  public:
    /// Of a board file.
    explicit time_control(std::string board) : board_(std::move(board)) {}

    /// Time stands still from now on, once the programs at work wait.
    void pause();
    /// Stops again after this time of the board. Throws bad_usage when a program works without waiting.
    void step(std::chrono::nanoseconds time);
    /// Stops again as soon as a program that waited has worked. Throws bad_usage when none does.
    void run_to_next_event();
    void go_on();
    [[nodiscard]] bool is_paused();

  private:
    nlohmann::ordered_json take_part(bool looks_again);
    void wait(const nlohmann::ordered_json &time, bool drives, const char *complaint);

    std::string board_;
    std::mutex mutex_ = {};
    std::optional<board_access> access_ = std::nullopt; ///< nothing: time goes on
    uint64_t requests_ = 0;
};

} // namespace varnel::sim::tool
