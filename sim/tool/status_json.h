// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sim/protocol/board_json.h"

namespace varnel::sim::tool {

/// A board's status as `show --json` prints it (docs/schema/varnel-sim-show.json): that of the control
/// message, with a chip's readings as one object. The key of a quantity ends with its unit,
/// "input_power_watts", and its number has the decimals that people see; other keys are the readings' names.
[[nodiscard]] std::string json_text(const server_status &status);

} // namespace varnel::sim::tool
