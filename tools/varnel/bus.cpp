// SPDX-License-Identifier: Apache-2.0
// varnel bus: the PCA9541 selector of one of two bus masters.

#include <array>
#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/pca9541.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

bool is_ours(unsigned int control) {
    return ((control & PCA9541_CONTROL_MYBUS) != 0) == ((control & PCA9541_CONTROL_NMYBUS) != 0);
}
bool is_on(unsigned int control) {
    return ((control & PCA9541_CONTROL_BUSON) != 0) != ((control & PCA9541_CONTROL_NBUSON) != 0);
}

uint8_t read_control(const device_address &chip) {
    uint8_t control = 0;
    on(chip, "read control register", [&](uint32_t handle) { return pca9541_read_ctrl(handle, &control); });
    return control;
}

struct options {
    device_address chip;
    uint64_t mask = 0;
};

void take_bus(const options &given) {
    const device_address &chip = given.chip;
    on(chip, "take the bus", [](uint32_t handle) { return pca9541_take_bus(handle); });
    if (const uint8_t control = read_control(chip); !is_ours(control) || !is_on(control)) {
        throw failed(fmt::format("{}: the bus is not ours: control register 0x{:02x}", chip.name(), control));
    }
}

/// Disconnects the bus, so that the other master finds it free.
void release_bus(const options &given) {
    const device_address &chip = given.chip;
    const unsigned int control = read_control(chip);
    if (!is_ours(control) || !is_on(control)) {
        return; // not ours to disconnect
    }
    const unsigned int buson = (control & PCA9541_CONTROL_NBUSON) != 0 ? PCA9541_CONTROL_BUSON : 0;
    const unsigned int off = (control & PCA9541_CONTROL_MYBUS) | buson;
    on(chip, "release the bus", [&](uint32_t handle) {
        return smbus_write_byte_to_device(handle, PCA9541_REGISTER_CONTROL, static_cast<uint8_t>(off));
    });
    if (const uint8_t after = read_control(chip); is_ours(after) && is_on(after)) {
        throw failed(fmt::format("{}: the bus is still ours: control register 0x{:02x}", chip.name(), after));
    }
}

void print_status(const invocation &call, const options &given) {
    const device_address &chip = given.chip;
    const uint8_t control = read_control(chip);
    const char *const owner = is_ours(control) ? "this master" : "other master";
    report lines;
    lines.add("device", chip.name());
    lines.add("owner", owner, "owner", owner);
    lines.add("connected", is_on(control) ? owner : "none", "connected", is_on(control) ? owner : "none");
    lines.add("control", fmt::format("0x{:02x}", control), "control", control);
    print(lines.text(call));
}

void print_interrupts(const invocation &call, const options &given) {
    const device_address &chip = given.chip;
    static constexpr std::array names{"INTIN", "BUSINIT", "BUSOK",  "BUSLOST",
                                      "bit 4", "bit 5",   "MYTEST", "NMYTEST"};
    uint8_t status = 0;
    on(chip, "read interrupt status",
       [&](uint32_t handle) { return pca9541_get_intstatus(handle, &status); });
    json set = json::array();
    std::string text;
    for (unsigned int bit = 0; bit < names.size(); ++bit) {
        if ((status >> bit & 1U) != 0) {
            set.push_back(names[bit]);
            text += fmt::format("{}{}", text.empty() ? "" : " ", names[bit]);
        }
    }
    report lines;
    lines.add("device", chip.name());
    lines.add("status", fmt::format("0x{:02x}", status), "status", status);
    lines.add("interrupts", text.empty() ? "none" : text, "interrupts", set);
    print(lines.text(call));
}

void clear_interrupts(const options &given) {
    on(given.chip, "clear interrupt status", [](uint32_t handle) { return pca9541_clear_intstatus(handle); });
}

void mask_interrupts(const options &given) {
    on(given.chip, "write interrupt mask",
       [&](uint32_t handle) { return pca9541_set_intmask(handle, static_cast<uint8_t>(given.mask)); });
}

} // namespace

void add_bus(argument_parser app, invocation &call) {
    verbs<options> bus(app, call, "bus", "PCA9541 selector of one of two bus masters");
    const auto status =
        bus.add("status", "Show which master owns the bus, and to which it is connected", print_status);
    add_json(status.parser, call);
    bus.add("take", "Request the bus, and check that this master has it", take_bus);
    bus.add("release", "Disconnect the bus if this master has it", release_bus);
    const auto interrupts =
        bus.add("interrupts", "Show the interrupt status; reading clears it", print_interrupts);
    add_json(interrupts.parser, call);
    bus.add("clear", "Clear the interrupt status", clear_interrupts);
    const auto mask =
        bus.add("mask", "Write the interrupt mask: a bit of 1 masks its interrupt", mask_interrupts);
    add_number(mask.parser, "MASK", mask.given.mask, UINT8_MAX, "the byte");
}

} // namespace varnel::tools
