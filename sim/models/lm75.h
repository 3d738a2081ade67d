// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/lm75.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// LM75 and TMP75 temperature sensors, with their OS or ALERT output. Conversions take no time.
[[nodiscard]] std::unique_ptr<chip> make_lm75(const board_clock &clock);
[[nodiscard]] std::unique_ptr<chip> make_tmp75(const board_clock &clock);

} // namespace varnel::sim
