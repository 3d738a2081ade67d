// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

#include "chips/pmbus.h"

namespace varnel::chips {

/// What a number of a supply measures: its format and its coefficients are the same for all commands that do.
enum class measure : uint8_t { output_volts, input_volts, amperes, watts, celsius, rpm, no_number };
inline constexpr auto measures = static_cast<std::size_t>(measure::no_number);

struct supply_command {
    chip_register entry;
    bool per_page = false; ///< each output has its own; PAGE selects whose
    measure of = measure::no_number;
    unsigned int question = 0; ///< bytes of the first block of a block process call
};

/// Formats for people: common to all outputs, and of each.
constexpr std::string_view format_of(measure of, bool per_page) {
    switch (of) {
    case measure::output_volts:
        return "LINEAR16 or DIRECT, V; per page";
    case measure::input_volts:
        return "LINEAR11 or DIRECT, V";
    case measure::amperes:
        return per_page ? "LINEAR11 or DIRECT, A; per page" : "LINEAR11 or DIRECT, A";
    case measure::watts:
        return per_page ? "LINEAR11 or DIRECT, W; per page" : "LINEAR11 or DIRECT, W";
    case measure::celsius:
        return "LINEAR11 or DIRECT, C";
    case measure::rpm:
        return "LINEAR11 or DIRECT, rpm";
    default:
        return per_page ? "per page" : "";
    }
}

constexpr supply_command common(pmbus::command code, measure of = measure::no_number) {
    return {.entry = with(standard(code), {}, format_of(of, false)), .of = of};
}

constexpr supply_command per_page(pmbus::command code, measure of = measure::no_number) {
    return {.entry = with(standard(code), {}, format_of(of, true)), .per_page = true, .of = of};
}

constexpr supply_command text(pmbus::command code) {
    return {.entry = read_only(standard(code), {}, "up to 32 characters")};
}

inline constexpr std::array pmbus_supply_commands{
    supply_command{with(standard(pmbus::page), 0x00, "00 to the last page, FF all")},
    supply_command{
        with(standard(pmbus::operation), 0x80, "80 on, 00 off, 40 soft off (also immediate); per page"),
        true},
    supply_command{with(standard(pmbus::on_off_config), 0x18,
                        "18 OPERATION decides, 00 always on; bits 0 and 1 are kept; per page"),
                   true},
    supply_command{with(standard(pmbus::clear_faults), {}, "per page"), true},
    supply_command{with(standard(pmbus::write_protect), 0x00, "80, 40, 20, 00")},
    supply_command{with(standard(pmbus::capability), 0xB0, "B0: PEC, 400 kHz, SMBALERT#")},
    supply_command{
        .entry = with(standard(pmbus::query), {}, "block process call: a command; its access and format"),
        .question = 1},
    supply_command{
        .entry = with(standard(pmbus::smbalert_mask), {},
                      "low byte a STATUS command, high byte bits; read by block process call; per page"),
        .per_page = true,
        .question = 1},
    supply_command{read_only(standard(pmbus::vout_mode), 0x17, "17 LINEAR16, steps of 1/512 V; 40 DIRECT")},
    per_page(pmbus::vout_command, measure::output_volts),
    per_page(pmbus::vout_max, measure::output_volts),
    supply_command{.entry = with(standard(pmbus::coefficients), {},
                                 "block process call: a command, 01; m, b, R of DIRECT"),
                   .question = 2},
    supply_command{
        read_only(standard(pmbus::fan_config_1_2), 0xC0, "C0: fan 1 is there, FAN_COMMAND_1 in rpm")},
    common(pmbus::fan_command_1, measure::rpm),
    per_page(pmbus::vout_ov_fault_limit, measure::output_volts),
    per_page(pmbus::vout_ov_warn_limit, measure::output_volts),
    per_page(pmbus::vout_uv_warn_limit, measure::output_volts),
    per_page(pmbus::vout_uv_fault_limit, measure::output_volts),
    per_page(pmbus::iout_oc_fault_limit, measure::amperes),
    per_page(pmbus::iout_oc_warn_limit, measure::amperes),
    common(pmbus::ot_fault_limit, measure::celsius),
    common(pmbus::ot_warn_limit, measure::celsius),
    common(pmbus::ut_warn_limit, measure::celsius),
    common(pmbus::ut_fault_limit, measure::celsius),
    common(pmbus::vin_ov_fault_limit, measure::input_volts),
    common(pmbus::vin_ov_warn_limit, measure::input_volts),
    common(pmbus::vin_uv_warn_limit, measure::input_volts),
    common(pmbus::vin_uv_fault_limit, measure::input_volts),
    common(pmbus::iin_oc_fault_limit, measure::amperes),
    common(pmbus::iin_oc_warn_limit, measure::amperes),
    per_page(pmbus::pout_op_fault_limit, measure::watts),
    per_page(pmbus::pout_op_warn_limit, measure::watts),
    common(pmbus::pin_op_warn_limit, measure::watts),
    per_page(pmbus::status_byte),
    per_page(pmbus::status_word),
    per_page(pmbus::status_vout),
    per_page(pmbus::status_iout),
    common(pmbus::status_input),
    common(pmbus::status_temperature),
    common(pmbus::status_cml),
    common(pmbus::status_fans_1_2),
    common(pmbus::read_vin, measure::input_volts),
    common(pmbus::read_iin, measure::amperes),
    per_page(pmbus::read_vout, measure::output_volts),
    per_page(pmbus::read_iout, measure::amperes),
    common(pmbus::read_temperature_1, measure::celsius),
    common(pmbus::read_fan_speed_1, measure::rpm),
    per_page(pmbus::read_pout, measure::watts),
    common(pmbus::read_pin, measure::watts),
    supply_command{with(standard(pmbus::pmbus_revision), 0x33, "33: Parts I and II, 1.3")},
    text(pmbus::mfr_id),
    text(pmbus::mfr_model),
    text(pmbus::mfr_revision),
    text(pmbus::mfr_location),
    text(pmbus::mfr_date),
    text(pmbus::mfr_serial),
};

inline constexpr auto pmbus_supply_by_code = [] {
    std::array<const supply_command *, 0x100> all{};
    for (const supply_command &each : pmbus_supply_commands) {
        all.at(each.entry.code) = &each;
    }
    return all;
}();

/// Null for a command that the supply does not have.
constexpr const supply_command *find_supply_command(uint8_t code) { return pmbus_supply_by_code.at(code); }

inline constexpr auto pmbus_supply_registers = [] {
    std::array<chip_register, pmbus_supply_commands.size()> entries{};
    std::ranges::transform(pmbus_supply_commands, entries.begin(), &supply_command::entry);
    return entries;
}();

inline constexpr datasheet pmbus_supply{
    .type = "pmbus-supply",
    .title = "any power supply with PMBus",
    .source = "PMBus 1.3 Part II",
    .registers = pmbus_supply_registers,
};

} // namespace varnel::chips
