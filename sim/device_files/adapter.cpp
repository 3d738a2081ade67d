// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/adapter.h"

#include <cerrno>

#include <linux/i2c.h>

namespace varnel::sim::device_files {

bool i2c_message::reads() const { return (flags & I2C_M_RD) != 0; }
bool i2c_message::counted() const { return (flags & I2C_M_RECV_LEN) != 0; }

int adapter::transfer(std::span<i2c_message> messages) {
    const auto end = std::chrono::steady_clock::now() + repeated_->timeout;
    int error = transfer_part(messages, {});
    for (int i = 0; error == EAGAIN && i < repeated_->retries && std::chrono::steady_clock::now() <= end;
         ++i) {
        error = transfer_part(messages, {});
    }
    return error;
}

} // namespace varnel::sim::device_files
