// SPDX-License-Identifier: Apache-2.0
#include "sim/models/reading.h"

#include <gtest/gtest.h>

namespace varnel::sim::test {
namespace {

TEST(reading, quantities_are_printed_with_their_decimals_and_unit) {
    EXPECT_EQ(text_of(measurement{12, unit::volts, 2}), "12.00 V");
    EXPECT_EQ(text_of(measurement{-5.25, unit::celsius, 1}), "-5.2 C");
    EXPECT_EQ(text_of(measurement{180, unit::watts, 1}), "180.0 W");
    EXPECT_EQ(text_of(measurement{10000.4, unit::rpm, 0}), "10000 rpm");
    EXPECT_EQ(text_of(measurement{50, unit::percent, 0}), "50 %");
}

TEST(reading, registers_are_printed_in_hexadecimal) {
    EXPECT_EQ(text_of(register_value{0x80, 2}), "0x80");
    EXPECT_EQ(text_of(register_value{0x1A, 4}), "0x001a");
}

TEST(reading, text_is_printed_unchanged) {
    EXPECT_EQ(text_of(reading_value("off (tripped)")), "off (tripped)");
}

TEST(reading, units_have_their_names) {
    EXPECT_EQ(name_of(unit::volts), "volts");
    EXPECT_EQ(name_of(unit::percent), "percent");
}

} // namespace
} // namespace varnel::sim::test
