// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/device_files/adapter.h"
#include "sim/protocol/channel.h"

namespace varnel::sim::device_files {

/// A bus of a running board, on which transfers are those of one process.
class board_adapter : public adapter {
  public:
    /// `to_server` is a connection that acts for the process; `kept` is that of the bus.
    board_adapter(channel &to_server, uint8_t bus, repetition &kept)
        : adapter(kept), to_server_(to_server), bus_(bus) {}

    [[nodiscard]] int transfer_part(std::span<i2c_message> messages, place where) override;

  private:
    int perform(std::span<i2c_message> messages, place where);

    channel &to_server_;
    uint8_t bus_;
};

} // namespace varnel::sim::device_files
