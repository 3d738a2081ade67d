// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array registers_registers{
    chip_register{
        .code = 0x00, .name = "Register", .count = 256, .numbers = numbering::by_code, .power_on = 0},
};

inline constexpr datasheet registers{
    .type = "registers",
    .title = "any chip with registers",
    .source = "the board file",
    .registers = registers_registers,
};

} // namespace varnel::chips
