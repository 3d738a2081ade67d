// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/eeprom_24c.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// EEPROMs with a write cycle of 5 ms. Fresh from the factory: all FF.
[[nodiscard]] std::unique_ptr<chip> make_24c02(const board_clock &clock);
[[nodiscard]] std::unique_ptr<chip> make_24c64(const board_clock &clock);
[[nodiscard]] std::unique_ptr<chip> make_24c256(const board_clock &clock);

} // namespace varnel::sim
