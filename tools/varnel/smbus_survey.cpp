// SPDX-License-Identifier: Apache-2.0
// varnel smbus scan and dump: which addresses of a bus answer, what the registers of a chip hold.

#include "tools/varnel/smbus_survey.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/bus_number.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/library_output.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

struct bus_arguments {
    uint8_t bus = 0;
};

struct chip_arguments {
    device_address chip;
};

/// Chips that a quick command may confuse (EEPROMs, clock generators) are at these addresses.
bool is_probed_by_reading(uint8_t address) {
    return (address >= 0x30 && address <= 0x37) || (address >= 0x50 && address <= 0x5f);
}

bool answers(const device_address &chip) {
    const quiet_library quiet;
    uint8_t byte = 0;
    errno = 0;
    return (is_probed_by_reading(chip.address) ? smbus_recv_byte_to_device(chip.handle(), &byte)
                                               : smbus_quick_to_device(chip.handle(), 0)) == 0;
}

/// Throws failed when an address was not answered for another reason than that no chip is there.
std::vector<std::string> devices_on(uint8_t bus) {
    std::vector<std::string> found;
    for (uint8_t address = first_address; address <= last_address; ++address) {
        const device_address chip{bus, address};
        if (answers(chip)) {
            found.push_back(chip.name());
        } else if (errno != ENXIO && errno != EREMOTEIO && errno != EIO) {
            fail(chip, "scan");
        }
    }
    return found;
}

void scan(const invocation &call, const bus_arguments &given) {
    const std::vector<std::string> found = devices_on(given.bus);
    report lines;
    lines.add("bus", given.bus);
    lines.add("devices", found);
    print(call.json ? lines.text(call)
                    : fmt::format("{}{}", fmt::join(found, "\n"), found.empty() ? "" : "\n"));
}

constexpr std::size_t register_count = 256;
constexpr std::size_t registers_in_row = 16;
using registers = std::vector<std::optional<uint8_t>>;

/// Throws failed when no register could be read.
registers read_registers(const device_address &chip) {
    registers all(register_count);
    bool any = false;
    {
        const quiet_library quiet;
        errno = 0;
        for (std::size_t i = 0; i < register_count; ++i) {
            uint8_t byte = 0;
            if (smbus_read_byte_to_device(chip.handle(), static_cast<uint8_t>(i), &byte) == 0) {
                all[i] = byte;
                any = true;
            }
        }
    }
    if (!any) {
        fail(chip, "dump");
    }
    return all;
}

std::string rows_of(const registers &all) {
    std::string text;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i % registers_in_row == 0) {
            text += fmt::format("{:02x}:", i);
        }
        text += all[i] ? fmt::format(" {:02x}", *all[i]) : " --";
        text += i % registers_in_row == registers_in_row - 1 ? "\n" : "";
    }
    return text;
}

void dump(const invocation &call, const chip_arguments &given) {
    const registers all = read_registers(given.chip);
    json values = json::array();
    for (const auto &each : all) {
        values.push_back(each ? json(*each) : json(nullptr));
    }
    report lines;
    lines.add("device", given.chip.name());
    lines.add("registers", std::move(values));
    print(call.json ? lines.text(call) : rows_of(all));
}

} // namespace

void add_survey(argument_parser smbus, invocation &call) {
    const auto scanning =
        verbs<bus_arguments>(smbus, call)
            .add("scan",
                 "List the devices that answer on a bus: to a quick command, at 0x30 to 0x37 "
                 "and 0x50 to 0x5f to reading a byte",
                 scan);
    add_argument(
        scanning.parser, "BUS", scanning.given.bus,
        [](const std::string &text) { return bus_number_from(text, "BUS"); }, "number or name of the bus");
    add_json(scanning.parser, call);
    const auto dumping =
        verbs<chip_arguments>(smbus, call)
            .add("dump", "Print all 256 registers, read one byte at a time; -- is one that cannot be read",
                 dump);
    add_json(dumping.parser, call);
}

} // namespace varnel::tools
