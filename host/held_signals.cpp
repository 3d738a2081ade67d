// SPDX-License-Identifier: Apache-2.0
#include "host/held_signals.h"

#include <algorithm>
#include <ctime>

namespace varnel::host {

held_signals::held_signals() {
    sigemptyset(&held_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler != SIG_IGN) {
            sigaddset(&held_, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &held_, &before_);
}

held_signals::~held_signals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

int held_signals::next_within(std::chrono::milliseconds time) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec limit{};
    limit.tv_sec = static_cast<time_t>(seconds.count());
    limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
    return std::max(sigtimedwait(&held_, nullptr, &limit), 0);
}

} // namespace varnel::host
