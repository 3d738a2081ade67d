// SPDX-License-Identifier: Apache-2.0
// varnel bus: the PCA9541 selector of one of two bus masters.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "tools/varnel/arguments.h"
#include "tools/varnel/device.h"
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

uint8_t read_control(const device &chip) {
    uint8_t control = 0;
    on(chip, "read control register", [&](uint32_t handle) { return pca9541_read_ctrl(handle, &control); });
    return control;
}

void take(const device &chip) {
    on(chip, "take the bus", [](uint32_t handle) { return pca9541_take_bus(handle); });
    if (const uint8_t control = read_control(chip); !is_ours(control) || !is_on(control)) {
        throw failed(fmt::format("{}: the bus is not ours: control register 0x{:02x}", chip.name(), control));
    }
}

/// Disconnects the bus, so that the other master finds it free.
void release(const device &chip) {
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

void print_status(const context &context, const device &chip) {
    const uint8_t control = read_control(chip);
    const char *const owner = is_ours(control) ? "this master" : "other master";
    report report;
    report.add("device", chip.name());
    report.add("owner", owner, "owner", owner);
    report.add("connected", is_on(control) ? owner : "none", "connected", is_on(control) ? owner : "none");
    report.add("control", fmt::format("0x{:02x}", control), "control", control);
    print(report.text(context));
}

void print_interrupts(const context &context, const device &chip) {
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
    report report;
    report.add("device", chip.name());
    report.add("status", fmt::format("0x{:02x}", status), "status", status);
    report.add("interrupts", text.empty() ? "none" : text, "interrupts", set);
    print(report.text(context));
}

struct options {
    device chip;
    uint64_t mask = 0;
};

} // namespace

void add_bus(CLI::App &app, context &context) {
    CLI::App &family = add_family(app, "bus", "PCA9541 selector of one of two bus masters");
    const auto given = std::make_shared<options>();
    const auto add = [&](const char *name, const char *description,
                         std::function<void()> action) -> CLI::App & {
        CLI::App &verb = add_verb(family, name, description, context, std::move(action));
        add_device(verb, given->chip);
        return verb;
    };
    add_json(
        add("status", "Show who owns the bus", [&context, given] { print_status(context, given->chip); }),
        context);
    add("take", "Take the bus, and check that it is ours", [given] { take(given->chip); });
    add("release", "Disconnect the bus if it is ours", [given] { release(given->chip); });
    add_json(add("interrupts", "Show the interrupt status, which reading clears",
                 [&context, given] { print_interrupts(context, given->chip); }),
             context);
    add("clear", "Clear the interrupt status", [given] {
        on(given->chip, "clear interrupt status",
           [](uint32_t handle) { return pca9541_clear_intstatus(handle); });
    });
    CLI::App &mask = add("mask", "Write the interrupt mask: a bit of 1 masks its interrupt", [given] {
        on(given->chip, "write interrupt mask",
           [&](uint32_t handle) { return pca9541_set_intmask(handle, static_cast<uint8_t>(given->mask)); });
    });
    add_number(mask, "MASK", given->mask, UINT8_MAX, "the byte");
}

} // namespace varnel::tools
