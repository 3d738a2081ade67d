// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel {

/// A device handle split into the arguments of the I2C primitives. Bits 16-31 of the handle are ignored.
struct device_address {
    uint8_t bus;
    uint8_t slave;

    constexpr explicit device_address(uint32_t handle)
        : bus(static_cast<uint8_t>(handle)), slave(static_cast<uint8_t>(handle >> 8)) {}
};

} // namespace varnel
