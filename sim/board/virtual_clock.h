// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>

#include "sim/models/chip.h"

namespace varnel::sim {

/// What the clocks of programs show when a board in virtual time is powered on, the same in every run: 2026-01-01
/// 00:00:00 UTC, and 100 s since boot.
inline constexpr std::chrono::nanoseconds virtual_epoch = std::chrono::seconds(1767225600);
inline constexpr std::chrono::nanoseconds virtual_uptime = std::chrono::seconds(100);

/// The time of a board that stands still until it is advanced.
class virtual_clock : public board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return now_; }
    [[nodiscard]] std::time_t wall_time() const override {
        return static_cast<std::time_t>(
            std::chrono::floor<std::chrono::seconds>(virtual_epoch + now_).count());
    }
    void advance(std::chrono::nanoseconds to) { now_ = std::max(now_, to); }

  private:
    std::chrono::nanoseconds now_{0};
};

} // namespace varnel::sim
