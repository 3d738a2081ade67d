// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "chips/pmbus_supply.h"

namespace varnel::sim {

/// A value in the LINEAR11 format (PMBus 1.2 Part II, 7.1): a mantissa of 11 bits times a power of two, with the smallest
/// step that can hold the value.
[[nodiscard]] uint16_t linear11(double value);
[[nodiscard]] double from_linear11(uint16_t word);

/// A voltage in the LINEAR16 format (PMBus 1.2 Part II, 8.3.1), in steps of two to the power of `exponent`.
[[nodiscard]] uint16_t linear16(double volts, int exponent);
[[nodiscard]] double from_linear16(uint16_t word, int exponent);

/// What VOUT_MODE says of that format.
constexpr uint8_t vout_mode_of(int exponent) { return static_cast<uint8_t>(exponent & 0x1F); }

/// Those of the DIRECT format (PMBus 1.2 Part II, 7.2): a value X is (m X + b) 10^R.
struct direct_coefficients {
    int m = 1;
    int b = 0;
    int r = 0;
};
[[nodiscard]] uint16_t direct(double value, const direct_coefficients &by);
[[nodiscard]] double from_direct(uint16_t word, const direct_coefficients &by);

/// The formats in which a supply reports and takes numbers: LINEAR16 for output voltages and LINEAR11 for the others, or DIRECT
/// for all.
class number_formats {
  public:
    bool all_direct = false;
    int exponent = -9; ///< of LINEAR16

    [[nodiscard]] direct_coefficients &coefficients(chips::measure of) {
        return coefficients_.at(static_cast<std::size_t>(of));
    }
    [[nodiscard]] const direct_coefficients &coefficients(chips::measure of) const {
        return coefficients_.at(static_cast<std::size_t>(of));
    }
    [[nodiscard]] uint8_t vout_mode() const { return all_direct ? 0x40 : vout_mode_of(exponent); }
    [[nodiscard]] uint16_t word_of(chips::measure of, double value) const;
    [[nodiscard]] double number_in(chips::measure of, uint16_t word) const;

  private:
    /// In the order of the enumeration: steps of 1 mV, 10 mV, 10 mA, 100 mW, 10 mK, 1 rpm.
    std::array<direct_coefficients, chips::measures> coefficients_{
        {{1, 0, 3}, {1, 0, 2}, {1, 0, 2}, {1, 0, 1}, {1, 0, 2}, {1, 0, 0}}};
};

} // namespace varnel::sim
