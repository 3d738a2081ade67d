// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

/// Command codes of PMBus 1.2 Part II, Appendix I; those of one maker are in the chip's own header.
namespace pmbus {
enum command : uint8_t {
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
    fan_command_2 = 0x3C,
    vout_ov_fault_limit = 0x40,
    vout_ov_warn_limit = 0x42,
    vout_uv_warn_limit = 0x43,
    vout_uv_fault_limit = 0x44,
    iout_oc_fault_limit = 0x46,
    iout_oc_warn_limit = 0x4A,
    ot_fault_limit = 0x4F,
    ot_warn_limit = 0x51,
    ut_warn_limit = 0x52,
    ut_fault_limit = 0x53,
    vin_ov_fault_limit = 0x55,
    vin_ov_warn_limit = 0x57,
    vin_uv_warn_limit = 0x58,
    vin_uv_fault_limit = 0x59,
    iin_oc_fault_limit = 0x5B,
    iin_oc_warn_limit = 0x5D,
    pout_op_fault_limit = 0x68,
    pout_op_warn_limit = 0x6A,
    pin_op_warn_limit = 0x6B,
    status_byte = 0x78,
    status_word = 0x79,
    status_vout = 0x7A,
    status_iout = 0x7B,
    status_input = 0x7C,
    status_temperature = 0x7D,
    status_cml = 0x7E,
    status_other = 0x7F,
    status_mfr_specific = 0x80,
    status_fans_1_2 = 0x81,
    status_fans_3_4 = 0x82,
    read_ein = 0x86,
    read_eout = 0x87,
    read_vin = 0x88,
    read_iin = 0x89,
    read_vcap = 0x8A,
    read_vout = 0x8B,
    read_iout = 0x8C,
    read_temperature_1 = 0x8D,
    read_temperature_2 = 0x8E,
    read_temperature_3 = 0x8F,
    read_fan_speed_1 = 0x90,
    read_fan_speed_2 = 0x91,
    read_frequency = 0x95,
    read_pout = 0x96,
    read_pin = 0x97,
    pmbus_revision = 0x98,
    mfr_id = 0x99,
    mfr_model = 0x9A,
    mfr_revision = 0x9B,
    mfr_location = 0x9C,
    mfr_date = 0x9D,
    mfr_serial = 0x9E,
};
} // namespace pmbus

// Bits of status registers (PMBus 1.2 Part II, 17), in words.
inline constexpr std::array<std::string_view, 16> status_word_bits{"other fault",
                                                                   "communication fault",
                                                                   "temperature",
                                                                   "input undervoltage",
                                                                   "output overcurrent",
                                                                   "output overvoltage",
                                                                   "output off",
                                                                   "busy",
                                                                   "unknown fault",
                                                                   "other",
                                                                   "fan",
                                                                   "power not good",
                                                                   "manufacturer's",
                                                                   "input",
                                                                   "output current or power",
                                                                   "output voltage"};
inline constexpr std::array<std::string_view, 8> status_vout_bits{
    "power-on tracking error",       "turn-off time too long", "rise time too long",
    "voltage above maximum refused", "undervoltage fault",     "undervoltage warning",
    "overvoltage warning",           "overvoltage fault"};
inline constexpr std::array<std::string_view, 8> status_iout_bits{"overpower warning",
                                                                  "overpower fault",
                                                                  "power limiting",
                                                                  "current share fault",
                                                                  "undercurrent fault",
                                                                  "overcurrent warning",
                                                                  "overcurrent and undervoltage fault",
                                                                  "overcurrent fault"};
inline constexpr std::array<std::string_view, 8> status_input_bits{
    "overpower warning",  "overcurrent warning",  "overcurrent fault",   "off for want of input",
    "undervoltage fault", "undervoltage warning", "overvoltage warning", "overvoltage fault"};
inline constexpr std::array<std::string_view, 8> status_temperature_bits{"",
                                                                         "",
                                                                         "",
                                                                         "",
                                                                         "undertemperature fault",
                                                                         "undertemperature warning",
                                                                         "overtemperature warning",
                                                                         "overtemperature fault"};
inline constexpr std::array<std::string_view, 8> status_cml_bits{"other memory or logic fault",
                                                                 "other communication fault",
                                                                 "",
                                                                 "processor fault",
                                                                 "memory fault",
                                                                 "packet error check failed",
                                                                 "invalid data received",
                                                                 "invalid command received"};
inline constexpr std::array<std::string_view, 8> status_fans_1_2_bits{"airflow warning",
                                                                      "airflow fault",
                                                                      "fan 2 speed overridden",
                                                                      "fan 1 speed overridden",
                                                                      "fan 2 warning",
                                                                      "fan 1 warning",
                                                                      "fan 2 fault",
                                                                      "fan 1 fault"};

constexpr chip_register command(uint8_t code, std::string_view name, access allowed, unsigned int bytes,
                                std::span<const std::string_view> bits = {}) {
    return {.code = code, .name = name, .allowed = allowed, .bytes = bytes, .bits = bits};
}

inline constexpr std::array pmbus_commands{
    command(pmbus::page, "PAGE", access::read_write, 1),
    command(pmbus::operation, "OPERATION", access::read_write, 1),
    command(pmbus::on_off_config, "ON_OFF_CONFIG", access::read_write, 1),
    command(pmbus::clear_faults, "CLEAR_FAULTS", access::write, 0),
    command(pmbus::write_protect, "WRITE_PROTECT", access::read_write, 1),
    command(pmbus::capability, "CAPABILITY", access::read, 1),
    command(pmbus::query, "QUERY", access::read, block),
    command(pmbus::smbalert_mask, "SMBALERT_MASK", access::read_write, 2),
    command(pmbus::vout_mode, "VOUT_MODE", access::read_write, 1),
    command(pmbus::vout_command, "VOUT_COMMAND", access::read_write, 2),
    command(pmbus::vout_max, "VOUT_MAX", access::read_write, 2),
    command(pmbus::coefficients, "COEFFICIENTS", access::read, block),
    command(pmbus::fan_config_1_2, "FAN_CONFIG_1_2", access::read_write, 1),
    command(pmbus::fan_command_1, "FAN_COMMAND_1", access::read_write, 2),
    command(pmbus::fan_command_2, "FAN_COMMAND_2", access::read_write, 2),
    command(pmbus::vout_ov_fault_limit, "VOUT_OV_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::vout_ov_warn_limit, "VOUT_OV_WARN_LIMIT", access::read_write, 2),
    command(pmbus::vout_uv_warn_limit, "VOUT_UV_WARN_LIMIT", access::read_write, 2),
    command(pmbus::vout_uv_fault_limit, "VOUT_UV_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::iout_oc_fault_limit, "IOUT_OC_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::iout_oc_warn_limit, "IOUT_OC_WARN_LIMIT", access::read_write, 2),
    command(pmbus::ot_fault_limit, "OT_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::ot_warn_limit, "OT_WARN_LIMIT", access::read_write, 2),
    command(pmbus::ut_warn_limit, "UT_WARN_LIMIT", access::read_write, 2),
    command(pmbus::ut_fault_limit, "UT_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::vin_ov_fault_limit, "VIN_OV_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::vin_ov_warn_limit, "VIN_OV_WARN_LIMIT", access::read_write, 2),
    command(pmbus::vin_uv_warn_limit, "VIN_UV_WARN_LIMIT", access::read_write, 2),
    command(pmbus::vin_uv_fault_limit, "VIN_UV_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::iin_oc_fault_limit, "IIN_OC_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::iin_oc_warn_limit, "IIN_OC_WARN_LIMIT", access::read_write, 2),
    command(pmbus::pout_op_fault_limit, "POUT_OP_FAULT_LIMIT", access::read_write, 2),
    command(pmbus::pout_op_warn_limit, "POUT_OP_WARN_LIMIT", access::read_write, 2),
    command(pmbus::pin_op_warn_limit, "PIN_OP_WARN_LIMIT", access::read_write, 2),
    command(pmbus::status_byte, "STATUS_BYTE", access::read, 1, std::span(status_word_bits).first<8>()),
    command(pmbus::status_word, "STATUS_WORD", access::read, 2, status_word_bits),
    command(pmbus::status_vout, "STATUS_VOUT", access::read_write, 1, status_vout_bits),
    command(pmbus::status_iout, "STATUS_IOUT", access::read_write, 1, status_iout_bits),
    command(pmbus::status_input, "STATUS_INPUT", access::read_write, 1, status_input_bits),
    command(pmbus::status_temperature, "STATUS_TEMPERATURE", access::read_write, 1, status_temperature_bits),
    command(pmbus::status_cml, "STATUS_CML", access::read_write, 1, status_cml_bits),
    command(pmbus::status_other, "STATUS_OTHER", access::read_write, 1),
    command(pmbus::status_mfr_specific, "STATUS_MFR_SPECIFIC", access::read_write, 1),
    command(pmbus::status_fans_1_2, "STATUS_FANS_1_2", access::read_write, 1, status_fans_1_2_bits),
    command(pmbus::status_fans_3_4, "STATUS_FANS_3_4", access::read_write, 1),
    command(pmbus::read_ein, "READ_EIN", access::read, block),
    command(pmbus::read_eout, "READ_EOUT", access::read, block),
    command(pmbus::read_vin, "READ_VIN", access::read, 2),
    command(pmbus::read_iin, "READ_IIN", access::read, 2),
    command(pmbus::read_vcap, "READ_VCAP", access::read, 2),
    command(pmbus::read_vout, "READ_VOUT", access::read, 2),
    command(pmbus::read_iout, "READ_IOUT", access::read, 2),
    command(pmbus::read_temperature_1, "READ_TEMPERATURE_1", access::read, 2),
    command(pmbus::read_temperature_2, "READ_TEMPERATURE_2", access::read, 2),
    command(pmbus::read_temperature_3, "READ_TEMPERATURE_3", access::read, 2),
    command(pmbus::read_fan_speed_1, "READ_FAN_SPEED_1", access::read, 2),
    command(pmbus::read_fan_speed_2, "READ_FAN_SPEED_2", access::read, 2),
    command(pmbus::read_frequency, "READ_FREQUENCY", access::read, 2),
    command(pmbus::read_pout, "READ_POUT", access::read, 2),
    command(pmbus::read_pin, "READ_PIN", access::read, 2),
    command(pmbus::pmbus_revision, "PMBUS_REVISION", access::read, 1),
    command(pmbus::mfr_id, "MFR_ID", access::read_write, block),
    command(pmbus::mfr_model, "MFR_MODEL", access::read_write, block),
    command(pmbus::mfr_revision, "MFR_REVISION", access::read_write, block),
    command(pmbus::mfr_location, "MFR_LOCATION", access::read_write, block),
    command(pmbus::mfr_date, "MFR_DATE", access::read_write, block),
    command(pmbus::mfr_serial, "MFR_SERIAL", access::read_write, block),
};

constexpr const chip_register &standard(pmbus::command code) {
    return *std::ranges::find(pmbus_commands, code, &chip_register::code);
}

struct raw_unit {
    std::string_view name;
    int decimals = 0;
    bool has_sign = false;
};

constexpr chip_register with(chip_register command, std::optional<unsigned int> power_on,
                             std::string_view values = {}, const raw_unit &unit = {}) {
    command.power_on = power_on;
    command.values = values;
    command.unit = unit.name;
    command.decimals = unit.decimals;
    command.has_sign = unit.has_sign;
    return command;
}

constexpr chip_register read_only(chip_register command, std::optional<unsigned int> power_on,
                                  std::string_view values) {
    command.allowed = access::read;
    return with(command, power_on, values);
}

} // namespace varnel::chips
