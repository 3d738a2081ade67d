// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9505.h"

#include <array>
#include <cstdint>

#include "devices/failed_call.h"
#include "smbus/device_address.h"
#include "varnel/platform.h"

namespace {

// Register groups: the register of a bank is base + bank, modulo 256.
enum pca9505_group : uint8_t { output = 0x08, configuration = 0x18, interrupt_mask = 0x20 };

constexpr uint8_t register_of(pca9505_group group, uint8_t bank) {
    return static_cast<uint8_t>(group + bank);
}

constexpr uint8_t mask_of(uint8_t bit) { return static_cast<uint8_t>(bit < 32 ? 1U << bit : 0); }

/// Line numbers of the diagnostics, one per step of a function's sequence.
struct step_lines {
    int select;
    int read;
    int write;
};

/// One exported function's operation on one register. A separate one-byte write always selects the register,
/// and results are compared as whole ints, not as 16-bit values.
struct operation {
    varnel::driver from;
    varnel::device_address chip;
    uint8_t reg;
    step_lines lines;

    operation(uint32_t device, const char *name, uint8_t selected, step_lines diagnostics)
        : from{"pca9505.c", name}, chip(device), reg(selected), lines(diagnostics) {}

    [[nodiscard]] int read(uint8_t *data) const {
        return select() != 0 ? -1
                             : fetch(data, "i2c_master_read_on_bus(device.bus, device.slave_addr, data, 1)");
    }

    [[nodiscard]] int write(uint8_t value) const { return select() != 0 ? -1 : write_selected(value); }

    [[nodiscard]] int set_pin(uint8_t bit) const { return change(mask_of(bit), 0); }
    [[nodiscard]] int clear_pin(uint8_t bit) const { return change(0, mask_of(bit)); }

  private:
    [[nodiscard]] int change(uint8_t set, uint8_t clear) const {
        uint8_t old = 0;
        if (select() != 0 ||
            fetch(&old, "i2c_master_read_on_bus(device.bus, device.slave_addr, &old_data, 1)") != 0) {
            return -1;
        }
        return write_selected(static_cast<uint8_t>((old | set) & ~clear));
    }

    [[nodiscard]] int select() const {
        return expected(i2c_master_write_on_bus(chip.bus, chip.slave, &reg, 1), 1, lines.select,
                        "i2c_master_write_on_bus(device.bus, device.slave_addr, &temp, 1)");
    }

    [[nodiscard]] int fetch(uint8_t *data, const char *call) const {
        return expected(i2c_master_read_on_bus(chip.bus, chip.slave, data, 1), 1, lines.read, call);
    }

    [[nodiscard]] int write_selected(uint8_t value) const {
        const std::array<uint8_t, 2> frame{reg, value};
        return expected(i2c_master_write_on_bus(chip.bus, chip.slave, frame.data(), 2), 2, lines.write,
                        "i2c_master_write_on_bus(device.bus, device.slave_addr, data, 2)");
    }

    [[nodiscard]] int expected(int result, int length, int line, const char *call) const {
        return varnel::reported(result == length ? 0 : -1, from, line, call);
    }
};

} // namespace

int pca9505_get_reg_data(uint32_t device, uint8_t reg, uint8_t *data) {
    return operation(device, __func__, reg, {20, 21, 0}).read(data);
}

int pca9505_get_port_data(uint32_t device, uint8_t reg, uint8_t bit, uint8_t *data) {
    const int result = operation(device, __func__, reg, {103, 104, 0}).read(data);
    if (result == 0) {
        *data = (*data & mask_of(bit)) != 0 ? 1 : 0;
    }
    return result;
}

int pca9505_set_port_input(uint32_t device, uint8_t bank, uint8_t bit) {
    return operation(device, __func__, register_of(configuration, bank), {33, 38, 41}).set_pin(bit);
}

int pca9505_set_port_output(uint32_t device, uint8_t bank, uint8_t bit) {
    return operation(device, __func__, register_of(configuration, bank), {69, 73, 77}).clear_pin(bit);
}

int pca9505_set_port_high(uint32_t device, uint8_t bank, uint8_t bit) {
    return operation(device, __func__, register_of(output, bank), {117, 121, 124}).set_pin(bit);
}

int pca9505_set_port_low(uint32_t device, uint8_t bank, uint8_t bit) {
    return operation(device, __func__, register_of(output, bank), {137, 141, 144}).clear_pin(bit);
}

int pca9505_set_bank_input(uint32_t device, uint8_t bank) {
    return operation(device, __func__, register_of(configuration, bank), {53, 0, 56}).write(0xFF);
}

int pca9505_set_bank_output(uint32_t device, uint8_t bank) {
    return operation(device, __func__, register_of(configuration, bank), {89, 0, 92}).write(0x00);
}

int pca9505_clear_bank_mask(uint32_t device, uint8_t bank) {
    return operation(device, __func__, register_of(interrupt_mask, bank), {155, 0, 158}).write(0x00);
}
