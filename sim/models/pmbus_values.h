// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace varnel::sim {

// OPERATION (PMBus 1.2 Part II, 12.1)
inline constexpr unsigned int output_on = 0x80;
inline constexpr unsigned int output_off = 0x00;
inline constexpr unsigned int output_off_softly = 0x40;

[[nodiscard]] constexpr bool is_operation(unsigned int data) {
    return data == output_on || data == output_off || data == output_off_softly;
}

// WRITE_PROTECT (11.1): what can still be written, apart from WRITE_PROTECT itself
inline constexpr unsigned int protect_all = 0x80;
inline constexpr unsigned int protect_but_operation = 0x40;
inline constexpr unsigned int protect_but_operation_and_voltage = 0x20;
inline constexpr unsigned int protect_nothing = 0x00;

[[nodiscard]] constexpr bool is_protection(unsigned int data) {
    return data == protect_all || data == protect_but_operation ||
           data == protect_but_operation_and_voltage || data == protect_nothing;
}

} // namespace varnel::sim
