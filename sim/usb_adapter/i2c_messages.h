// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sim/device_files/adapter.h"

namespace varnel::sim {

/// One message of an I2C transfer as Linux hands it to an adapter, and its place in the transfer.
struct message_header {
    uint16_t address;
    uint16_t flags; ///< I2C_M_*
    bool first;
    bool last;
};

/// What became of a message.
enum class i2c_reply { done, not_acknowledged, failed };

/// Passes the messages of a transfer, which come one at a time, on to a bus of the board. What is written before a read
/// waits for the read, so that the board and its trace see one write-read. If no chip acknowledges it, the read fails
/// instead, which is the same for the transfer as a whole.
class i2c_messages {
  public:
    explicit i2c_messages(device_files::adapter &bus) : bus_(bus) {}

    [[nodiscard]] i2c_reply write(const message_header &header, std::span<const uint8_t> data);
    /// Bytes that could not be read keep what they are.
    [[nodiscard]] i2c_reply read(const message_header &header, std::span<uint8_t> data);

  private:
    [[nodiscard]] bool belongs(const message_header &header);
    i2c_reply pass_on(bool goes_on);

    device_files::adapter &bus_;
    bool begun_ = false;                                  ///< more messages are expected
    bool continues_ = false;                              ///< the bus has had messages of this transfer
    std::vector<device_files::i2c_message> waiting_ = {}; ///< not passed on yet
};

} // namespace varnel::sim
