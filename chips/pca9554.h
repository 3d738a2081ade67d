// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array pca9554_registers{
    chip_register{.code = 0, .name = "Input port", .allowed = access::read, .values = "pin levels"},
    chip_register{.code = 1, .name = "Output port", .power_on = 0xFF},
    chip_register{.code = 2, .name = "Polarity inversion", .power_on = 0x00},
    chip_register{.code = 3, .name = "Configuration", .power_on = 0xFF, .values = "1 = input"},
};

inline constexpr datasheet pca9554{
    .type = "pca9554",
    .title = "GPIO expander, 8 pins",
    .source = "NXP PCA9554 datasheet, command byte",
    .registers = pca9554_registers,
};

} // namespace varnel::chips
