// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

namespace varnel::sim {

/// What a power supply's control electronics measure and steer, in volts, watts, degrees Celsius and turns
/// per minute. Simple physics: the losses heat, the fan cools, both with a lag.
class power_stage {
  public:
    // What surrounds the supply.
    double load = 0; ///< drawn from the output while that is on
    double ambient = 25;
    double input_volts = 230;
    bool fan_seized = false;

    // What the control electronics steer.
    bool output_on = false;
    double fan_target = 0;

    static constexpr double fan_full_speed = 20000;

    /// Time passes, in steps of a tenth of a second. Returns false when nothing changes any more.
    bool step();
    /// What surrounds the supply or steers it has changed: a seized fan stands at once.
    void settle_fan() { fan_speed_ = fan_seized ? 0 : fan_speed_; }
    /// As warm as the surroundings, fan at its target.
    void power_on();

    [[nodiscard]] double temperature() const { return temperature_; }
    [[nodiscard]] double fan_speed() const { return fan_speed_; }
    [[nodiscard]] double output_power() const { return output_on ? load : 0; }
    [[nodiscard]] double input_power() const;

  private:
    [[nodiscard]] double losses() const;
    [[nodiscard]] double final_temperature() const;

    double temperature_ = ambient;
    double fan_speed_ = 0;
};

/// Lets the time of a stage pass, up to `now`; `stepped_to` is how far it is. `after_step` follows each step. Once nothing moves any
/// more, the rest of the time takes no work.
template <class AfterStep>
void catch_up(power_stage &stage, std::chrono::nanoseconds &stepped_to, std::chrono::nanoseconds now,
              AfterStep after_step) {
    constexpr std::chrono::milliseconds step_time(100);
    auto steps = (now - stepped_to) / step_time;
    stepped_to += steps * step_time;
    for (bool moving = true; moving && steps > 0; --steps) {
        moving = stage.step();
        after_step();
    }
}

} // namespace varnel::sim
