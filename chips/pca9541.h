// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr std::array<std::string_view, 4> pca9541_interrupt_enable_bits{"INTIN", "BUSINIT", "BUSOK",
                                                                               "BUSLOST"};
inline constexpr std::array<std::string_view, 8> pca9541_control_bits{
    "MYBUS", "NMYBUS", "BUSON", "NBUSON", "BUSINIT", "", "TESTON", "NTESTON"};
inline constexpr std::array<std::string_view, 8> pca9541_interrupt_status_bits{
    "INTIN", "BUSINIT", "BUSOK", "BUSLOST", "", "", "MYTEST", "NMYTEST"};

inline constexpr std::array pca9541_registers{
    chip_register{.code = 0,
                  .name = "Interrupt enable",
                  .power_on = 0x00,
                  .values = "1 = masked",
                  .bits = pca9541_interrupt_enable_bits},
    chip_register{.code = 1, .name = "Control", .power_on = 0x00, .bits = pca9541_control_bits},
    chip_register{
        .code = 2, .name = "Interrupt status", .power_on = 0x00, .bits = pca9541_interrupt_status_bits},
};

/// The variant that connects neither master at power-on (/03), as master 0 sees it.
inline constexpr datasheet pca9541{
    .type = "pca9541",
    .title = "selector of one of two masters",
    .source = "NXP PCA9541 datasheet, register descriptions",
    .registers = pca9541_registers,
    .flags = 0x10, // auto-increment
};

} // namespace varnel::chips
