// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array pca9555_registers{
    chip_register{.code = 0,
                  .name = "Input port",
                  .count = 2,
                  .numbers = numbering::from_zero,
                  .allowed = access::read,
                  .values = "pin levels"},
    chip_register{
        .code = 2, .name = "Output port", .count = 2, .numbers = numbering::from_zero, .power_on = 0xFF},
    chip_register{.code = 4,
                  .name = "Polarity inversion port",
                  .count = 2,
                  .numbers = numbering::from_zero,
                  .power_on = 0x00},
    chip_register{.code = 6,
                  .name = "Configuration port",
                  .count = 2,
                  .numbers = numbering::from_zero,
                  .power_on = 0xFF,
                  .values = "1 = input"},
};

inline constexpr datasheet pca9555{
    .type = "pca9555",
    .title = "GPIO expander, 16 pins",
    .source = "NXP PCA9555 datasheet, command byte",
    .registers = pca9555_registers,
};

} // namespace varnel::chips
