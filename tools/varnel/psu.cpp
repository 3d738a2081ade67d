// SPDX-License-Identifier: Apache-2.0
// varnel psu: the CAR2512 power supply.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "chips/car2512.h"
#include "host/numbers.h"
#include "host/options.h"
#include "host/terminal.h"
#include "tools/varnel/confirm.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/pmbus.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "tools/varnel/watch.h"
#include "varnel/car2512.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

constexpr unsigned int most_percent = 100;
constexpr unsigned int most_rpm = 20000;
constexpr double least_volts = 10.8;
constexpr double most_volts = 13.2;

/// A reading: its names, and how it is read.
struct quantity {
    const char *name; ///< for people, and what `get` takes
    const char *key;  ///< in JSON
    const chips::chip_register &source;
    int (*read_word)(uint32_t, uint16_t *);
    int (*read_byte)(uint32_t, uint8_t *);
};

constexpr const chips::chip_register &command(uint8_t code) {
    return *std::ranges::find(chips::car2512_registers, code, &chips::chip_register::code);
}

namespace codes = chips::car2512_command;

constexpr std::array<quantity, 9> quantities{{
    {"output", "output_volts", command(codes::output_volt), car2512_get_output_volt, nullptr},
    {"output-setting", "output_setting_volts", command(codes::programmed_volt), car2512_get_vprog, nullptr},
    {"input", "input_volts", command(codes::input_volt), car2512_get_input_volt, nullptr},
    {"input-power", "input_power_watts", command(codes::input_power), car2512_get_input_power, nullptr},
    {"temperature", "temperature_celsius", command(codes::temperature), car2512_get_temp, nullptr},
    {"fan-speed", "fan_speed_rpm", command(codes::fan_speed), car2512_get_fan_speed, nullptr},
    {"fan-duty", "fan_duty_percent", command(codes::fan_duty_cycle), nullptr, car2512_get_fan_duty_cycle},
    {"firmware", "firmware", command(codes::firmware_version), nullptr, car2512_get_frw_version},
    {"status", "status_word", command(chips::pmbus::status_word), car2512_get_status, nullptr},
}};

int read_raw(const device_address &chip, const quantity &wanted) {
    uint16_t word = 0;
    uint8_t byte = 0;
    on(chip, wanted.name, [&](uint32_t handle) {
        return wanted.read_word != nullptr ? wanted.read_word(handle, &word)
                                           : wanted.read_byte(handle, &byte);
    });
    if (wanted.source.has_sign) {
        return static_cast<int16_t>(word);
    }
    return wanted.read_word != nullptr ? word : byte;
}

/// 10 for a raw unit of 0.1.
double raw_units_in_one(const quantity &what) { return std::pow(10, what.source.decimals); }

std::string with_unit(const quantity &what, int raw) {
    const chips::chip_register &source = what.source;
    if (source.unit.empty()) {
        return fmt::format("0x{:0{}x}", raw, 2 * source.bytes);
    }
    return fmt::format("{:.{}f} {}", raw / raw_units_in_one(what), source.decimals, source.unit);
}

json as_json(const quantity &what, int raw) {
    return what.source.decimals == 0 ? json(raw) : json(raw / raw_units_in_one(what));
}

std::vector<std::string> quantity_names() {
    std::vector<std::string> names;
    names.reserve(quantities.size());
    for (const quantity &each : quantities) {
        names.emplace_back(each.name);
    }
    return names;
}

const quantity &quantity_from(const std::string &name) {
    return quantities.at(place_among(quantity_names(), name, "READING"));
}

struct options {
    device_address chip;
    watch_options watch;
    const quantity *reading = nullptr;
    std::optional<uint64_t> percent;
    std::optional<uint64_t> at_least;
    std::optional<uint64_t> rpm;
    std::optional<unsigned int> centivolts;
    std::size_t off = 0; ///< place among "on", "off"
    bool verify = false;
};

std::string faults_text(const std::vector<std::string> &faults) {
    return faults.empty() ? coloured(stdout, colour::green, "ok")
                          : coloured(stdout, colour::red, fmt::format("{}", fmt::join(faults, ", ")));
}

/// The registers behind STATUS_WORD; people see those that say something.
void add_details(report &lines, const device_address &chip) {
    json details = json::object();
    for (const chips::chip_register &status : status_details()) {
        uint8_t value = 0;
        on(chip, std::string(status.name),
           [&](uint32_t handle) { return smbus_read_byte_to_device(handle, status.code, &value); });
        const auto faults = words_for(status, value);
        details[std::string(status.name)] = {{"value", value}, {"faults", faults}};
        if (value != 0) {
            lines.add_line(fmt::format("  {}", status.name),
                           fmt::format("0x{:02x}  {}", value, faults_text(faults)));
        }
    }
    lines.add("details", std::move(details));
}

std::string status_view(const invocation &call, const device_address &chip) {
    report lines;
    lines.add("device", chip.name());
    for (const quantity &each : quantities) {
        const int raw = read_raw(chip, each);
        std::string text = with_unit(each, raw);
        const bool is_status = each.read_word == car2512_get_status;
        const auto faults =
            is_status ? words_for(each.source, static_cast<unsigned int>(raw)) : std::vector<std::string>{};
        lines.add(each.name, is_status ? fmt::format("{}  {}", text, faults_text(faults)) : text, each.key,
                  as_json(each, raw));
        if (is_status) {
            lines.add("faults", faults);
        }
    }
    add_details(lines, chip);
    return lines.text(call);
}

std::string reading_view(const invocation &call, const options &given) {
    const int raw = read_raw(given.chip, *given.reading);
    report lines;
    lines.add("device", given.chip.name());
    lines.add(given.reading->key, as_json(*given.reading, raw));
    return call.json ? lines.text(call) : with_unit(*given.reading, raw) + "\n";
}

/// After a setting, with --verify: the reading that has to agree.
void verify(const options &given, const std::string &name, int wanted) {
    const quantity &what = quantity_from(name);
    if (const int found = given.verify ? read_raw(given.chip, what) : wanted; found != wanted) {
        throw failed(fmt::format("{}: {}: wrote {}, reads {}", given.chip.name(), name,
                                 with_unit(what, wanted), with_unit(what, found)));
    }
}

void set_duty(const options &given) {
    const auto percent = static_cast<uint8_t>(*given.percent);
    on(given.chip, "set fan duty",
       [&](uint32_t handle) { return car2512_set_fan_duty_cycle(handle, percent); });
    verify(given, "fan-duty", percent);
}

void raise_duty(const options &given) {
    const auto percent = static_cast<uint8_t>(*given.at_least);
    on(given.chip, "raise fan duty",
       [&](uint32_t handle) { return car2512_set_fan_duty_cycle_upto_percent(handle, percent); });
    const quantity &duty = quantity_from("fan-duty");
    if (const int found = given.verify ? read_raw(given.chip, duty) : percent; found < percent) {
        throw failed(
            fmt::format("{}: fan-duty: wanted at least {} %, reads {} %", given.chip.name(), percent, found));
    }
}

void set_rpm(const options &given) {
    const auto rpm = static_cast<uint16_t>(*given.rpm);
    on(given.chip, "set fan speed", [&](uint32_t handle) { return car2512_set_fan_speed(handle, rpm); });
    uint16_t found = rpm;
    if (given.verify) {
        on(given.chip, "read FAN_COMMAND_1", [&](uint32_t handle) {
            return smbus_read_word_to_device(handle, CAR2512_COMMAND_FAN_COMMAND_1, &found);
        });
    }
    if (found != rpm) {
        throw failed(
            fmt::format("{}: FAN_COMMAND_1: wrote {} rpm, reads {} rpm", given.chip.name(), rpm, found));
    }
}

void fan(const invocation &call, const options &given) {
    if (given.percent.has_value() + given.at_least.has_value() + given.rpm.has_value() > 1) {
        throw bad_usage("psu fan: one of PERCENT, --at-least and --rpm");
    }
    if (given.percent) {
        return set_duty(given);
    }
    if (given.at_least) {
        return raise_duty(given);
    }
    if (given.rpm) {
        return set_rpm(given);
    }
    report lines;
    lines.add("device", given.chip.name());
    for (const char *name : {"fan-duty", "fan-speed"}) {
        const quantity &each = quantity_from(name);
        const int raw = read_raw(given.chip, each);
        lines.add(each.name, with_unit(each, raw), each.key, as_json(each, raw));
    }
    print(lines.text(call));
}

void switch_output(const invocation &call, const options &given) {
    const bool off = given.off != 0;
    if (off) {
        confirm(call, fmt::format("{}: output off: what this supply feeds loses power", given.chip.name()));
    }
    on(given.chip, off ? "output off" : "output on",
       [&](uint32_t handle) { return off ? car2512_set_power_off(handle) : car2512_set_power_on(handle); });
    uint8_t found = off ? CAR2512_OPERATION_OFF : CAR2512_OPERATION_ON;
    const uint8_t wanted = found;
    if (given.verify) {
        on(given.chip, "read OPERATION", [&](uint32_t handle) {
            return smbus_read_byte_to_device(handle, CAR2512_COMMAND_OPERATION, &found);
        });
    }
    if (found != wanted) {
        throw failed(
            fmt::format("{}: OPERATION: wrote 0x{:02x}, reads 0x{:02x}", given.chip.name(), wanted, found));
    }
}

void voltage(const invocation &call, const options &given) {
    const quantity &setting = quantity_from("output-setting");
    const int now = read_raw(given.chip, setting);
    if (!given.centivolts) {
        report lines;
        lines.add("device", given.chip.name());
        lines.add(setting.key, as_json(setting, now));
        return print(call.json ? lines.text(call) : with_unit(setting, now) + "\n");
    }
    const auto wanted = static_cast<int>(*given.centivolts);
    confirm(call, fmt::format("{}: output voltage from {} to {}", given.chip.name(), with_unit(setting, now),
                              with_unit(setting, wanted)));
    on(given.chip, "set output voltage",
       [&](uint32_t handle) { return car2512_set_output_volt(handle, static_cast<uint16_t>(wanted)); });
    verify(given, setting.name, wanted);
}

/// "12.1", "12.1V", in whole hundredths.
std::optional<unsigned int> centivolts_from(const std::string &text) {
    std::string_view digits = text;
    if (digits.ends_with('V')) {
        digits.remove_suffix(1);
    }
    const auto volts = real_number(digits);
    const std::size_t dot = digits.find('.');
    const bool too_fine = dot != std::string_view::npos && digits.size() - dot > 3;
    if (!volts || too_fine || !(*volts >= least_volts && *volts <= most_volts)) {
        throw bad_usage(fmt::format("VOLTS: '{}' is not a voltage from {:.2f} to {:.2f} in steps of 0.01",
                                    text, least_volts, most_volts));
    }
    return static_cast<unsigned int>(std::lround(*volts * 100));
}

/// "60" or "60%"
std::optional<uint64_t> percent_from(const std::string &text) {
    const bool has_unit = text.ends_with('%');
    return c_number(has_unit ? text.substr(0, text.size() - 1) : text, most_percent, "PERCENT");
}

void print_all(const invocation &call, const options &given) {
    show(given.watch, [&] { return status_view(call, given.chip); });
}

void print_one(const invocation &call, const options &given) {
    show(given.watch, [&] { return reading_view(call, given); });
}

void clear_faults(const options &given) {
    on(given.chip, "clear faults", [](uint32_t handle) { return car2512_clear_fault(handle); });
}

void cancel_protection(const options &given) {
    on(given.chip, "cancel write protection",
       [](uint32_t handle) { return car2512_cancel_write_protect(handle); });
}

void add_readings(verbs<options> &psu, invocation &call) {
    const auto status = psu.add("status", "Show all readings, and faults in words", print_all);
    add_json(status.parser, call);
    add_watch(status.parser, status.given.watch);
    const auto get = psu.add("get", "Show one reading", print_one);
    add_argument(
        get.parser, "READING", get.given.reading,
        [](const std::string &text) { return &quantity_from(text); }, "the reading",
        any_of(quantity_names()).c_str());
    add_json(get.parser, call);
    add_watch(get.parser, get.given.watch);
}

void add_fan(verbs<options> &psu, invocation &call) {
    const auto setting = psu.add("fan", "Show the fan, or set its duty cycle or speed", fan);
    add_argument(setting.parser, "PERCENT", setting.given.percent, percent_from, "duty cycle, 0 to 100")
        .required(false);
    add_argument(setting.parser, "--at-least", setting.given.at_least, percent_from,
                 "raise the duty cycle, never lower it", "PERCENT");
    add_number(setting.parser, "--rpm", setting.given.rpm, most_rpm,
               "speed, up to 20000; with 0 the duty cycle applies");
    add_verify(setting.parser, setting.given.verify);
    add_json(setting.parser, call);
}

void add_output(verbs<options> &psu, invocation &call) {
    const auto output = psu.add("output", "Switch the output", switch_output);
    add_choice(output.parser, "STATE", output.given.off, {"on", "off"}, "off asks for confirmation");
    add_verify(output.parser, output.given.verify);
    add_yes(output.parser, call);
    const auto volts = psu.add("voltage", "Show or set the programmed output voltage", voltage);
    add_argument(volts.parser, "VOLTS", volts.given.centivolts, centivolts_from,
                 "10.80 to 13.20; asks for confirmation")
        .required(false);
    add_verify(volts.parser, volts.given.verify);
    add_yes(volts.parser, call);
    add_json(volts.parser, call);
}

} // namespace

void add_psu(argument_parser app, invocation &call) {
    verbs<options> psu(app, call, "psu", "CAR2512 power supply: readings, faults, fan, output");
    add_readings(psu, call);
    add_fan(psu, call);
    add_output(psu, call);
    psu.add("clear", "Clear latched faults", clear_faults);
    psu.add("unprotect", "Cancel write protection, as every setting does", cancel_protection);
}

} // namespace varnel::tools
