// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pca9505.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// PCA9505 GPIO expander: five banks of eight pins (NXP datasheet, register summary).
[[nodiscard]] std::unique_ptr<chip> make_pca9505(const board_clock &clock);

} // namespace varnel::sim
