// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/device.h"

#include <cstring>

#include <fmt/format.h>

#include "host/numbers.h"
#include "host/options.h"
#include "tools/varnel/commands.h"

namespace varnel::tools {

std::string device::name() const { return fmt::format("{}:0x{:02x}", bus, address); }

device device_from(const std::string &text) {
    const std::size_t colon = text.find(':');
    // 58 would be 0x3a: a user who leaves the 0x out means 0x58.
    if (colon == std::string::npos || text.compare(colon + 1, 2, "0x") != 0) {
        throw bad_usage(fmt::format("'{}' is not BUS:ADDRESS, such as 1:0x58", text));
    }
    device chip;
    chip.bus = static_cast<uint8_t>(c_number(text.substr(0, colon), UINT8_MAX, text + ": bus"));
    const uint64_t address = c_number(text.substr(colon + 1), UINT8_MAX, text + ": address");
    if (address < first_address || address > last_address) {
        throw bad_usage(fmt::format("{}: a 7-bit address is 0x03 to 0x77", text));
    }
    chip.address = static_cast<uint8_t>(address);
    return chip;
}

void add_device(argument_parser verb, device &device) {
    add_argument(verb, "DEVICE", device, device_from, "BUS:ADDRESS, such as 1:0x58");
}

namespace {

/// errno as the platform's I2C functions use it (varnel/platform.h).
std::string reason(int error) {
    switch (error) {
    case 0:
        return "the transfer ended early";
    case ENXIO:
    case EREMOTEIO:
        return fmt::format("no acknowledge ({})", std::strerror(error));
    case ETIMEDOUT:
        return "timed out: the bus is held low";
    default:
        return std::strerror(error);
    }
}

} // namespace

void fail(const device &device, const std::string &what) {
    if (errno == ENODEV) {
        throw failed(fmt::format("bus {}: no such bus", device.bus));
    }
    throw failed(fmt::format("{}: {}: {}", device.name(), what, reason(errno)));
}

} // namespace varnel::tools
