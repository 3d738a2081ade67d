// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
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

/// What Linux keeps for an adapter, whoever sets it.
struct repetition {
    int retries = 0;                         ///< I2C_RETRIES: how often a transfer is repeated
    std::chrono::milliseconds timeout{1000}; ///< I2C_TIMEOUT: after that it is not repeated any more
};

/// An I2C adapter of the board, for one process.
class adapter {
  public:
    adapter() = default;
    explicit adapter(repetition &kept) : repeated_(&kept) {}
    virtual ~adapter() = default;
    adapter(const adapter &) = delete;
    adapter &operator=(const adapter &) = delete;

    [[nodiscard]] repetition &repeated() { return *repeated_; }

    /// Performs a transfer with one STOP at the end; repeats it, if wanted, when another master wins the bus (EAGAIN), as
    /// Linux's __i2c_transfer() does. Returns 0, or an errno.
    [[nodiscard]] int transfer(std::span<i2c_message> messages);

    /// Where messages are in a transfer.
    struct place {
        bool continues = false; ///< others came before these
        bool goes_on = false;   ///< others follow, so that there is no STOP yet
    };
    /// Performs a part of a transfer. After a failure nothing may continue it.
    [[nodiscard]] virtual int transfer_part(std::span<i2c_message> messages, place where) = 0;

  private:
    repetition own_ = {};
    repetition *repeated_ = &own_;
};

} // namespace varnel::sim::device_files
