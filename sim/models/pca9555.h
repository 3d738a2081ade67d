// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pca9554.h"
#include "chips/pca9555.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// PCA9555 and PCA9554: GPIO expanders of sixteen and eight pins (NXP datasheets, register tables).
[[nodiscard]] std::unique_ptr<chip> make_pca9555(const board_clock &clock);
[[nodiscard]] std::unique_ptr<chip> make_pca9554(const board_clock &clock);

} // namespace varnel::sim
