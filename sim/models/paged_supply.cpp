// SPDX-License-Identifier: Apache-2.0
#include "sim/models/paged_supply.h"

#include <algorithm>

#include "sim/models/pmbus_values.h"

namespace varnel::sim {

using chips::measure;
using chips::supply_command;

/// A command with a limit, and what happens beyond it (PMBus 1.3 Part II, 15).
struct supply_limit {
    enum class side : uint8_t { upper, lower };

    uint8_t command;
    watched what;
    side at;
    unsigned int bits;  ///< of the status register
    double usual;       ///< at power-on; of an output, as a part of what it is made for
    bool trips = false; ///< the output, or all outputs if the limit is common to them
};

namespace {

using side = supply_limit::side;

// ON_OFF_CONFIG (PMBus 1.3 Part II, 12.2). There is no CONTROL pin.
constexpr unsigned int by_operation = 0x18; // waits for OPERATION, and obeys it
constexpr unsigned int of_control_pin = 0x03;

constexpr unsigned int all_pages = 0xFF; // PAGE (11.10)

constexpr double first_fan_speed = 10000; // rpm

constexpr const supply_command *known(uint8_t code) { return chips::find_supply_command(code); }

constexpr std::array limits{
    supply_limit{pmbus::vout_max, watched::set_volts, side::upper, 0x08, 1.2},
    supply_limit{pmbus::vout_ov_fault_limit, watched::output_volts, side::upper, 0x80, 1.15, true},
    supply_limit{pmbus::vout_ov_warn_limit, watched::output_volts, side::upper, 0x40, 1.1},
    supply_limit{pmbus::vout_uv_warn_limit, watched::output_volts, side::lower, 0x20, 0.9},
    supply_limit{pmbus::vout_uv_fault_limit, watched::output_volts, side::lower, 0x10, 0.85, true},
    supply_limit{pmbus::iout_oc_fault_limit, watched::output_amperes, side::upper, 0x80, 1.2, true},
    supply_limit{pmbus::iout_oc_warn_limit, watched::output_amperes, side::upper, 0x20, 1},
    supply_limit{pmbus::ot_fault_limit, watched::celsius, side::upper, 0x80, 90, true},
    supply_limit{pmbus::ot_warn_limit, watched::celsius, side::upper, 0x40, 75},
    supply_limit{pmbus::ut_warn_limit, watched::celsius, side::lower, 0x20, -10},
    supply_limit{pmbus::ut_fault_limit, watched::celsius, side::lower, 0x10, -25},
    supply_limit{pmbus::vin_ov_fault_limit, watched::input_volts, side::upper, 0x80, 275},
    supply_limit{pmbus::vin_ov_warn_limit, watched::input_volts, side::upper, 0x40, 265},
    supply_limit{pmbus::vin_uv_warn_limit, watched::input_volts, side::lower, 0x20, 90},
    supply_limit{pmbus::vin_uv_fault_limit, watched::input_volts, side::lower, 0x18, 80},
    supply_limit{pmbus::iin_oc_fault_limit, watched::input_amperes, side::upper, 0x04, 30, true},
    supply_limit{pmbus::iin_oc_warn_limit, watched::input_amperes, side::upper, 0x02, 25},
    supply_limit{pmbus::pout_op_fault_limit, watched::output_watts, side::upper, 0x02, 1.25, true},
    supply_limit{pmbus::pout_op_warn_limit, watched::output_watts, side::upper, 0x01, 1.05},
    supply_limit{pmbus::pin_op_warn_limit, watched::input_watts, side::upper, 0x01, 4000},
};

struct reading_command {
    uint8_t command;
    watched what;
};

constexpr std::array reading_commands{
    reading_command{pmbus::read_vin, watched::input_volts},
    reading_command{pmbus::read_iin, watched::input_amperes},
    reading_command{pmbus::read_vout, watched::output_volts},
    reading_command{pmbus::read_iout, watched::output_amperes},
    reading_command{pmbus::read_temperature_1, watched::celsius},
    reading_command{pmbus::read_fan_speed_1, watched::fan_rpm},
    reading_command{pmbus::read_pout, watched::output_watts},
    reading_command{pmbus::read_pin, watched::input_watts},
};

constexpr uint8_t status_of(watched what) {
    switch (what) {
    case watched::set_volts:
    case watched::output_volts:
        return pmbus::status_vout;
    case watched::output_amperes:
    case watched::output_watts:
        return pmbus::status_iout;
    case watched::celsius:
        return pmbus::status_temperature;
    default:
        return pmbus::status_input;
    }
}

/// What an output is made for; 1 for what is no output's.
double basis_of(watched what, const supply_output &made) {
    switch (what) {
    case watched::set_volts:
    case watched::output_volts:
        return made.nominal_volts;
    case watched::output_amperes:
        return made.rated_amperes;
    case watched::output_watts:
        return made.nominal_volts * made.rated_amperes;
    default:
        return 1;
    }
}

bool commanded_on(const supply_output &of) {
    return of.on_off_config < by_operation || of.operation == output_on;
}

double quotient(double watts, double volts) { return volts > 0 ? watts / volts : 0; }

} // namespace

// --- The supply ---

void paged_supply::catch_up(std::chrono::nanoseconds now) {
    sim::catch_up(stage_, stepped_to_, now, [this] { latch_faults(); });
}

void paged_supply::power_on() {
    page_ = 0;
    write_protect_ = protect_nothing;
    for (supply_output &each : outputs_) {
        power_on(each);
    }
    store(pmbus::fan_command_1, first_fan_speed, outputs_.front());
    common_.clear_all();
    masks_.clear_all();
    update_stage();
    stage_.power_on();
    alerts_ = false;
    latch_faults();
}

void paged_supply::power_on(supply_output &of) {
    of.operation = output_on;
    of.on_off_config = by_operation;
    of.tripped = false;
    of.latches.clear_all();
    of.masks.clear_all();
    store(pmbus::vout_command, of.nominal_volts, of);
    for (const supply_limit &each : limits) {
        store(each.command, each.usual * basis_of(each.what, of), of);
    }
}

bool paged_supply::input_good() const {
    const supply_output &any = outputs_.front();
    return stage_.input_volts > 0 && stage_.input_volts >= number(pmbus::vin_uv_fault_limit, any) &&
           stage_.input_volts <= number(pmbus::vin_ov_fault_limit, any);
}

/// Passes the state of the commands on to the power stage, which has one output with the power of all.
void paged_supply::update_stage() {
    stage_.load = 0;
    stage_.output_on = false;
    for (supply_output &each : outputs_) {
        each.on = commanded_on(each) && !each.tripped && input_good();
        stage_.load += each.on ? each.load : 0;
        stage_.output_on = stage_.output_on || each.on;
    }
    stage_.fan_target = number(pmbus::fan_command_1, outputs_.front());
}

/// More than VOUT_MAX is not put out (PMBus 1.3 Part II, 13.5).
double paged_supply::set_volts(const supply_output &of) const {
    return std::min(number(pmbus::vout_command, of), number(pmbus::vout_max, of));
}

double paged_supply::measured(watched what, const supply_output &of) const {
    switch (what) {
    case watched::set_volts:
        return number(pmbus::vout_command, of);
    case watched::output_volts:
        return of.on ? std::max(set_volts(of) + of.offset, 0.0) : 0;
    case watched::output_amperes:
        return quotient(measured(watched::output_watts, of), measured(watched::output_volts, of));
    case watched::output_watts:
        return of.on ? of.load : 0;
    case watched::celsius:
        return stage_.temperature();
    case watched::input_volts:
        return stage_.input_volts;
    case watched::input_amperes:
        return quotient(stage_.input_power(), stage_.input_volts);
    case watched::input_watts:
        return stage_.input_power();
    default:
        return stage_.fan_speed();
    }
}

// --- Faults ---

/// Latches whatever is wrong now.
void paged_supply::latch_faults() {
    update_stage();
    for (const supply_limit &each : limits) {
        for (supply_output &of : outputs_) {
            check(each, of);
        }
    }
    latch(pmbus::status_fans_1_2, stage_.fan_seized ? fan_1_fault : 0, outputs_.front());
    update_stage();
}

/// What an output that is off gives is beyond no limit.
void paged_supply::check(const supply_limit &limit, supply_output &of) {
    const bool gives = !known(limit.command)->per_page || of.on || limit.what == watched::set_volts;
    const double now = measured(limit.what, of);
    const double most = number(limit.command, of);
    if (gives && (limit.at == side::upper ? now > most : now < most)) {
        latch(status_of(limit.what), limit.bits, of);
        of.tripped = of.tripped || (limit.trips && commanded_on(of));
    }
}

fault_latches &paged_supply::latches(uint8_t status, supply_output &of) {
    return known(status)->per_page ? of.latches : common_;
}

unsigned int paged_supply::alert_mask(uint8_t status, const supply_output &of) const {
    return (known(status)->per_page ? of.masks : masks_).of(status);
}

/// A bit alerts when it is set, not as long as it is.
void paged_supply::latch(uint8_t status, unsigned int bits, supply_output &of) {
    fault_latches &held = latches(status, of);
    alerts_ = alerts_ || (bits & ~held.of(status) & ~alert_mask(status, of)) != 0;
    held.latch(status, bits);
}

void paged_supply::communication_fault(unsigned int cml) { latch(pmbus::status_cml, cml, outputs_.front()); }

/// Of the selected output and of what all have in common, with the alert (PMBus 1.3 Part II, 15.1).
void paged_supply::clear_faults(supply_output &of) {
    of.latches.clear_all();
    common_.clear_all();
    alerts_ = false;
}

void paged_supply::clear_status(uint8_t status, unsigned int bits, supply_output &of) {
    latches(status, of).clear(status, bits);
    alerts_ = alerts_ && has_unmasked_fault();
}

bool paged_supply::has_unmasked_fault() const {
    return common_.any_but(masks_) || std::ranges::any_of(outputs_, [](const supply_output &each) {
               return each.latches.any_but(each.masks);
           });
}

unsigned int paged_supply::status_word(const supply_output &of) const {
    fault_latches all = common_;
    all.latch(pmbus::status_vout, of.latches.of(pmbus::status_vout));
    all.latch(pmbus::status_iout, of.latches.of(pmbus::status_iout));
    return all.word(of.on);
}

// --- Reading commands ---

double paged_supply::number(uint8_t command, const supply_output &of) const {
    const supply_command &meant = *known(command);
    return formats_.number_in(meant.of, (meant.per_page ? of.words : words_).at(command));
}

const supply_output *paged_supply::selected(bool per_page) const {
    if (page_ != all_pages) {
        return &outputs_.at(page_);
    }
    return per_page ? nullptr : &outputs_.front();
}

unsigned int paged_supply::value(uint8_t command, const supply_output &of) const {
    switch (command) {
    case pmbus::page:
        return page_;
    case pmbus::operation:
        return of.operation;
    case pmbus::on_off_config:
        return of.on_off_config;
    case pmbus::write_protect:
        return write_protect_;
    case pmbus::capability:
        return 0xB0; // PEC, 400 kHz, SMBALERT#
    case pmbus::vout_mode:
        return formats_.vout_mode();
    case pmbus::fan_config_1_2:
        return 0xC0; // fan 1 is installed, and its command is a speed
    case pmbus::pmbus_revision:
        return 0x33; // Parts I and II: 1.3
    case pmbus::status_byte:
        return status_word(of) & 0xFFU;
    case pmbus::status_word:
        return status_word(of);
    default:
        return measured_or_stored(command, of);
    }
}

unsigned int paged_supply::measured_or_stored(uint8_t command, const supply_output &of) const {
    const supply_command &meant = *known(command);
    const auto *const reads = std::ranges::find(reading_commands, command, &reading_command::command);
    if (reads != reading_commands.end()) {
        return formats_.word_of(meant.of, measured(reads->what, of));
    }
    if (meant.of == measure::no_number) {
        return (meant.per_page ? of.latches : common_).of(command);
    }
    return (meant.per_page ? of.words : words_).at(command);
}

// --- Writing commands ---

void paged_supply::store(uint8_t command, double value, supply_output &of) {
    const supply_command &meant = *known(command);
    (meant.per_page ? of.words : words_).at(command) = formats_.word_of(meant.of, value);
}

/// CLEAR_FAULTS carries nothing that protection could protect.
bool paged_supply::can_write(uint8_t command) const {
    const bool always = command == pmbus::write_protect || command == pmbus::clear_faults;
    const bool operates = command == pmbus::operation || command == pmbus::page;
    const bool adjusts = command == pmbus::on_off_config || command == pmbus::vout_command;
    switch (write_protect_) {
    case protect_nothing:
        return true;
    case protect_but_operation:
        return always || operates;
    case protect_but_operation_and_voltage:
        return always || operates || adjusts;
    default:
        return always;
    }
}

void paged_supply::execute(uint8_t command, unsigned int data) {
    if (!can_write(command) || !apply_to_selected(command, data)) {
        communication_fault(invalid_data);
    }
    latch_faults();
}

/// Returns whether the command takes this value.
bool paged_supply::apply_to_selected(uint8_t command, unsigned int data) {
    if (page_ != all_pages) {
        return apply(command, data, outputs_.at(page_));
    }
    if (!known(command)->per_page) {
        return apply(command, data, outputs_.front());
    }
    bool taken = true;
    for (supply_output &each : outputs_) {
        taken = apply(command, data, each) && taken;
    }
    return taken;
}

bool paged_supply::apply(uint8_t command, unsigned int data, supply_output &to) {
    switch (command) {
    case pmbus::page:
        return select_page(data);
    case pmbus::operation:
        return operate(data, to);
    case pmbus::on_off_config:
        return configure(data, to);
    case pmbus::clear_faults:
        clear_faults(to);
        return true;
    case pmbus::write_protect:
        return protect(data);
    case pmbus::smbalert_mask:
        return set_alert_mask(data, to);
    case pmbus::fan_command_1:
        return set_fan(data);
    default:
        break;
    }
    if (known(command)->of == measure::no_number) {
        clear_status(command, data, to); // written ones clear
    } else {
        (known(command)->per_page ? to.words : words_).at(command) = static_cast<uint16_t>(data);
    }
    return true;
}

bool paged_supply::select_page(unsigned int data) {
    if (data >= outputs_.size() && data != all_pages) {
        return false;
    }
    page_ = data;
    return true;
}

/// Off and on again restarts an output that a fault has switched off, and clears the faults.
bool paged_supply::operate(unsigned int data, supply_output &to) {
    if (!is_operation(data)) {
        return false;
    }
    if (data == output_on && to.operation != output_on) {
        to.tripped = false;
        clear_faults(to);
    }
    to.operation = data;
    return true;
}

bool paged_supply::configure(unsigned int data, supply_output &of) {
    const unsigned int decides = data & ~of_control_pin;
    if (decides != by_operation && decides != 0) {
        return false;
    }
    of.on_off_config = data;
    return true;
}

bool paged_supply::protect(unsigned int data) {
    if (!is_protection(data)) {
        return false;
    }
    write_protect_ = data;
    return true;
}

bool paged_supply::set_fan(unsigned int data) {
    const auto word = static_cast<uint16_t>(data);
    const double speed = formats_.number_in(measure::rpm, word);
    if (speed < 0 || speed > power_stage::fan_full_speed) {
        return false;
    }
    words_.at(pmbus::fan_command_1) = word;
    return true;
}

bool paged_supply::set_alert_mask(unsigned int data, supply_output &of) {
    const auto status = static_cast<uint8_t>(data);
    if (!has_alert_mask(status)) {
        return false;
    }
    fault_latches &masks = known(status)->per_page ? of.masks : masks_;
    masks.clear(status, 0xFF);
    masks.latch(status, data >> 8U);
    return true;
}

bool paged_supply::has_alert_mask(uint8_t status) {
    return status >= pmbus::status_vout && status <= pmbus::status_fans_1_2 && known(status) != nullptr;
}

} // namespace varnel::sim
