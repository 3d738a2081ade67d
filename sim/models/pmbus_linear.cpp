// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pmbus_linear.h"

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
constexpr unsigned int exponent_mask = 0x1F;
constexpr long most_steps = 0xFFFF;

long steps_of(double value, int exponent) { return std::lround(std::ldexp(value, -exponent)); }

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

uint16_t linear16(double volts, int exponent) {
    return static_cast<uint16_t>(std::clamp(steps_of(volts, exponent), 0L, most_steps));
}

} // namespace varnel::sim
