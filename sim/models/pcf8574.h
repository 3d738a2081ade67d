// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pcf8574.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// PCF8574: GPIO expander of eight quasi-bidirectional pins, without registers (NXP datasheet).
[[nodiscard]] std::unique_ptr<chip> make_pcf8574(const board_clock &clock);

} // namespace varnel::sim
