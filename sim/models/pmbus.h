// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel::sim {

/// PMBus commands, then the manufacturer's own from D0 up.
enum class pmbus : uint8_t {
    operation = 0x01,
    clear_faults = 0x03,
    write_protect = 0x10,
    fan_command_1 = 0x3B,
    status_byte = 0x78,
    status_word = 0x79,
    status_vout = 0x7A,
    status_iout = 0x7B,
    status_input = 0x7C,
    status_temperature = 0x7D,
    status_cml = 0x7E,
    status_mfr_specific = 0x80,
    status_fans_1_2 = 0x81,
    pmbus_revision = 0x98,
    firmware_version = 0xD0,
    set_output_volt = 0xD4,
    fan_duty_cycle = 0xD6,
    set_fan_duty_cycle = 0xD7,
    programmed_volt = 0xD8,
    output_volt = 0xE0,
    temperature = 0xE2,
    fan_speed = 0xE9,
    input_volt = 0xED,
    input_power = 0xEF
};

} // namespace varnel::sim
