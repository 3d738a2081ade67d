// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/expander.h"

#include <array>
#include <cstddef>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/numbers.h"
#include "tools/varnel/arguments.h"
#include "varnel/pca9505.h"
#include "varnel/pca9555.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

constexpr unsigned int bits = 8;
constexpr std::array<unsigned int, 3> banks_of_model{2, 1, 5};

// Registers of level, output and direction.
constexpr std::array<uint8_t, 3> pca9554_registers{0, 1, 3};
constexpr std::array<uint8_t, 3> pca9505_registers{0x00, 0x08, 0x18};

constexpr std::array register_names{"levels", "outputs", "directions"};

std::size_t index(registers which) { return static_cast<std::size_t>(which); }

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

int write_all_pca9555(uint32_t handle, registers which, const std::vector<uint8_t> &ports, bool value) {
    const auto count = static_cast<int>(ports.size());
    if (which == registers::direction) {
        return value ? pca9555_init_port_input(handle, ports.data(), count)
                     : pca9555_init_port_output(handle, ports.data(), count);
    }
    return value ? pca9555_init_port_high(handle, ports.data(), count)
                 : pca9555_init_port_low(handle, ports.data(), count);
}

int write_all_pca9554(uint32_t handle, registers which, const std::vector<uint8_t> &ports, bool value) {
    const auto count = static_cast<int>(ports.size());
    if (which == registers::direction) {
        return value ? pca9554_init_port_input(handle, ports.data(), count)
                     : pca9554_init_port_output(handle, ports.data(), count);
    }
    return value ? pca9554_init_port_high(handle, ports.data(), count)
                 : pca9554_init_port_low(handle, ports.data(), count);
}

int write_pin_pca9505(uint32_t handle, registers which, const pin &pin, bool value) {
    const auto bank = static_cast<uint8_t>(pin.bank);
    const auto bit = static_cast<uint8_t>(pin.bit);
    if (which == registers::direction) {
        return value ? pca9505_set_port_input(handle, bank, bit) : pca9505_set_port_output(handle, bank, bit);
    }
    return value ? pca9505_set_port_high(handle, bank, bit) : pca9505_set_port_low(handle, bank, bit);
}

} // namespace

expander_model expander_model_from(const std::string &name) {
    return static_cast<expander_model>(place_among({"pca9555", "pca9554", "pca9505"}, name, "--chip"));
}

unsigned int expander::banks() const { return banks_of_model[static_cast<std::size_t>(model_)]; }

pin expander::pin_from(const std::string &text) const {
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

std::string expander::name(const pin &pin) const {
    return model_ == expander_model::pca9505 ? fmt::format("{}.{}", pin.bank, pin.bit)
                                             : fmt::to_string(pin.bank * bits + pin.bit);
}

uint8_t expander::read_bank(registers which, unsigned int bank) const {
    uint8_t value = 0;
    on(chip_, fmt::format("read {}", register_names[index(which)]), [&](uint32_t handle) {
        switch (model_) {
        case expander_model::pca9554:
            return smbus_read_byte_to_device(handle, pca9554_registers[index(which)], &value);
        case expander_model::pca9505:
            return pca9505_get_reg_data(handle, static_cast<uint8_t>(pca9505_registers[index(which)] + bank),
                                        &value);
        default:
            return read_pca9555(handle, which, static_cast<uint8_t>(bank), &value);
        }
    });
    return value;
}

void expander::write_bank(registers which, unsigned int bank, uint8_t value) const {
    on(chip_, fmt::format("write {}", register_names[index(which)]), [&](uint32_t handle) {
        switch (model_) {
        case expander_model::pca9554:
            return smbus_write_byte_to_device(handle, pca9554_registers[index(which)], value);
        case expander_model::pca9505:
            return smbus_write_byte_to_device(
                handle, static_cast<uint8_t>(pca9505_registers[index(which)] + bank), value);
        default:
            return write_pca9555(handle, which, static_cast<uint8_t>(bank), value);
        }
    });
}

bool expander::read(registers which, const pin &pin) const {
    return (read_bank(which, pin.bank) >> pin.bit & 1U) != 0;
}

void expander::write(registers which, const pin &pin, bool value) const {
    if (model_ == expander_model::pca9505) {
        on(chip_, fmt::format("write {}", register_names[index(which)]),
           [&](uint32_t handle) { return write_pin_pca9505(handle, which, pin, value); });
        return;
    }
    const unsigned int old = read_bank(which, pin.bank);
    const unsigned int mask = 1U << pin.bit;
    write_bank(which, pin.bank, static_cast<uint8_t>(value ? old | mask : old & ~mask));
}

void expander::write_all(registers which, const std::vector<pin> &pins, bool value) const {
    if (model_ == expander_model::pca9505) {
        for (unsigned int bank = 0; bank < banks(); ++bank) {
            unsigned int listed = 0;
            for (const pin &pin : pins) {
                listed |= pin.bank == bank ? 1U << pin.bit : 0;
            }
            write_bank(which, bank, static_cast<uint8_t>(value ? listed : ~listed));
        }
        return;
    }
    std::vector<uint8_t> ports;
    ports.reserve(pins.size());
    for (const pin &pin : pins) {
        ports.push_back(static_cast<uint8_t>(pin.bank * bits + pin.bit));
    }
    on(chip_, fmt::format("write {}", register_names[index(which)]), [&](uint32_t handle) {
        return model_ == expander_model::pca9554 ? write_all_pca9554(handle, which, ports, value)
                                                 : write_all_pca9555(handle, which, ports, value);
    });
}

void expander::clear_interrupt_mask(unsigned int bank) const {
    if (model_ != expander_model::pca9505) {
        throw host::bad_usage("gpio unmask: only a PCA9505 has interrupt masks; --chip pca9505");
    }
    on(chip_, "clear interrupt mask",
       [&](uint32_t handle) { return pca9505_clear_bank_mask(handle, static_cast<uint8_t>(bank)); });
}

} // namespace varnel::tools
