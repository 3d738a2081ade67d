// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pca9548.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// PCA9548 and PCA9546: I2C multiplexers of eight and four channels (NXP datasheets).
[[nodiscard]] std::unique_ptr<chip> make_pca9548(const board_clock &clock);
[[nodiscard]] std::unique_ptr<chip> make_pca9546(const board_clock &clock);

} // namespace varnel::sim
