// SPDX-License-Identifier: Apache-2.0
#include "sim/models/power_stage.h"

#include <cmath>

namespace varnel::sim {

namespace {

constexpr double efficiency = 0.92;
constexpr double idle_power = 12;         // the supply's own electronics, while there is an input
constexpr double fan_full_power = 24;     // grows with the cube of the speed
constexpr double rise_per_loss = 0.11;    // degrees per watt at full air flow
constexpr double flow_without_fan = 0.03; // of full air flow
constexpr double temperature_lag = 60;    // seconds
constexpr double fan_lag = 1;             // seconds
constexpr double step_length = 0.1;       // seconds
constexpr double settled_degrees = 0.01;
constexpr double settled_speed = 1;

/// Moves `value` towards `target`, which it takes in the end. Returns whether it moved.
bool approach(double &value, double target, double lag, double settled) {
    if (value == target) {
        return false;
    }
    const double left = (value - target) * std::exp(-step_length / lag);
    value = std::abs(left) < settled ? target : target + left;
    return true;
}

} // namespace

bool power_stage::step() {
    const bool fan_moved = approach(fan_speed_, fan_seized ? 0 : fan_target, fan_lag, settled_speed);
    const bool temperature_moved =
        approach(temperature_, final_temperature(), temperature_lag, settled_degrees);
    return fan_moved || temperature_moved;
}

void power_stage::power_on() {
    temperature_ = ambient;
    fan_speed_ = fan_seized ? 0 : fan_target;
}

double power_stage::input_power() const {
    if (input_volts <= 0) {
        return 0;
    }
    const double fan = fan_full_power * std::pow(fan_speed_ / fan_full_speed, 3);
    return output_power() + losses() + fan;
}

/// The fan's own power leaves with the air.
double power_stage::losses() const {
    return (input_volts > 0 ? idle_power : 0) + output_power() * (1 / efficiency - 1);
}

double power_stage::final_temperature() const {
    const double flow = flow_without_fan + (1 - flow_without_fan) * fan_speed_ / fan_full_speed;
    return ambient + losses() * rise_per_loss / flow;
}

} // namespace varnel::sim
