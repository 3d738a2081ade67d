// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/ds3232.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// DS3232 real-time clock with alarms, temperature sensor and SRAM (Maxim datasheet, timekeeping registers).
[[nodiscard]] std::unique_ptr<chip> make_ds3232(const board_clock &clock);

} // namespace varnel::sim
