// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include "host/argument_parser.h"
#include "tools/varnel/library_output.h"

namespace varnel::tools {

/// The addresses of chips; those below and above have meanings of their own (UM10204, 3.1.12).
inline constexpr uint8_t first_address = 0x03;
inline constexpr uint8_t last_address = 0x77;

/// A chip: BUS:ADDRESS.
struct device {
    uint8_t bus = 0;
    uint8_t address = 0;

    /// As the library takes it (varnel/smbus.h).
    [[nodiscard]] uint32_t handle() const { return uint32_t{address} << 8 | bus; }
    /// "1:0x58"
    [[nodiscard]] std::string name() const;
    /// An EEPROM, going by the address: what is written there outlives the board's power.
    [[nodiscard]] bool may_be_eeprom() const { return address >= 0x50 && address <= 0x57; }
};

/// Throws bad_usage.
[[nodiscard]] device device_from(const std::string &text);

void add_device(host::argument_parser verb, device &device);

/// Throws failed: what did not work, on which device, and why, from errno.
[[noreturn]] void fail(const device &device, const std::string &what);

/// Calls a function of the library that returns 0 or -1. Throws failed.
template <typename Call>
void on(const device &device, const std::string &what, Call call) {
    int result = 0;
    {
        const quiet_library quiet;
        errno = 0;
        result = call(device.handle());
    }
    if (result != 0) {
        fail(device, what);
    }
}

} // namespace varnel::tools
