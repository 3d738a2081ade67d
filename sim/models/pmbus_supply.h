// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pmbus_supply.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// Any power supply with PMBus: as many outputs as its settings say, with LINEAR or DIRECT numbers.
[[nodiscard]] std::unique_ptr<chip> make_pmbus_supply(const board_clock &clock);

} // namespace varnel::sim
