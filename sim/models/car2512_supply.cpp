// SPDX-License-Identifier: Apache-2.0
#include "sim/models/car2512_supply.h"

#include <cmath>

#include "chips/car2512.h"
#include "sim/models/pmbus_numbers.h"
#include "sim/models/pmbus_values.h"

namespace varnel::sim {

namespace {

namespace own = chips::car2512_command;

// Limits
constexpr double overload_warning = 2500; // watts
constexpr double overload_fault = 2750;
constexpr double hot_warning = 75; // degrees Celsius
constexpr double hot_fault = 90;
constexpr double low_input_warning = 90; // volts
constexpr double low_input_fault = 80;
constexpr double high_input_fault = 275;
constexpr unsigned int lowest_output = 1080; // 10 mV
constexpr unsigned int highest_output = 1320;
constexpr unsigned int nominal_output = 1200;
constexpr unsigned int first_duty = 50; // percent
constexpr unsigned int full_duty = 100;

constexpr int volt_exponent = -9; // of READ_VOUT

/// Scaled by `factor` and cut to 16 bits, two's complement.
unsigned int word_of(double value, double factor) {
    return static_cast<unsigned int>(std::lround(value * factor)) & 0xFFFFU;
}

} // namespace

void car2512_supply::catch_up(std::chrono::nanoseconds now) {
    sim::catch_up(stage_, stepped_to_, now, [this] { latch_faults(); });
}

void car2512_supply::power_on() {
    operation_ = output_on;
    write_protect_ = protect_all;
    volts_ = nominal_output;
    duty_ = first_duty;
    fan_command_ = 0;
    tripped_ = false;
    update_stage();
    stage_.power_on();
    latches_.clear_all();
    latch_faults();
}

bool car2512_supply::commanded_on() const { return operation_ == output_on; }

bool car2512_supply::input_good() const {
    return stage_.input_volts >= low_input_fault && stage_.input_volts <= high_input_fault;
}

/// Passes the state of the commands on to the power stage.
void car2512_supply::update_stage() {
    stage_.output_on = commanded_on() && !tripped_ && input_good();
    const double by_duty = power_stage::fan_full_speed * duty_ / full_duty;
    stage_.fan_target = fan_command_ != 0 ? fan_command_ : by_duty;
}

/// Latches whatever is wrong now; too hot or too much load switches the output off.
void car2512_supply::latch_faults() {
    update_stage();
    const double volts = stage_.input_volts;
    latches_.latch(pmbus::status_input, (volts < low_input_warning ? vin_uv_warning : 0) |
                                            (volts < low_input_fault ? vin_uv_fault | off_for_low_input : 0) |
                                            (volts > high_input_fault ? vin_ov_fault : 0));
    latches_.latch(pmbus::status_fans_1_2, stage_.fan_seized ? fan_1_fault : 0);
    const bool too_hot = stage_.temperature() >= hot_fault;
    latches_.latch(pmbus::status_temperature,
                   (stage_.temperature() >= hot_warning ? over_temperature_warning : 0) |
                       (too_hot ? over_fault : 0));
    const bool overload = stage_.output_power() > overload_fault;
    latches_.latch(pmbus::status_iout, (stage_.output_power() > overload_warning ? iout_oc_warning : 0) |
                                           (overload ? over_fault : 0));
    tripped_ = tripped_ || (commanded_on() && (too_hot || overload));
    update_stage();
}

unsigned int car2512_supply::duty_in_effect() const {
    return fan_command_ == 0 ? duty_
                             : static_cast<unsigned int>(
                                   std::lround(fan_command_ * full_duty / power_stage::fan_full_speed));
}

/// In 10 mV.
unsigned int car2512_supply::volts_in_effect() const { return stage_.output_on ? volts_ : 0; }

unsigned int car2512_supply::value(uint8_t command) const {
    switch (command) {
    case pmbus::operation:
        return operation_;
    case pmbus::write_protect:
        return write_protect_;
    case pmbus::fan_command_1:
        return fan_command_;
    case own::firmware_version:
        return firmware_;
    case own::fan_duty_cycle:
        return duty_in_effect();
    case own::programmed_volt:
        return volts_;
    case own::output_volt:
        return volts_in_effect();
    case own::temperature:
        return word_of(stage_.temperature(), 10);
    case own::fan_speed:
        return word_of(stage_.fan_speed(), 1);
    case own::input_volt:
        return word_of(stage_.input_volts, 10);
    case own::input_power:
        return word_of(stage_.input_power(), 10);
    default:
        return standard_value(command);
    }
}

unsigned int car2512_supply::standard_value(uint8_t command) const {
    switch (command) {
    case pmbus::capability:
        return 0x80; // PEC; 100 kHz, no SMBALERT#
    case pmbus::vout_mode:
        return vout_mode_of(volt_exponent);
    case pmbus::fan_config_1_2:
        return 0xC0; // fan 1 is installed, and its command is a speed
    case pmbus::status_byte:
        return latches_.word(stage_.output_on) & 0xFFU;
    case pmbus::status_word:
        return latches_.word(stage_.output_on);
    case pmbus::read_vin:
        return linear11(stage_.input_volts);
    case pmbus::read_vout:
        return linear16(volts_in_effect() / 100.0, volt_exponent);
    case pmbus::read_temperature_1:
        return linear11(stage_.temperature());
    case pmbus::read_fan_speed_1:
        return linear11(stage_.fan_speed());
    case pmbus::read_pin:
        return linear11(stage_.input_power());
    case pmbus::pmbus_revision:
        return 0x22; // Parts I and II: 1.2
    default:
        return latches_.of(command);
    }
}

/// CLEAR_FAULTS carries nothing that protection could protect.
bool car2512_supply::can_write(uint8_t command) const {
    const bool always = command == pmbus::write_protect || command == pmbus::clear_faults;
    switch (write_protect_) {
    case protect_nothing:
        return true;
    case protect_but_operation:
        return always || command == pmbus::operation;
    case protect_but_operation_and_voltage:
        return always || command == pmbus::operation || command == own::set_output_volt;
    default:
        return always;
    }
}

void car2512_supply::execute(uint8_t command, unsigned int data) {
    if (!can_write(command) || !apply(command, data)) {
        communication_fault(invalid_data);
    }
    latch_faults();
}

/// Returns whether the command takes this value.
bool car2512_supply::apply(uint8_t command, unsigned int data) {
    switch (command) {
    case pmbus::operation:
        return operate(data);
    case pmbus::clear_faults:
        latches_.clear_all();
        return true;
    case pmbus::write_protect:
        return protect(data);
    case pmbus::fan_command_1:
        return set_within(fan_command_, data, 0, static_cast<unsigned int>(power_stage::fan_full_speed));
    case own::set_output_volt:
        return set_within(volts_, data, lowest_output, highest_output);
    case own::set_fan_duty_cycle:
        return set_within(duty_, data, 0, full_duty);
    default: // a status register: written ones clear
        latches_.clear(command, data);
        return true;
    }
}

/// Off and on again restarts a supply that a fault has switched off, and clears the faults.
bool car2512_supply::operate(unsigned int data) {
    if (!is_operation(data)) {
        return false;
    }
    if (data == output_on && !commanded_on()) {
        tripped_ = false;
        latches_.clear_all();
    }
    operation_ = data;
    return true;
}

bool car2512_supply::protect(unsigned int data) {
    if (!is_protection(data)) {
        return false;
    }
    write_protect_ = data;
    return true;
}

bool car2512_supply::set_within(unsigned int &setting, unsigned int data, unsigned int least,
                                unsigned int most) {
    if (data < least || data > most) {
        return false;
    }
    setting = data;
    return true;
}

} // namespace varnel::sim
