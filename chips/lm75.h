// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

/// What is the same in the LM75 and its successors. Temperatures are in 1/256 degree.
constexpr std::array<chip_register, 4> thermometer_registers(std::string_view lower_limit,
                                                             std::string_view upper_limit,
                                                             std::span<const std::string_view> bits) {
    constexpr std::string_view order = "high byte first";
    return {
        chip_register{.code = 0, .name = "Temperature", .allowed = access::read, .bytes = 2, .values = order},
        chip_register{.code = 1, .name = "Configuration", .power_on = 0x00, .bits = bits},
        chip_register{
            .code = 2, .name = lower_limit, .bytes = 2, .power_on = 0x4B00, .values = order}, // 75 C
        chip_register{
            .code = 3, .name = upper_limit, .bytes = 2, .power_on = 0x5000, .values = order}}; // 80 C
}

inline constexpr std::array<std::string_view, 5> lm75_configuration_bits{
    "shutdown", "OS interrupt mode", "OS active high", "fault queue, low bit", "fault queue, high bit"};
inline constexpr auto lm75_registers = thermometer_registers("Thyst", "Tos", lm75_configuration_bits);

inline constexpr std::array<std::string_view, 8> tmp75_configuration_bits{"shutdown",
                                                                          "ALERT interrupt mode",
                                                                          "ALERT active high",
                                                                          "fault queue, low bit",
                                                                          "fault queue, high bit",
                                                                          "resolution, low bit",
                                                                          "resolution, high bit",
                                                                          "one conversion"};
inline constexpr auto tmp75_registers = thermometer_registers("T_LOW", "T_HIGH", tmp75_configuration_bits);

inline constexpr datasheet lm75{
    .type = "lm75",
    .title = "temperature sensor, 9 bits",
    .source = "NXP LM75B datasheet, register list, with 9 bits as in the LM75",
    .registers = lm75_registers,
};

inline constexpr datasheet tmp75{
    .type = "tmp75",
    .title = "temperature sensor, 9 to 12 bits",
    .source = "Texas Instruments TMP75 datasheet, pointer register",
    .registers = tmp75_registers,
};

} // namespace varnel::chips
