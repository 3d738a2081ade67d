// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include "sim/models/fault_latches.h"
#include "sim/models/power_stage.h"

namespace varnel::sim {

/// The supply behind its commands. Everything here is as of the last catch_up().
class car2512_supply {
  public:
    explicit car2512_supply(std::chrono::nanoseconds now) : stepped_to_(now) { power_on(); }

    void catch_up(std::chrono::nanoseconds now);
    /// Commands have their power-on values, the supply is as warm as its surroundings, and only those faults are there
    /// that have a cause.
    void power_on();
    [[nodiscard]] unsigned int value(uint8_t command) const;
    /// Carries out a write of the right length.
    void execute(uint8_t command, unsigned int data);
    void communication_fault(unsigned int cml) { latches_.latch(pmbus::status_cml, cml); }

    [[nodiscard]] const power_stage &stage() const { return stage_; }
    [[nodiscard]] bool tripped() const { return tripped_; }
    [[nodiscard]] unsigned int firmware() const { return firmware_; }
    void set_firmware(unsigned int version) { firmware_ = version; }

    /// Changes what surrounds the supply.
    template <class Change>
    void change_surroundings(Change change) {
        change(stage_);
        stage_.settle_fan();
        latch_faults();
    }

  private:
    [[nodiscard]] bool can_write(uint8_t command) const;
    [[nodiscard]] bool input_good() const;
    [[nodiscard]] bool commanded_on() const;
    [[nodiscard]] unsigned int duty_in_effect() const;
    [[nodiscard]] unsigned int volts_in_effect() const;
    [[nodiscard]] unsigned int standard_value(uint8_t command) const;
    bool apply(uint8_t command, unsigned int data);
    bool operate(unsigned int data);
    bool protect(unsigned int data);
    static bool set_within(unsigned int &setting, unsigned int data, unsigned int least, unsigned int most);
    void update_stage();
    void latch_faults();

    power_stage stage_;
    std::chrono::nanoseconds stepped_to_;
    fault_latches latches_;
    unsigned int operation_ = 0;
    unsigned int write_protect_ = 0;
    bool tripped_ = false;         ///< a fault has switched the output off, until OPERATION goes off and on
    unsigned int volts_ = 0;       ///< 10 mV
    unsigned int duty_ = 0;        ///< percent
    unsigned int fan_command_ = 0; ///< rpm; 0 = the duty cycle decides
    unsigned int firmware_ = 0x10;
};

} // namespace varnel::sim
