// SPDX-License-Identifier: Apache-2.0
#include <varnel/platform.h>

#include "sim/preload/connection.h"

using namespace varnel::sim;

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    return preload::transfer_bytes({message_kind::write, bus, slave, buffer, length, nullptr, 0});
}

int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length) {
    return preload::transfer_bytes({message_kind::read, bus, slave, nullptr, 0, buffer, length});
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    return preload::transfer_bytes(
        {message_kind::write_read, bus, slave, write_buffer, write_length, read_buffer, read_length});
}
