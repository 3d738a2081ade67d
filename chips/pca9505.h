// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array pca9505_registers{
    chip_register{.code = 0x00,
                  .name = "Input port bank",
                  .count = 5,
                  .numbers = numbering::from_zero,
                  .allowed = access::read,
                  .values = "pin levels"},
    chip_register{.code = 0x08,
                  .name = "Output port bank",
                  .count = 5,
                  .numbers = numbering::from_zero,
                  .power_on = 0x00},
    chip_register{.code = 0x10,
                  .name = "Polarity inversion bank",
                  .count = 5,
                  .numbers = numbering::from_zero,
                  .power_on = 0x00},
    chip_register{.code = 0x18,
                  .name = "I/O configuration bank",
                  .count = 5,
                  .numbers = numbering::from_zero,
                  .power_on = 0xFF,
                  .values = "1 = input"},
    chip_register{.code = 0x20,
                  .name = "Mask interrupt bank",
                  .count = 5,
                  .numbers = numbering::from_zero,
                  .power_on = 0xFF,
                  .values = "1 = masked"},
};

inline constexpr datasheet pca9505{
    .type = "pca9505",
    .title = "GPIO expander, 40 pins",
    .source = "NXP PCA9505 datasheet, command register",
    .registers = pca9505_registers,
    .flags = 0x80, // auto-increment
};

} // namespace varnel::chips
