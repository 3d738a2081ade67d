// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/registers.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// A chip of 256 registers of 8 or 16 bits, which the board file describes: values, writable bits, gaps. It stands in for
/// chips that have no model.
[[nodiscard]] std::unique_ptr<chip> make_registers(const board_clock &clock);

} // namespace varnel::sim
