// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "sim/device_files/notification.h"
#include "sim/virtual_time/tasks.h"

namespace varnel::sim::virtual_time {

using device_files::system_call;
using std::chrono::nanoseconds;

/// The time of a clock when the board's is `now`; nothing for clocks that measure processor time.
[[nodiscard]] std::optional<nanoseconds> time_on(uint64_t clock, nanoseconds now);

/// Stores what a system call that reads a clock asks for. Returns its result.
[[nodiscard]] int64_t read_clock(const system_call &call, nanoseconds now);

/// The address that a connect() is to, if it may be on another machine; empty if not.
[[nodiscard]] std::string outside_peer(const system_call &call);

/// Whether the call may wait for a limited time.
[[nodiscard]] bool is_wait(const system_call &call);

/// When the wait of a system call ends at the latest, in the board's time. Nothing if it has no limit, or if the kernel
/// has to refuse it.
[[nodiscard]] std::optional<nanoseconds> end_of_wait(const system_call &call, nanoseconds now);

/// Whether the kernel would not wait in this call. `caller` may be null.
[[nodiscard]] bool is_ready(const system_call &call, const task *caller);

/// Whether a signal ends the call's wait.
[[nodiscard]] bool is_interrupted(const system_call &call, const task &caller);

/// Stores what the kernel stores when the time is over. Returns the call's result.
[[nodiscard]] int64_t time_out(const system_call &call);

/// Stores what the kernel stores when a signal interrupts the wait, `left` before its end. Returns the call's result;
/// nothing if the kernel is to do it, which knows the signals to be blocked meanwhile.
[[nodiscard]] std::optional<int64_t> interrupt(const system_call &call, nanoseconds left);

} // namespace varnel::sim::virtual_time
