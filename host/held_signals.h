// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include <csignal>

namespace varnel::host {

/// For as long as it lives, SIGINT, SIGTERM and SIGHUP wait, unless they are ignored, as nohup(1) wants it.
/// One that came and was not asked for takes effect at the end.
class held_signals {
  public:
    held_signals();
    ~held_signals();
    held_signals(const held_signals &) = delete;
    held_signals &operator=(const held_signals &) = delete;

    /// Takes a signal that has come or comes within this time; 0 when none does.
    [[nodiscard]] int next_within(std::chrono::milliseconds time) const;

  private:
    sigset_t held_{};
    sigset_t before_{};
};

} // namespace varnel::host
