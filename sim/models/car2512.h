// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/car2512.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// CAR2512 power supply: PMBus commands in front of a power_stage. Faults latch as PMBus 1.2 Part II has it.
/// Write-protected at power-on.
[[nodiscard]] std::unique_ptr<chip> make_car2512(const board_clock &clock);

} // namespace varnel::sim
