// SPDX-License-Identifier: Apache-2.0
#include "sim/models/gpio_expander.h"

#include <utility>

namespace varnel::sim {

namespace {

void write_register(gpio_bank &bank, gpio_register kind, uint8_t data) {
    switch (kind) {
    case gpio_register::input: // follows the pins, whatever is written
        break;
    case gpio_register::output:
        bank.output = data;
        break;
    case gpio_register::polarity:
        bank.polarity = data;
        break;
    case gpio_register::configuration:
        bank.configuration = data;
        break;
    case gpio_register::mask:
        bank.mask = data;
        break;
    }
}

} // namespace

gpio_expander::gpio_expander(const chips::datasheet &sheet, std::vector<gpio_bank> banks,
                             pin_bank::labels style, uint8_t first_command)
    : sheet_(sheet), banks_at_power_on_(std::move(banks)), first_command_(first_command),
      pins_(banks_at_power_on_.size(), style) {
    gpio_expander::power_on();
}

void gpio_expander::power_on() {
    banks_ = banks_at_power_on_;
    command_ = first_command_;
    for (std::size_t bank = 0; bank < banks_.size(); ++bank) {
        banks_[bank].seen = levels(bank);
    }
}

bool gpio_expander::select(uint8_t command) {
    command_ = command;
    return true;
}

bool gpio_expander::write_data(uint8_t data) {
    if (const auto location = locate(command_)) {
        write_register(banks_[location->bank], location->kind, data);
    }
    command_ = next(command_);
    return true;
}

uint8_t gpio_expander::read() {
    const auto location = locate(command_);
    command_ = next(command_);
    return location ? read_register(*location) : 0xFF;
}

/// Reading the input register takes note of the levels.
uint8_t gpio_expander::read_register(const gpio_location &location) {
    gpio_bank &bank = banks_[location.bank];
    switch (location.kind) {
    case gpio_register::input:
        bank.seen = levels(location.bank);
        return bank.seen ^ bank.polarity;
    case gpio_register::output:
        return bank.output;
    case gpio_register::polarity:
        return bank.polarity;
    case gpio_register::configuration:
        return bank.configuration;
    case gpio_register::mask:
        break;
    }
    return bank.mask;
}

/// Whether an unmasked input differs from what was last read.
bool gpio_expander::bank_interrupts(std::size_t bank) const {
    const gpio_bank &registers = banks_[bank];
    return ((levels(bank) ^ registers.seen) & registers.configuration & ~registers.mask) != 0;
}

bool gpio_expander::interrupts() const {
    bool any = false;
    for (std::size_t bank = 0; bank < banks_.size(); ++bank) {
        any = any || bank_interrupts(bank);
    }
    return any;
}

std::vector<reading> gpio_expander::readings() const {
    std::vector<pin_drive> drives;
    for (const gpio_bank &bank : banks_) {
        drives.push_back(bank.drive());
    }
    return pins_.readings(drives, interrupts());
}

} // namespace varnel::sim
