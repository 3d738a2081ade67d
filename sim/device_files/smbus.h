// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <linux/i2c.h>

#include "sim/device_files/adapter.h"

namespace varnel::sim::device_files {

/// What an I2C_SMBUS request asks for.
struct smbus_request {
    uint16_t address;
    bool ten_bits; ///< of the address
    bool pec;      ///< packet error code (SMBus 3.2 section 6.4)
    uint8_t read_write;
    uint8_t command;
    uint32_t size; ///< I2C_SMBUS_QUICK ... I2C_SMBUS_I2C_BLOCK_DATA, as in linux/i2c.h
};

/// Performs an SMBus transaction by I2C messages, as Linux does for adapters that know nothing else. Returns 0, or an
/// errno: EINVAL for a block longer than 32 bytes, EPROTO for one from a chip, EBADMSG for a wrong PEC, EOPNOTSUPP.
[[nodiscard]] int perform(adapter &bus, const smbus_request &request, i2c_smbus_data &data);

} // namespace varnel::sim::device_files
