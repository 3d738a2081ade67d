// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/device_address.h"

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/numbers.h"
#include "host/options.h"
#include "tools/varnel/bus_number.h"

namespace varnel::tools {

std::string device_address::name() const { return fmt::format("{}:0x{:02x}", bus, address); }

device_address device_address_from(const std::string &text) {
    const std::size_t colon = text.rfind(':'); // a bus's name may have others
    // 58 would be 0x3a: a user who leaves the 0x out means 0x58.
    if (colon == std::string::npos || text.compare(colon + 1, 2, "0x") != 0) {
        throw host::bad_usage(fmt::format("'{}' is not BUS:ADDRESS, such as 1:0x58", text));
    }
    device_address chip;
    chip.bus = bus_number_from(text.substr(0, colon), text + ": bus");
    const uint64_t address = host::c_number(text.substr(colon + 1), UINT8_MAX, text + ": address");
    if (address < first_address || address > last_address) {
        throw host::bad_usage(fmt::format("{}: a 7-bit address is 0x03 to 0x77", text));
    }
    chip.address = static_cast<uint8_t>(address);
    return chip;
}

void add_device(host::argument_parser verb, device_address &device) {
    host::add_argument(verb, "DEVICE", device, device_address_from, "BUS:ADDRESS, such as 1:0x58");
}

} // namespace varnel::tools
