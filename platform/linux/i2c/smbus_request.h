// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include <linux/i2c.h>

#include "i2c/transfer.h"

namespace varnel::platform {

/// A transfer as arguments of the kernel's I2C_SMBUS call, for adapters that do not accept raw messages.
struct smbus_request {
    uint8_t read_write;
    uint8_t command;
    uint32_t size; ///< I2C_SMBUS_QUICK, I2C_SMBUS_BYTE...
    i2c_smbus_data data;
};

/// The request that puts the same bytes on the wire as `wanted`, among those that the adapter offers
/// (`functionality`: I2C_FUNC_*); none when there is no such request.
std::optional<smbus_request> smbus_request_for(const transfer &wanted, unsigned long functionality);

/// Copies what the chip sent. Returns 0, or an errno when it is less than was asked for.
int store_answer(const smbus_request &done, std::span<uint8_t> answer);

} // namespace varnel::platform
