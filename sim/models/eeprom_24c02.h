// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/eeprom_24c02.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// 24C02: EEPROM of 256 bytes in pages of eight, write cycle 5 ms. Fresh from the factory: all FF.
[[nodiscard]] std::unique_ptr<chip> make_24c02(const board_clock &clock);

} // namespace varnel::sim
