// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chips/pca9541.h"
#include "sim/models/chip.h"

namespace varnel::sim {

/// PCA9541 selector of one of two masters (NXP datasheet), the variant that connects neither at power-on
/// (/03). Ports 0 and 1 are the masters; there is one downstream segment.
[[nodiscard]] std::unique_ptr<chip> make_pca9541(const board_clock &clock);

} // namespace varnel::sim
