// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <poll.h>

#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

/// The time of a scenario: real, or that of its board, which stands still while the scenario does not wait.
class scenario_clock {
  public:
    using nanoseconds = std::chrono::nanoseconds;

    scenario_clock(const meeting_point &board, bool is_virtual);

    [[nodiscard]] bool is_virtual() const { return board_.has_value(); }
    /// Since some moment before the scenario.
    [[nodiscard]] nanoseconds now() const;
    /// Waits for a while, until `end` at most. In real time one of the files ends the wait; in virtual time all programs
    /// wait then. `since` is when the wait that this one is a part of began: the longer it has been, the longer are its
    /// parts. Throws bad_usage when virtual time stands still.
    void wait(std::vector<pollfd> &watched, nanoseconds since, nanoseconds end);

  private:
    /// A scenario that has worked may have made programs work, by a signal for example.
    void wait_for_turn(nanoseconds time, bool has_worked);

    std::optional<board_access> board_ = std::nullopt; ///< of a board in virtual time
    nanoseconds now_{0};
    uint64_t requests_ = 0;
};

} // namespace varnel::sim::tool
