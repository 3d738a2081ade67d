// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array<std::string_view, 8> ds3232_control_bits{"A1IE", "A2IE", "INTCN", "RS1",
                                                                     "RS2",  "CONV", "BBSQW", "EOSC"};
inline constexpr std::array<std::string_view, 8> ds3232_status_bits{"A1F",    "A2F",    "BSY",     "EN32kHz",
                                                                    "CRATE0", "CRATE1", "BB32kHz", "OSF"};

inline constexpr std::array ds3232_registers{
    chip_register{.code = 0x00, .name = "Seconds", .power_on = 0x00, .values = "BCD"},
    chip_register{.code = 0x01, .name = "Minutes", .power_on = 0x00, .values = "BCD"},
    chip_register{
        .code = 0x02, .name = "Hours", .power_on = 0x00, .values = "BCD; bit 6: 12-hour, then bit 5: PM"},
    chip_register{.code = 0x03, .name = "Day", .power_on = 0x01, .values = "BCD"},
    chip_register{.code = 0x04, .name = "Date", .power_on = 0x01, .values = "BCD"},
    chip_register{.code = 0x05, .name = "Month/Century", .power_on = 0x01, .values = "BCD; bit 7: century"},
    chip_register{.code = 0x06, .name = "Year", .power_on = 0x00, .values = "BCD"},
    chip_register{.code = 0x07, .name = "Alarm 1 seconds", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x08, .name = "Alarm 1 minutes", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x09, .name = "Alarm 1 hours", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x0A, .name = "Alarm 1 day/date", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x0B, .name = "Alarm 2 minutes", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x0C, .name = "Alarm 2 hours", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x0D, .name = "Alarm 2 day/date", .power_on = 0x00, .values = "BCD; bit 7: masked"},
    chip_register{.code = 0x0E, .name = "Control", .power_on = 0x1C, .bits = ds3232_control_bits},
    chip_register{.code = 0x0F, .name = "Control/status", .power_on = 0x88, .bits = ds3232_status_bits},
    chip_register{.code = 0x10, .name = "Aging offset", .has_sign = true, .power_on = 0x00},
    chip_register{.code = 0x11,
                  .name = "MSB of temperature",
                  .allowed = access::read,
                  .unit = "C",
                  .has_sign = true,
                  .values = "whole degrees"},
    chip_register{.code = 0x12,
                  .name = "LSB of temperature",
                  .allowed = access::read,
                  .values = "bits 7 and 6: quarter degrees"},
    chip_register{.code = 0x13, .name = "Reserved for test", .power_on = 0x00},
    chip_register{
        .code = 0x14, .name = "SRAM", .count = 236, .numbers = numbering::by_code, .power_on = 0x00},
};

inline constexpr datasheet ds3232{
    .type = "ds3232",
    .title = "real-time clock",
    .source = "Maxim DS3232 datasheet, address map",
    .registers = ds3232_registers,
};

} // namespace varnel::chips
