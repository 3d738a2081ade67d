// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace varnel::sim::device_files {

/// One message of a transfer as programs give it to Linux (struct i2c_msg).
struct i2c_message {
    uint16_t address;
    uint16_t flags; ///< I2C_M_*
    /// To write, or what was read: as many bytes as there are here, and with I2C_M_RECV_LEN as many more as the first
    /// byte says.
    std::vector<uint8_t> bytes;

    [[nodiscard]] bool reads() const;
    [[nodiscard]] bool counted() const;
};

/// An I2C adapter of the board, for one process.
class adapter {
  public:
    virtual ~adapter() = default;
    /// Performs a transfer with one STOP at the end. Returns 0, or an errno.
    [[nodiscard]] int transfer(std::span<i2c_message> messages) { return transfer_part(messages, {}); }

    /// Where messages are in a transfer.
    struct place {
        bool continues = false; ///< others came before these
        bool goes_on = false;   ///< others follow, so that there is no STOP yet
    };
    /// Performs a part of a transfer. After a failure nothing may continue it.
    [[nodiscard]] virtual int transfer_part(std::span<i2c_message> messages, place where) = 0;
};

} // namespace varnel::sim::device_files
