// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "sim/device_files/adapter.h"
#include "sim/protocol/channel.h"

namespace varnel::sim {

/// The clock of a virtual machine. A program in the machine (tests/vm/tell_time.c) answers each newline with a line: the
/// nanoseconds since the machine was started, in decimal.
class guest_clock {
  public:
    explicit guest_clock(descriptor connection) : connection_(std::move(connection)) {}

    /// Nothing when the machine does not answer.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> now() const;

  private:
    void forget_late_answers() const;

    descriptor connection_;
};

/// A bus of a board whose time is that of a virtual machine: before each transfer the board's clock is advanced to the
/// machine's. Without an answer of the machine transfers fail with ETIMEDOUT.
class bus_in_guest_time : public device_files::adapter {
  public:
    /// `board` is a connection to the board's server. Throws std::runtime_error when the board lives in real time.
    bus_in_guest_time(device_files::adapter &bus, channel &board, const guest_clock &clock);

    [[nodiscard]] int transfer_part(std::span<device_files::i2c_message> messages, place where) override;

  private:
    void advance(std::chrono::nanoseconds to);
    void wait_until(std::optional<std::chrono::nanoseconds> time);

    device_files::adapter &bus_;
    channel &board_;
    const guest_clock &clock_;
    uint64_t requests_ = 0;
};

} // namespace varnel::sim
