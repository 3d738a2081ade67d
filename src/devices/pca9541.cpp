// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9541.h"

#include "varnel/smbus.h"

namespace {

/// This master has the bus when MYBUS equals NMYBUS, and the bus is on when BUSON differs from NBUSON.
constexpr uint8_t take_over(uint8_t now) {
    unsigned int wanted = PCA9541_CONTROL_BUSINIT;
    if ((now & PCA9541_CONTROL_NMYBUS) != 0) {
        wanted |= PCA9541_CONTROL_MYBUS;
    }
    if ((now & PCA9541_CONTROL_NBUSON) == 0) {
        wanted |= PCA9541_CONTROL_BUSON;
    }
    return static_cast<uint8_t>(wanted);
}

} // namespace

int pca9541_set_intmask(uint32_t device, uint8_t mask) {
    return smbus_write_byte_to_device(device, PCA9541_REGISTER_INTERRUPT_ENABLE, mask);
}

int pca9541_read_ctrl(uint32_t device, uint8_t *byte) {
    return smbus_read_byte_to_device(device, PCA9541_REGISTER_CONTROL, byte);
}

int pca9541_get_intstatus(uint32_t device, uint8_t *byte) {
    return smbus_read_byte_to_device(device, PCA9541_REGISTER_INTERRUPT_STATUS, byte);
}

int pca9541_clear_intstatus(uint32_t device) {
    return smbus_write_byte_to_device(device, PCA9541_REGISTER_INTERRUPT_STATUS, 0x00);
}

int pca9541_take_bus(uint32_t device) {
    uint8_t now = 0;
    if (pca9541_read_ctrl(device, &now) != 0) {
        return -1;
    }
    return smbus_write_byte_to_device(device, PCA9541_REGISTER_CONTROL, take_over(now));
}
