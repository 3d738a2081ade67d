// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/time_control.h"

#include <poll.h>

#include "sim/tool/commands.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

/// In real time, for what programs do in one turn.
constexpr int longest_turn_ms = 3000;

} // namespace

void time_control::pause() {
    const std::lock_guard lock(mutex_);
    (void)take_part(false);
}

void time_control::step(std::chrono::nanoseconds time) {
    const std::lock_guard lock(mutex_);
    const auto now = take_part(false).at("now").get<int64_t>();
    wait(now + time.count(), true, "time stands still: a program works without waiting");
}

void time_control::run_to_next_event() {
    const std::lock_guard lock(mutex_);
    (void)take_part(true);
    wait(nullptr, false, "no program waits for a time");
}

void time_control::go_on() {
    const std::lock_guard lock(mutex_);
    access_.reset();
}

bool time_control::is_paused() {
    const std::lock_guard lock(mutex_);
    return access_.has_value();
}

/// Returns the reply to "keep-time", after which the board has said all that was still to come of earlier requests.
json time_control::take_part(bool looks_again) {
    if (!access_) {
        access_.emplace(find_board(board_));
    }
    access_->link().send({{"command", "keep-time"}, {"looks_again", looks_again}});
    for (;;) {
        json reply = access_->receive();
        if (reply.contains("error")) {
            access_.reset();
            throw bad_usage(reply.at("error").get<std::string>());
        }
        if (reply.contains("server")) {
            return reply;
        }
    }
}

/// Until it is our turn. A wait in vain is withdrawn: time stands still.
void time_control::wait(const json &time, bool drives, const char *complaint) {
    access_->link().send({{"command", "wait-until"},
                          {"number", ++requests_},
                          {"time", time},
                          {"drives", drives},
                          {"worked", false}});
    pollfd turn{access_->link().get(), POLLIN, 0};
    if (poll(&turn, 1, longest_turn_ms) <= 0) {
        access_->link().send({{"command", "go-on"}});
        throw bad_usage(complaint);
    }
    (void)access_->receive();
}

} // namespace varnel::sim::tool
