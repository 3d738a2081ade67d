// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/library_call.h"

#include <cstring>

#include <fmt/format.h>

#include "tools/varnel/commands.h"

namespace varnel::tools {

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

void fail(const device_address &device, const std::string &what) {
    if (errno == ENODEV) {
        throw failed(fmt::format("bus {}: no such bus", device.bus));
    }
    throw failed(fmt::format("{}: {}: {}", device.name(), what, reason(errno)));
}

} // namespace varnel::tools
