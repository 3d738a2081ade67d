// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel::sim::test {

/// Command codes of PMBus 1.2 Part II, Appendix I, read once more than for chips/: a wrong one fails a test.
namespace pmbus_code {
enum : uint8_t {
    page = 0x00,
    operation = 0x01,
    on_off_config = 0x02,
    clear_faults = 0x03,
    write_protect = 0x10,
    capability = 0x19,
    query = 0x1A,
    smbalert_mask = 0x1B,
    vout_mode = 0x20,
    vout_command = 0x21,
    vout_max = 0x24,
    coefficients = 0x30,
    fan_config_1_2 = 0x3A,
    fan_command_1 = 0x3B,
    vout_ov_warn_limit = 0x42,
    iout_oc_warn_limit = 0x4A,
    ot_warn_limit = 0x51,
    vin_uv_warn_limit = 0x58,
    status_byte = 0x78,
    status_word = 0x79,
    status_vout = 0x7A,
    status_iout = 0x7B,
    status_input = 0x7C,
    status_temperature = 0x7D,
    status_cml = 0x7E,
    status_mfr_specific = 0x80,
    status_fans_1_2 = 0x81,
    read_vin = 0x88,
    read_iin = 0x89,
    read_vout = 0x8B,
    read_iout = 0x8C,
    read_temperature_1 = 0x8D,
    read_fan_speed_1 = 0x90,
    read_pout = 0x96,
    read_pin = 0x97,
    pmbus_revision = 0x98,
    mfr_id = 0x99,
    mfr_serial = 0x9E,
};
} // namespace pmbus_code

} // namespace varnel::sim::test
