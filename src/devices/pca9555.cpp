// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9555.h"

#include <array>
#include <cstdint>

#include "devices/failed_call.h"
#include "varnel/smbus.h"

namespace {

// PCA9555 registers, one per bank of eight pins: base + bank. A configuration bit of 1 is an input.
enum pca9555_register : unsigned int { input = 0, output = 2, configuration = 6 };

// PCA9554 registers.
enum pca9554_register : unsigned int { pca9554_output = 1, pca9554_configuration = 3 };

constexpr unsigned int pins_per_bank = 8;

constexpr unsigned int bank_of(uint8_t port) { return port / pins_per_bank; }
constexpr uint8_t bit_of(uint8_t port) { return static_cast<uint8_t>(1U << port % pins_per_bank); }
constexpr uint8_t inverted(uint8_t byte) { return static_cast<uint8_t>(~byte); }

/// A register and the diagnostic of the transaction that reads or writes it.
struct access {
    unsigned int reg;
    int line;
    const char *call;
};

/// One exported function's operation on one chip.
struct operation {
    varnel::driver from;
    uint32_t device;

    operation(uint32_t chip, const char *name) : from{"pca9555.c", name}, device(chip) {}

    [[nodiscard]] int read(access what, uint8_t *data) const {
        return varnel::reported(smbus_read_byte_to_device(device, static_cast<uint8_t>(what.reg), data), from,
                                what.line, what.call);
    }

    [[nodiscard]] int write(access what, uint8_t data) const {
        return varnel::reported(smbus_write_byte_to_device(device, static_cast<uint8_t>(what.reg), data),
                                from, what.line, what.call);
    }

    [[nodiscard]] int write_pair(access low, access high, std::array<uint8_t, 2> data) const {
        const int result = write(low, data[0]);
        return result != 0 ? result : write(high, data[1]);
    }

    [[nodiscard]] int read_pair(access low, access high, std::array<uint8_t, 2> &data) const {
        const int result = read(low, &data[0]);
        return result != 0 ? result : read(high, &data[1]);
    }

    [[nodiscard]] int set_pin(uint8_t port, access read_from, access write_to) const {
        return change(read_from, write_to, bit_of(port), 0);
    }

    [[nodiscard]] int clear_pin(uint8_t port, access read_from, access write_to) const {
        return change(read_from, write_to, 0, bit_of(port));
    }

    /// Reads a register of the port's bank and stores the port's bit as 0 or 1.
    [[nodiscard]] int read_pin(uint8_t port, access what, uint8_t *data) const {
        const int result = read(what, data);
        if (result == 0) {
            *data = (*data & bit_of(port)) != 0 ? 1 : 0;
        }
        return result;
    }

  private:
    [[nodiscard]] int change(access read_from, access write_to, uint8_t set, uint8_t clear) const {
        uint8_t data = 0;
        const int result = read(read_from, &data);
        return result != 0 ? result : write(write_to, static_cast<uint8_t>((data | set) & ~clear));
    }
};

/// A bit per listed port, low bank first. Ports that the chip does not have are ignored.
std::array<uint8_t, 2> masks_of(const uint8_t *ports, int count) {
    std::array<uint8_t, 2> masks{};
    for (int i = 0; i < count; ++i) {
        if (bank_of(ports[i]) < masks.size()) {
            masks[bank_of(ports[i])] |= bit_of(ports[i]);
        }
    }
    return masks;
}

std::array<uint8_t, 2> inverted(std::array<uint8_t, 2> masks) {
    return {inverted(masks[0]), inverted(masks[1])};
}

/// Lists the ports whose bit is set. The k-th port found lands in `ports` at the index that word k of
/// `cursor` holds, and only word 0 is set here: callers preset the others.
void list_ports(std::array<uint8_t, 2> levels, uint8_t *ports, uint32_t *cursor) {
    *cursor = 0;
    for (uint8_t port = 0; bank_of(port) < levels.size(); ++port) {
        if ((levels[bank_of(port)] & bit_of(port)) != 0) {
            ports[*cursor++] = port;
        }
    }
}

} // namespace

// --- Whole registers from a list of ports ---

int pca9555_init_port_high(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write_pair({output, 45, "smbus_write_byte_to_device( device, 2, ldata )"},
                    {output + 1, 46, "smbus_write_byte_to_device( device, 3, hdata )"},
                    masks_of(ports, count));
}

int pca9555_init_port_low(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write_pair({output, 69, "smbus_write_byte_to_device( device, 2, ldata )"},
                    {output + 1, 70, "smbus_write_byte_to_device( device, 3, hdata )"},
                    inverted(masks_of(ports, count)));
}

int pca9555_init_port_output(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write_pair({configuration, 92, "smbus_write_byte_to_device( device, 6, ldata )"},
                    {configuration + 1, 93, "smbus_write_byte_to_device( device, 7, hdata )"},
                    inverted(masks_of(ports, count)));
}

int pca9555_init_port_input(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write_pair({configuration, 113, "smbus_write_byte_to_device( device, 6, ldata )"},
                    {configuration + 1, 114, "smbus_write_byte_to_device( device, 7, hdata )"},
                    masks_of(ports, count));
}

int pca9554_init_port_input(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write({pca9554_configuration, 289, "smbus_write_byte_to_device( device, 3, data )"},
               masks_of(ports, count)[0]);
}

int pca9554_init_port_output(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write({pca9554_configuration, 306, "smbus_write_byte_to_device( device, 3, data )"},
               inverted(masks_of(ports, count)[0]));
}

int pca9554_init_port_high(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write({pca9554_output, 323, "smbus_write_byte_to_device( device, 1, data )"},
               masks_of(ports, count)[0]);
}

int pca9554_init_port_low(uint32_t device, const uint8_t *ports, int count) {
    return operation(device, __func__)
        .write({pca9554_output, 341, "smbus_write_byte_to_device( device, 1, data )"},
               inverted(masks_of(ports, count)[0]));
}

// --- One port ---

// The new output byte is computed from the bank's input register, so the other outputs of the bank are
// rewritten with the levels read on their pins.

int pca9555_set_port_high(uint32_t device, uint8_t port) {
    return operation(device, __func__)
        .set_pin(port, {input + bank_of(port), 176, "smbus_read_byte_to_device( device, port/8, &data)"},
                 {output + bank_of(port), 178, "smbus_write_byte_to_device( device, 2+ port/8, data )"});
}

int pca9555_set_port_low(uint32_t device, uint8_t port) {
    return operation(device, __func__)
        .clear_pin(port, {input + bank_of(port), 188, "smbus_read_byte_to_device( device, port/8, &data )"},
                   {output + bank_of(port), 190, "smbus_write_byte_to_device( device, 2+ port/8, data )"});
}

int pca9555_set_port_input(uint32_t device, uint8_t port) {
    return operation(device, __func__)
        .set_pin(
            port,
            {configuration + bank_of(port), 200, "smbus_read_byte_to_device( device, 6+ port/8, &data)"},
            {configuration + bank_of(port), 202, "smbus_write_byte_to_device( device, 6+ port/8, data)"});
}

int pca9555_set_port_output(uint32_t device, uint8_t port) {
    return operation(device, __func__)
        .clear_pin(
            port,
            {configuration + bank_of(port), 212, "smbus_read_byte_to_device( device, 6+ port/8, &data)"},
            {configuration + bank_of(port), 214, "smbus_write_byte_to_device( device, 6+ port/8, data)"});
}

int pca9555_get_port_data(uint32_t device, uint8_t port, uint8_t *data) {
    return operation(device, __func__)
        .read_pin(port, {input + bank_of(port), 122, "smbus_read_byte_to_device( device, 0+ port/8, data )"},
                  data);
}

int pca9555_get_port_dir(uint32_t device, uint8_t port, uint8_t *data) {
    return operation(device, __func__)
        .read_pin(port,
                  {configuration + bank_of(port), 269, "smbus_read_byte_to_device(device, 6+port/8, data)"},
                  data);
}

// --- Whole banks ---

int pca9555_get_bank0_data(uint32_t device, uint8_t *data) {
    return operation(device, __func__).read({input, 222, "smbus_read_byte_to_device(device, 0, data)"}, data);
}

int pca9555_get_bank1_data(uint32_t device, uint8_t *data) {
    return operation(device, __func__)
        .read({input + 1, 230, "smbus_read_byte_to_device(device, 1, data)"}, data);
}

int pca9555_get_bank_data(uint32_t device, uint8_t bank, uint8_t *data) {
    return operation(device, __func__)
        .read({input + bank, 236, "smbus_read_byte_to_device(device, 0+bank, data)"}, data);
}

int pca9555_set_bank_data(uint32_t device, uint8_t bank, uint8_t data) {
    return operation(device, __func__)
        .write({output + bank, 243, "smbus_write_byte_to_device(device, 2+bank, data)"}, data);
}

int pca9555_get_bank_output(uint32_t device, uint8_t bank, uint8_t *data) {
    return operation(device, __func__)
        .read({output + bank, 249, "smbus_read_byte_to_device(device, 2+bank, data)"}, data);
}

int pca9555_get_bank_dir(uint32_t device, uint8_t bank, uint8_t *data) {
    return operation(device, __func__)
        .read({configuration + bank, 255, "smbus_read_byte_to_device(device, 6+bank, data)"}, data);
}

int pca9555_set_bank_dir(uint32_t device, uint8_t bank, uint8_t data) {
    return operation(device, __func__)
        .write({configuration + bank, 261, "smbus_write_byte_to_device(device, 6+bank, data)"}, data);
}

// --- Ports by level ---

int pca9555_get_high_port(uint32_t device, uint8_t *ports, uint32_t *count) {
    std::array<uint8_t, 2> levels{};
    const int result =
        operation(device, __func__)
            .read_pair({input, 134, "smbus_read_byte_to_device( device, 0, &ldata )"},
                       {input + 1, 135, "smbus_read_byte_to_device( device, 1, &hdata )"}, levels);
    if (result == 0) {
        list_ports(levels, ports, count);
    }
    return result;
}

int pca9555_get_low_port(uint32_t device, uint8_t *ports, uint32_t *count) {
    std::array<uint8_t, 2> levels{};
    const int result =
        operation(device, __func__)
            .read_pair({input, 154, "smbus_read_byte_to_device( device, 0, &ldata )"},
                       {input + 1, 155, "smbus_read_byte_to_device( device, 1, &hdata )"}, levels);
    if (result == 0) {
        list_ports(inverted(levels), ports, count);
    }
    return result;
}
