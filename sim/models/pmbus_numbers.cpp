// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pmbus_numbers.h"

#include <algorithm>
#include <cmath>

namespace varnel::sim {

namespace {

constexpr long least_mantissa = -1024;
constexpr long most_mantissa = 1023;
constexpr int least_exponent = -16;
constexpr int most_exponent = 15;
constexpr unsigned int mantissa_bits = 11;
constexpr unsigned int mantissa_mask = 0x7FF;
constexpr unsigned int mantissa_sign = 0x400;
constexpr unsigned int exponent_mask = 0x1F;
constexpr unsigned int exponent_sign = 0x10;
constexpr long most_steps = 0xFFFF;
constexpr double most_direct = INT16_MAX;
constexpr double least_direct = INT16_MIN;

long steps_of(double value, int exponent) { return std::lround(std::ldexp(value, -exponent)); }

/// Two's complement of 11 or 5 bits, of which `sign` is the highest.
int extended(unsigned int bits, unsigned int sign) {
    return static_cast<int>(bits ^ sign) - static_cast<int>(sign);
}

bool fits(long mantissa) { return mantissa >= least_mantissa && mantissa <= most_mantissa; }

} // namespace

uint16_t linear11(double value) {
    int exponent = least_exponent;
    while (exponent < most_exponent && !fits(steps_of(value, exponent))) {
        ++exponent;
    }
    const long mantissa = std::clamp(steps_of(value, exponent), least_mantissa, most_mantissa);
    return static_cast<uint16_t>((static_cast<unsigned int>(exponent) & exponent_mask) << mantissa_bits |
                                 (static_cast<unsigned int>(mantissa) & mantissa_mask));
}

double from_linear11(uint16_t word) {
    const unsigned int exponent = unsigned{word} >> mantissa_bits;
    return std::ldexp(extended(word & mantissa_mask, mantissa_sign), extended(exponent, exponent_sign));
}

uint16_t linear16(double volts, int exponent) {
    return static_cast<uint16_t>(std::clamp(steps_of(volts, exponent), 0L, most_steps));
}

double from_linear16(uint16_t word, int exponent) { return std::ldexp(word, exponent); }

uint16_t direct(double value, const direct_coefficients &by) {
    const double scaled = (by.m * value + by.b) * std::pow(10, by.r);
    return static_cast<uint16_t>(std::lround(std::clamp(scaled, least_direct, most_direct)));
}

double from_direct(uint16_t word, const direct_coefficients &by) {
    return (static_cast<int16_t>(word) * std::pow(10, -by.r) - by.b) / by.m;
}

uint16_t number_formats::word_of(chips::measure of, double value) const {
    if (all_direct) {
        return direct(value, coefficients(of));
    }
    return of == chips::measure::output_volts ? linear16(value, exponent) : linear11(value);
}

double number_formats::number_in(chips::measure of, uint16_t word) const {
    if (all_direct) {
        return from_direct(word, coefficients(of));
    }
    return of == chips::measure::output_volts ? from_linear16(word, exponent) : from_linear11(word);
}

} // namespace varnel::sim
