// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/models/power_stage.h"
#include "sim/models/settings.h"

namespace varnel::sim {

/// Changes what surrounds a power stage by the settings that all supplies have: ambient, fan, input. Returns whether this is one.
/// Throws bad_setting; nothing is changed then.
inline bool set_surroundings(power_stage &stage, std::string_view name, std::string_view value) {
    constexpr quantity ambient_range{"C", -40, 100};
    constexpr quantity input_range{"V", 0, 300, "lost, or "};
    if (name == "ambient") {
        stage.ambient = parse_quantity(name, value, ambient_range);
    } else if (name == "fan") {
        stage.fan_seized = parse_choice(name, value, {"ok", "stopped"}) == 1;
    } else if (name == "input") {
        stage.input_volts = value == "lost" ? 0 : parse_quantity(name, value, input_range);
    } else {
        return false;
    }
    return true;
}

} // namespace varnel::sim
