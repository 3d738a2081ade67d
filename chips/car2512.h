// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/pmbus.h"

namespace varnel::chips {

/// The maker's own commands.
namespace car2512_command {
enum command : uint8_t {
    firmware_version = 0xD0,
    set_output_volt = 0xD4,
    fan_duty_cycle = 0xD6,
    set_fan_duty_cycle = 0xD7,
    programmed_volt = 0xD8,
    output_volt = 0xE0,
    temperature = 0xE2,
    fan_speed = 0xE9,
    input_volt = 0xED,
    input_power = 0xEF,
};
} // namespace car2512_command

constexpr chip_register reading(uint8_t code, std::string_view name, unsigned int bytes, const raw_unit &unit,
                                std::optional<unsigned int> power_on = {}) {
    return with(command(code, name, access::read, bytes), power_on, {}, unit);
}

inline constexpr std::array car2512_registers{
    with(standard(pmbus::operation), 0x80, "80 on, 00 off, 40 soft off (also immediate)"),
    standard(pmbus::clear_faults),
    with(standard(pmbus::write_protect), 0x80, "80, 40, 20, 00"),
    with(standard(pmbus::capability), 0x80, "80: PEC, 100 kHz, no SMBALERT#"),
    read_only(standard(pmbus::vout_mode), 0x17, "17: LINEAR16, steps of 1/512 V"),
    read_only(standard(pmbus::fan_config_1_2), 0xC0, "C0: fan 1 is there, FAN_COMMAND_1 in rpm"),
    with(standard(pmbus::fan_command_1), 0, "0 to 20000; 0: the duty cycle applies", {"rpm"}),
    standard(pmbus::status_byte),
    standard(pmbus::status_word),
    standard(pmbus::status_vout),
    standard(pmbus::status_iout),
    standard(pmbus::status_input),
    standard(pmbus::status_temperature),
    standard(pmbus::status_cml),
    standard(pmbus::status_mfr_specific),
    standard(pmbus::status_fans_1_2),
    read_only(standard(pmbus::read_vin), {}, "LINEAR11, V"),
    read_only(standard(pmbus::read_vout), {}, "LINEAR16, V"),
    read_only(standard(pmbus::read_temperature_1), {}, "LINEAR11, C"),
    read_only(standard(pmbus::read_fan_speed_1), {}, "LINEAR11, rpm"),
    read_only(standard(pmbus::read_pin), {}, "LINEAR11, W"),
    with(standard(pmbus::pmbus_revision), 0x22, "22: Parts I and II, 1.2"),
    command(car2512_command::firmware_version, "Firmware version", access::read, 1),
    with(command(car2512_command::set_output_volt, "Set output voltage", access::write, 2), {},
         "1080 to 1320", {"V", 2}),
    reading(car2512_command::fan_duty_cycle, "Fan duty cycle", 1, {"%"}, 50),
    with(command(car2512_command::set_fan_duty_cycle, "Set fan duty cycle", access::write, 1), {}, "0 to 100",
         {"%"}),
    reading(car2512_command::programmed_volt, "Programmed voltage", 2, {"V", 2}, 1200),
    reading(car2512_command::output_volt, "Output voltage", 2, {"V", 2}),
    reading(car2512_command::temperature, "Temperature", 2, {"C", 1, true}),
    reading(car2512_command::fan_speed, "Fan speed", 2, {"rpm"}),
    reading(car2512_command::input_volt, "Input voltage", 2, {"V", 1}),
    reading(car2512_command::input_power, "Input power", 2, {"W", 1}),
};

inline constexpr datasheet car2512{
    .type = "car2512",
    .title = "power supply",
    .source = "PMBus 1.2 Part II, Appendix I; the maker's own commands from D0 up",
    .registers = car2512_registers,
};

} // namespace varnel::chips
