// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace varnel::sim {

/// One message of an I2C transfer as Linux hands it to an adapter, and its place in the transfer.
struct i2c_message {
    uint8_t address; ///< 7 bits
    bool first;
    bool last;
};

/// What became of a message.
enum class i2c_reply { done, not_acknowledged, failed };

/// Makes calls of the three I2C primitives out of the messages of a transfer, which come one at a time: a
/// write, a read, or a write and a read. What is written in front of a read is kept until the read comes, and
/// is then part of one call; if no chip acknowledges it, the read fails instead, which is the same for the
/// transfer as a whole. Other transfers fail.
class i2c_messages {
  public:
    explicit i2c_messages(uint8_t bus) : bus_(bus) {}

    [[nodiscard]] i2c_reply write(const i2c_message &message, std::span<const uint8_t> data);
    /// Bytes that could not be read keep what they are.
    [[nodiscard]] i2c_reply read(const i2c_message &message, std::span<uint8_t> data);

  private:
    struct kept_write {
        uint8_t address;
        std::vector<uint8_t> data;
    };

    uint8_t bus_;
    std::optional<kept_write> kept_ = std::nullopt;
};

} // namespace varnel::sim
