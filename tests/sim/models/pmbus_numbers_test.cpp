// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pmbus_numbers.h"

#include <gtest/gtest.h>

namespace varnel::sim::test {
namespace {

TEST(pmbus_linear11, holds_whole_and_broken_numbers_in_the_smallest_step) {
    EXPECT_EQ(linear11(0), 0x8000);
    EXPECT_EQ(linear11(1), 0xBA00);     // 512 * 2^-9: 1024 * 2^-10 does not fit
    EXPECT_EQ(linear11(230), 0xF398);   // 920 * 2^-2
    EXPECT_EQ(linear11(25.25), 0xDB28); // 808 * 2^-5
    EXPECT_EQ(linear11(10000), 0x2271); // 625 * 2^4
    EXPECT_EQ(linear11(1023), 0x03FF);  // 1023 * 2^0
    EXPECT_EQ(linear11(1024), 0x0A00);  // 512 * 2^1
}

TEST(pmbus_linear11, holds_negative_numbers) {
    EXPECT_EQ(linear11(-40), 0xE580);   // -640 * 2^-4
    EXPECT_EQ(linear11(-1024), 0x0400); // -1024 * 2^0
}

TEST(pmbus_linear11, ends_at_the_largest_numbers) {
    EXPECT_EQ(linear11(1e9), 0x7BFF);  // 1023 * 2^15
    EXPECT_EQ(linear11(-1e9), 0x7C00); // -1024 * 2^15
}

TEST(pmbus_linear16, counts_steps) {
    EXPECT_EQ(linear16(12, -9), 6144);
    EXPECT_EQ(linear16(12.001, -9), 6145);
    EXPECT_EQ(linear16(-1, -9), 0);
    EXPECT_EQ(linear16(200, -9), 0xFFFF);
    EXPECT_EQ(vout_mode_of(-9), 0x17);
}

TEST(pmbus_numbers, are_what_their_words_say) {
    for (const double value : {0.0, 1.0, -40.0, 25.25, 230.0, 10000.0, -1024.0}) {
        EXPECT_EQ(from_linear11(linear11(value)), value);
    }
    EXPECT_EQ(from_linear16(6145, -9), 6145 / 512.0);
    EXPECT_EQ(from_linear16(0xFFFF, -9), 0xFFFF / 512.0);
}

TEST(pmbus_direct, is_a_line_scaled_by_a_power_of_ten) {
    EXPECT_EQ(direct(12, {1, 0, 3}), 12000);
    EXPECT_EQ(direct(12, {200, -300, -1}), 210);
    EXPECT_EQ(direct(-5, {1, 0, 2}), 0xFE0C); // -500
    EXPECT_EQ(direct(1e6, {1, 0, 3}), 0x7FFF);
    EXPECT_EQ(direct(-1e6, {1, 0, 3}), 0x8000);
    EXPECT_EQ(from_direct(210, {200, -300, -1}), 12);
    EXPECT_EQ(from_direct(0xFE0C, {1, 0, 2}), -5);
}

} // namespace
} // namespace varnel::sim::test
