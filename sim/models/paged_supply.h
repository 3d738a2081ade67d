// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <vector>

#include "sim/models/fault_latches.h"
#include "sim/models/pmbus_numbers.h"
#include "sim/models/power_stage.h"

namespace varnel::sim {

/// What a command can hold, by its code.
using command_words = std::array<uint16_t, 0x100>;

/// One output of a supply.
struct supply_output {
    // What surrounds it, and what it is made for.
    double load = 0;   ///< watts, drawn while it is on
    double offset = 0; ///< volts by which it is beside its set point
    double nominal_volts = 12;
    double rated_amperes = 100;

    unsigned int operation = 0;
    unsigned int on_off_config = 0;
    bool tripped = false; ///< a fault has switched it off, until OPERATION goes off and on
    bool on = false;
    fault_latches latches; ///< STATUS_VOUT and STATUS_IOUT
    fault_latches masks;   ///< SMBALERT_MASK: what does not alert
    command_words words{}; ///< limits and voltage
};

/// What there is to measure.
enum class watched : uint8_t {
    set_volts,
    output_volts,
    output_amperes,
    output_watts,
    celsius,
    input_volts,
    input_amperes,
    input_watts,
    fan_rpm
};

struct supply_limit;

/// A supply with several outputs, a common input and a common fan behind PMBus commands. Everything here is as of the last
/// catch_up().
class paged_supply {
  public:
    explicit paged_supply(std::chrono::nanoseconds now) : stepped_to_(now) { power_on(); }

    void catch_up(std::chrono::nanoseconds now);
    void power_on();

    /// Of a command that has a number or bits, not text or a block.
    [[nodiscard]] unsigned int value(uint8_t command, const supply_output &of) const;
    /// Whose value a command reads; null when PAGE selects all outputs and each has its own.
    [[nodiscard]] const supply_output *selected(bool per_page) const;
    /// Carries out a write of the right length.
    void execute(uint8_t command, unsigned int data);
    void communication_fault(unsigned int cml);
    /// Whether this is a status register with bits that SMBALERT_MASK can mask.
    [[nodiscard]] static bool has_alert_mask(uint8_t status);
    [[nodiscard]] unsigned int alert_mask(uint8_t status, const supply_output &of) const;

    [[nodiscard]] bool alerts() const { return alerts_; }
    void end_alert() { alerts_ = false; }

    [[nodiscard]] const std::vector<supply_output> &outputs() const { return outputs_; }
    [[nodiscard]] const power_stage &stage() const { return stage_; }
    [[nodiscard]] const number_formats &formats() const { return formats_; }
    [[nodiscard]] double measured(watched what, const supply_output &of) const;

    /// Changes what surrounds the supply.
    template <class Change>
    void change_surroundings(Change change) {
        change(stage_, outputs_);
        stage_.settle_fan();
        latch_faults();
    }
    /// Makes it another supply, which has just been powered on.
    template <class Change>
    void rebuild(Change change) {
        change(formats_, outputs_);
        power_on();
    }

  private:
    [[nodiscard]] bool can_write(uint8_t command) const;
    [[nodiscard]] bool input_good() const;
    [[nodiscard]] unsigned int measured_or_stored(uint8_t command, const supply_output &of) const;
    [[nodiscard]] double number(uint8_t command, const supply_output &of) const;
    [[nodiscard]] double set_volts(const supply_output &of) const;
    [[nodiscard]] unsigned int status_word(const supply_output &of) const;
    [[nodiscard]] bool has_unmasked_fault() const;
    fault_latches &latches(uint8_t status, supply_output &of);
    void store(uint8_t command, double value, supply_output &of);
    bool select_page(unsigned int data);
    bool apply(uint8_t command, unsigned int data, supply_output &to);
    bool apply_to_selected(uint8_t command, unsigned int data);
    bool operate(unsigned int data, supply_output &to);
    static bool configure(unsigned int data, supply_output &of);
    bool protect(unsigned int data);
    bool set_fan(unsigned int data);
    bool set_alert_mask(unsigned int data, supply_output &of);
    void clear_faults(supply_output &of);
    void clear_status(uint8_t status, unsigned int bits, supply_output &of);
    void latch(uint8_t status, unsigned int bits, supply_output &of);
    void check(const supply_limit &limit, supply_output &of);
    void power_on(supply_output &of);
    void update_stage();
    void latch_faults();

    power_stage stage_;
    std::chrono::nanoseconds stepped_to_;
    number_formats formats_;
    std::vector<supply_output> outputs_{1};
    fault_latches common_; ///< the status registers that are common to all outputs
    fault_latches masks_;
    command_words words_{};
    unsigned int page_ = 0;
    unsigned int write_protect_ = 0;
    bool alerts_ = false;
};

} // namespace varnel::sim
