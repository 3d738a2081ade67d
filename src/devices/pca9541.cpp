// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9541.h"

#include "varnel/smbus.h"

namespace {

enum pca9541_register : uint8_t { interrupt_enable = 0, control = 1, interrupt_status = 2 };

// Control register bits, as the reading master sees them (PCA9541 datasheet, register 1).
enum control_bit : unsigned int {
    my_bus = 1U << 0,
    other_my_bus = 1U << 1,
    bus_on = 1U << 2,
    other_bus_on = 1U << 3,
    bus_init = 1U << 4,
};

/// This master has the bus when MYBUS equals NMYBUS, and the bus is on when BUSON differs from NBUSON.
constexpr uint8_t take_over(uint8_t now) {
    return static_cast<uint8_t>(((now & other_my_bus) != 0 ? my_bus : 0U) |
                                ((now & other_bus_on) == 0 ? bus_on : 0U) | bus_init);
}

} // namespace

int pca9541_set_intmask(uint32_t device, uint8_t mask) {
    return smbus_write_byte_to_device(device, interrupt_enable, mask);
}

int pca9541_read_ctrl(uint32_t device, uint8_t *byte) {
    return smbus_read_byte_to_device(device, control, byte);
}

int pca9541_get_intstatus(uint32_t device, uint8_t *byte) {
    return smbus_read_byte_to_device(device, interrupt_status, byte);
}

int pca9541_clear_intstatus(uint32_t device) {
    return smbus_write_byte_to_device(device, interrupt_status, 0x00);
}

int pca9541_take_bus(uint32_t device) {
    uint8_t now = 0;
    if (pca9541_read_ctrl(device, &now) != 0) {
        return -1;
    }
    return smbus_write_byte_to_device(device, control, take_over(now));
}
