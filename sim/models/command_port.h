// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/models/chip.h"

namespace varnel::sim {

/// A bus connection whose first written byte, after every START, selects a register; the others are data.
class command_port : public bus_port {
  public:
    bool start(direction way) override {
        command_follows_ = way == direction::write;
        return true;
    }

    bool write(uint8_t byte) final {
        if (command_follows_) {
            command_follows_ = false;
            return select(byte);
        }
        return write_data(byte);
    }

    void stop() override {}

  private:
    /// Both return whether the chip acknowledges.
    virtual bool select(uint8_t command) = 0;
    virtual bool write_data(uint8_t data) = 0;

    bool command_follows_ = false;
};

} // namespace varnel::sim
