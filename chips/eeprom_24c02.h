// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array eeprom_24c02_registers{
    chip_register{
        .code = 0x00, .name = "Byte", .count = 256, .numbers = numbering::by_code, .power_on = 0xFF},
};

inline constexpr datasheet eeprom_24c02{
    .type = "24c02",
    .title = "EEPROM, 256 bytes",
    .source = "Atmel AT24C02 datasheet, device operation",
    .registers = eeprom_24c02_registers,
};

} // namespace varnel::chips
