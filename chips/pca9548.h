// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr unsigned int pca9548_channels = 8;
inline constexpr unsigned int pca9546_channels = 4;

inline constexpr datasheet pca9548{
    .type = "pca9548",
    .title = "multiplexer, 8 channels",
    .source = "NXP PCA9548A datasheet, control register",
    .channels = pca9548_channels,
};

inline constexpr datasheet pca9546{
    .type = "pca9546",
    .title = "multiplexer, 4 channels",
    .source = "NXP PCA9546A datasheet, control register",
    .channels = pca9546_channels,
};

} // namespace varnel::chips
