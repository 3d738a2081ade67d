// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel::sim {

/// A value in the LINEAR11 format (PMBus 1.2 Part II, 7.1): a mantissa of 11 bits times a power of two, with the smallest
/// step that can hold the value.
[[nodiscard]] uint16_t linear11(double value);

/// A voltage in the LINEAR16 format (PMBus 1.2 Part II, 8.3.1), in steps of two to the power of `exponent`.
[[nodiscard]] uint16_t linear16(double volts, int exponent);

/// What VOUT_MODE says of that format.
constexpr uint8_t vout_mode_of(int exponent) { return static_cast<uint8_t>(exponent & 0x1F); }

} // namespace varnel::sim
