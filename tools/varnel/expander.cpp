// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/expander.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "chips/pca9505.h"
#include "chips/pca9554.h"
#include "chips/pca9555.h"
#include "host/command_line.h"
#include "host/numbers.h"
#include "host/options.h"
#include "tools/varnel/library_call.h"
#include "varnel/pca9505.h"
#include "varnel/pca9555.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

constexpr unsigned int bits = 8;
constexpr std::array register_names{"levels", "outputs", "directions"};

/// Places of level, output and direction registers among those of each datasheet.
constexpr std::array<std::size_t, 3> entries{0, 1, 3};

std::size_t index(registers which) { return static_cast<std::size_t>(which); }

uint8_t code_of(const chips::datasheet &sheet, registers which, uint8_t bank) {
    return static_cast<uint8_t>(sheet.registers[entries.at(index(which))].code + bank);
}

int read_pca9555(uint32_t handle, registers which, uint8_t bank, uint8_t *value) {
    switch (which) {
    case registers::output:
        return pca9555_get_bank_output(handle, bank, value);
    case registers::direction:
        return pca9555_get_bank_dir(handle, bank, value);
    default:
        return pca9555_get_bank_data(handle, bank, value);
    }
}

int write_pca9555(uint32_t handle, registers which, uint8_t bank, uint8_t value) {
    return which == registers::direction ? pca9555_set_bank_dir(handle, bank, value)
                                         : pca9555_set_bank_data(handle, bank, value);
}

int read_pca9554(uint32_t handle, registers which, uint8_t bank, uint8_t *value) {
    return smbus_read_byte_to_device(handle, code_of(chips::pca9554, which, bank), value);
}

int write_pca9554(uint32_t handle, registers which, uint8_t bank, uint8_t value) {
    return smbus_write_byte_to_device(handle, code_of(chips::pca9554, which, bank), value);
}

int read_pca9505(uint32_t handle, registers which, uint8_t bank, uint8_t *value) {
    return pca9505_get_reg_data(handle, code_of(chips::pca9505, which, bank), value);
}

int write_pca9505(uint32_t handle, registers which, uint8_t bank, uint8_t value) {
    return smbus_write_byte_to_device(handle, code_of(chips::pca9505, which, bank), value);
}

int write_pin_pca9505(uint32_t handle, registers which, const expander_pin &pin, bool value) {
    const auto bank = static_cast<uint8_t>(pin.bank);
    const auto bit = static_cast<uint8_t>(pin.bit);
    if (which == registers::direction) {
        return value ? pca9505_set_port_input(handle, bank, bit) : pca9505_set_port_output(handle, bank, bit);
    }
    return value ? pca9505_set_port_high(handle, bank, bit) : pca9505_set_port_low(handle, bank, bit);
}

/// Gives the listed pins one state and all others the opposite.
using init_ports = int (*)(uint32_t handle, const uint8_t *ports, int count);

} // namespace

struct expander_model {
    const chips::datasheet &sheet;
    int (*read_bank)(uint32_t handle, registers which, uint8_t bank, uint8_t *value);
    int (*write_bank)(uint32_t handle, registers which, uint8_t bank, uint8_t value);
    bool names_banks = false;         ///< the datasheet calls a pin "1.3"
    std::array<init_ports, 4> init{}; ///< input, output, high, low; null: bank by bank
    int (*write_pin)(uint32_t handle, registers which, const expander_pin &pin,
                     bool value) = nullptr;                     ///< null: by bank
    int (*clear_mask)(uint32_t handle, uint8_t bank) = nullptr; ///< null: cannot mask interrupts

    [[nodiscard]] constexpr std::string_view name() const { return sheet.type; }
    [[nodiscard]] constexpr unsigned int banks() const { return sheet.registers.front().count; }
};

namespace {

constexpr std::array models{
    expander_model{.sheet = chips::pca9555,
                   .read_bank = read_pca9555,
                   .write_bank = write_pca9555,
                   .init = {pca9555_init_port_input, pca9555_init_port_output, pca9555_init_port_high,
                            pca9555_init_port_low}},
    expander_model{.sheet = chips::pca9554,
                   .read_bank = read_pca9554,
                   .write_bank = write_pca9554,
                   .init = {pca9554_init_port_input, pca9554_init_port_output, pca9554_init_port_high,
                            pca9554_init_port_low}},
    expander_model{.sheet = chips::pca9505,
                   .read_bank = read_pca9505,
                   .write_bank = write_pca9505,
                   .names_banks = true,
                   .write_pin = write_pin_pca9505,
                   .clear_mask = pca9505_clear_bank_mask},
};

template <typename Predicate>
std::string banks_of_models(Predicate is_listed) {
    std::string all;
    for (const expander_model &each : models) {
        if (is_listed(each)) {
            const unsigned int last = each.banks() - 1;
            all += fmt::format("{}{}: 0{}", all.empty() ? "" : "; ", each.name(),
                               last == 0 ? "" : fmt::format(" to {}", last));
        }
    }
    return all;
}

} // namespace

std::vector<std::string> expander_model_names() {
    std::vector<std::string> names;
    std::ranges::transform(models, std::back_inserter(names),
                           [](const expander_model &each) { return std::string(each.name()); });
    return names;
}

std::string expander_banks() {
    return banks_of_models([](const expander_model &) { return true; });
}

std::string maskable_banks() {
    return banks_of_models([](const expander_model &each) { return each.clear_mask != nullptr; });
}

const expander_model *expander_model_from(const std::string &name) {
    return &models.at(host::place_among(expander_model_names(), name, "--chip"));
}

const expander_model *default_expander_model() { return models.data(); }

unsigned int expander::banks() const { return model_.banks(); }

expander_pin expander::pin_from(const std::string &text) const {
    const auto named = std::ranges::find(names_, text, &pin_name::name);
    return numbered_pin(named == names_.end() ? text : named->label);
}

bool expander::has_pin_named(const std::string &text) const {
    return std::ranges::find(names_, text, &pin_name::name) != names_.end();
}

std::string expander::given_name(const expander_pin &pin) const {
    const auto named = std::ranges::find(names_, name(pin), &pin_name::label);
    return named == names_.end() ? "" : named->name;
}

expander_pin expander::numbered_pin(const std::string &text) const {
    const std::size_t dot = text.find('.');
    if (dot == std::string::npos) {
        const auto number = static_cast<unsigned int>(host::c_number(text, banks() * bits - 1, "PIN"));
        return {number / bits, number % bits};
    }
    return {static_cast<unsigned int>(
                host::c_number(text.substr(0, dot), banks() - 1, fmt::format("PIN {}: bank", text))),
            static_cast<unsigned int>(
                host::c_number(text.substr(dot + 1), bits - 1, fmt::format("PIN {}: bit", text)))};
}

std::string expander::name(const expander_pin &pin) const {
    return model_.names_banks ? fmt::format("{}.{}", pin.bank, pin.bit)
                              : fmt::to_string(pin.bank * bits + pin.bit);
}

uint8_t expander::read_bank(registers which, unsigned int bank) const {
    uint8_t value = 0;
    on(chip_, fmt::format("read {}", register_names.at(index(which))),
       [&](uint32_t handle) { return model_.read_bank(handle, which, static_cast<uint8_t>(bank), &value); });
    return value;
}

void expander::write_bank(registers which, unsigned int bank, uint8_t value) const {
    on(chip_, fmt::format("write {}", register_names.at(index(which))),
       [&](uint32_t handle) { return model_.write_bank(handle, which, static_cast<uint8_t>(bank), value); });
}

bool expander::read(registers which, const expander_pin &pin) const {
    return (read_bank(which, pin.bank) >> pin.bit & 1U) != 0;
}

void expander::write(registers which, const expander_pin &pin, bool value) const {
    if (model_.write_pin != nullptr) {
        on(chip_, fmt::format("write {}", register_names.at(index(which))),
           [&](uint32_t handle) { return model_.write_pin(handle, which, pin, value); });
        return;
    }
    const unsigned int old = read_bank(which, pin.bank);
    const unsigned int mask = 1U << pin.bit;
    write_bank(which, pin.bank, static_cast<uint8_t>(value ? old | mask : old & ~mask));
}

void expander::write_all(registers which, const std::vector<expander_pin> &pins, bool value) const {
    const std::size_t state = (which == registers::direction ? 0U : 2U) + (value ? 0U : 1U);
    if (const init_ports init = model_.init.at(state)) {
        std::vector<uint8_t> ports;
        std::ranges::transform(pins, std::back_inserter(ports), [](const expander_pin &each) {
            return static_cast<uint8_t>(each.bank * bits + each.bit);
        });
        on(chip_, fmt::format("write {}", register_names.at(index(which))),
           [&](uint32_t handle) { return init(handle, ports.data(), static_cast<int>(ports.size())); });
        return;
    }
    for (unsigned int bank = 0; bank < banks(); ++bank) {
        unsigned int listed = 0;
        for (const expander_pin &pin : pins) {
            listed |= pin.bank == bank ? 1U << pin.bit : 0;
        }
        write_bank(which, bank, static_cast<uint8_t>(value ? listed : ~listed));
    }
}

void expander::clear_interrupt_mask(unsigned int bank) const {
    if (model_.clear_mask == nullptr) {
        throw host::bad_usage("gpio unmask: only a PCA9505 has interrupt masks; --chip pca9505");
    }
    on(chip_, "clear interrupt mask",
       [&](uint32_t handle) { return model_.clear_mask(handle, static_cast<uint8_t>(bank)); });
}

} // namespace varnel::tools
