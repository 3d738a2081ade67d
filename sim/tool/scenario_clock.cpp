// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/scenario_clock.h"

#include <algorithm>

#include "sim/tool/commands.h"

namespace varnel::sim::tool {

namespace {

using std::chrono::milliseconds;

/// How soon a condition is looked at again.
constexpr milliseconds usual_part{10};
/// A hundredth of what a wait has taken is soon, too.
constexpr int part_of_long_waits = 100;
/// In real time, without a moment at which all programs wait.
constexpr milliseconds longest_stand{60'000};

} // namespace

scenario_clock::scenario_clock(const meeting_point &board, bool is_virtual) {
    if (is_virtual) {
        board_.emplace(board.connect());
        now_ = nanoseconds(board_->request({{"command", "keep-time"}}).at("now").get<int64_t>());
    }
}

scenario_clock::nanoseconds scenario_clock::now() const {
    return board_ ? now_ : std::chrono::steady_clock::now().time_since_epoch();
}

void scenario_clock::wait(std::vector<pollfd> &watched, nanoseconds since, nanoseconds end) {
    const nanoseconds part = std::max<nanoseconds>(usual_part, (now() - since) / part_of_long_waits);
    if (board_) {
        return wait_for_turn(std::min(end, now_ + part), since == now_);
    }
    const auto left = std::chrono::ceil<milliseconds>(end - now());
    const auto time = std::clamp(left, milliseconds(0), usual_part);
    (void)poll(watched.data(), watched.size(), static_cast<int>(time.count()));
}

void scenario_clock::wait_for_turn(nanoseconds time, bool has_worked) {
    board_->link().send({{"command", "wait-until"},
                         {"number", ++requests_},
                         {"time", time.count()},
                         {"drives", true},
                         {"worked", has_worked}});
    pollfd turn{board_->link().get(), POLLIN, 0};
    if (poll(&turn, 1, static_cast<int>(longest_stand.count())) <= 0) {
        throw bad_usage("time stands still: a program works without waiting");
    }
    now_ = nanoseconds(board_->receive().at("now").get<int64_t>());
}

} // namespace varnel::sim::tool
