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

// Two bytes address a byte of these, so no single one selects a register.
inline constexpr datasheet eeprom_24c64{
    .type = "24c64",
    .title = "EEPROM, 8 KiB",
    .source = "Atmel AT24C64D datasheet, device operation",
};

inline constexpr datasheet eeprom_24c256{
    .type = "24c256",
    .title = "EEPROM, 32 KiB",
    .source = "Atmel AT24C256C datasheet, device operation",
};

} // namespace varnel::chips
