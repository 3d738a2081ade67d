// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/argument_parser.h"

namespace varnel::tools {

/// The addresses of chips; those below and above have meanings of their own (UM10204, 3.1.12).
inline constexpr uint8_t first_address = 0x03;
inline constexpr uint8_t last_address = 0x77;

/// Where a chip is: BUS:ADDRESS, where BUS is a number or a name (bus_number.h).
struct device_address {
    uint8_t bus = 0;
    uint8_t address = 0;

    /// As the library takes it (varnel/smbus.h).
    [[nodiscard]] uint32_t handle() const { return uint32_t{address} << 8 | bus; }
    /// "1:0x58"
    [[nodiscard]] std::string name() const;
};

/// Throws bad_usage.
[[nodiscard]] device_address device_address_from(const std::string &text);

/// The argument DEVICE.
void add_device(host::argument_parser verb, device_address &device);

} // namespace varnel::tools
