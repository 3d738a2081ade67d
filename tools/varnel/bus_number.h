// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace varnel::tools {

/// The number of an I2C bus, given as a number or as the name of its adapter (/sys/class/i2c-dev/i2c-N/name). `what` begins the
/// message of bad_usage, which is thrown for anything else and for a name that several adapters have.
[[nodiscard]] uint8_t bus_number_from(const std::string &text, const std::string &what);

} // namespace varnel::tools
