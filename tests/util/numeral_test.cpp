// SPDX-License-Identifier: Apache-2.0
#include "varnel/numeral.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/assertion_lines.h"

namespace {

constexpr uint64_t eight_bytes = 0x1122334455667788;
constexpr uint64_t all_ones = std::numeric_limits<uint64_t>::max();

uint64_t with_bits(uint64_t integer, uint8_t a, uint8_t b, uint64_t value) {
    set_bits_value(&integer, a, b, value);
    return integer;
}

TEST(host_byte_order, is_0_on_a_little_endian_host) { EXPECT_EQ(get_host_byte_order(), 0U); }

TEST(byte_order_convert, different_orders_reverse_the_bytes_of_the_size) {
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 1, 0), 0x88U);
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 1, 1), 0x8877U);
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 1, 2), 0x88776655U);
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 1, 3), 0x8877665544332211U);
}

TEST(byte_order_convert, any_two_different_codes_reverse) {
    EXPECT_EQ(numeral_value_byte_order_convert(0x1234, 1, 0, 1), 0x3412U);
    EXPECT_EQ(numeral_value_byte_order_convert(0x1234, 7, 0xFFFFFFFF, 1), 0x3412U);
}

TEST(byte_order_convert, equal_orders_truncate_to_the_size) {
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 0, 0), 0x88U);
    EXPECT_EQ(numeral_value_byte_order_convert(0x12345, 5, 5, 1), 0x2345U);
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 1, 1, 2), 0x55667788U);
    EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 1, 1, 3), eight_bytes);
}

TEST(byte_order_convert, unknown_size_keeps_the_value_or_returns_its_low_byte) {
    for (const uint32_t size_code : {4U, 5U, 64U, 0xFFFFFFFFU}) {
        EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 2, 2, size_code), eight_bytes);
        EXPECT_EQ(numeral_value_byte_order_convert(eight_bytes, 0, 1, size_code), 0x88U);
    }
}

TEST(byte_order_convert, every_order_and_width_matches_a_byte_by_byte_conversion) {
    const std::vector<uint32_t> orders{0, 1, 2, 3, 0x7FFFFFFF, 0xFFFFFFFF};
    for (const uint32_t from : orders) {
        for (const uint32_t to : orders) {
            for (uint32_t size_code = 0; size_code < 4; ++size_code) {
                const unsigned int size = 1U << size_code;
                uint64_t expected = 0;
                for (unsigned int i = 0; i < size; ++i) {
                    const unsigned int target = from == to ? i : size - 1 - i;
                    expected |= (eight_bytes >> 8 * i & 0xFF) << 8 * target;
                }
                ASSERT_EQ(numeral_value_byte_order_convert(eight_bytes, from, to, size_code), expected);
            }
        }
    }
}

TEST(get_bits, ends_may_be_given_in_either_order) {
    EXPECT_EQ(get_bits_value(0xF0, 7, 4), 0xFU);
    EXPECT_EQ(get_bits_value(0xF0, 4, 7), 0xFU);
}

/// Calls `check` with each pair of ends, and with the bits that are between both and exist.
template <class callable>
void for_each_field(callable check) {
    for (unsigned int a = 0; a < 256; ++a) {
        for (unsigned int b = 0; b < 256; ++b) {
            std::vector<unsigned int> field;
            for (unsigned int bit = std::min(a, b); bit <= std::max(a, b) && bit < 64; ++bit) {
                field.push_back(bit);
            }
            ASSERT_NO_FATAL_FAILURE(check(static_cast<uint8_t>(a), static_cast<uint8_t>(b), field));
        }
    }
}

TEST(get_bits, every_field_matches_a_bit_by_bit_reading) {
    const uint64_t pattern = 0xA5C3'9669'0FF0'1248;
    for_each_field([](uint8_t a, uint8_t b, const std::vector<unsigned int> &field) {
        uint64_t expected = 0;
        for (std::size_t i = 0; i < field.size(); ++i) {
            expected |= (pattern >> field[i] & 1) << i;
        }
        ASSERT_EQ(get_bits_value(pattern, a, b), expected) << unsigned{a} << ", " << unsigned{b};
    });
}

TEST(get_bits, reads_all_64_bits) { EXPECT_EQ(get_bits_value(eight_bytes, 0, 63), eight_bytes); }

TEST(get_bits, upper_end_above_63_counts_as_63) {
    EXPECT_EQ(get_bits_value(eight_bytes, 70, 0), eight_bytes);
    EXPECT_EQ(get_bits_value(all_ones, 255, 60), 0xFU);
}

TEST(get_bits, both_ends_above_63_select_nothing) {
    EXPECT_EQ(get_bits_value(all_ones, 64, 64), 0U);
    EXPECT_EQ(get_bits_value(all_ones, 64, 255), 0U);
    EXPECT_EQ(get_bits_value(all_ones, 255, 255), 0U);
}

TEST(set_bits, writes_the_field_and_keeps_the_rest) {
    EXPECT_EQ(with_bits(0xFFFF, 4, 7, 0), 0xFF0FU);
    EXPECT_EQ(with_bits(0, 63, 56, 0xAB), 0xAB00000000000000U);
    EXPECT_EQ(with_bits(0, 9, 9, 1), 0x200U);
    EXPECT_EQ(with_bits(all_ones, 9, 9, 0), ~uint64_t{0x200});
}

TEST(set_bits, every_field_matches_a_bit_by_bit_writing) {
    const uint64_t pattern = 0x5A3C'6996'F00F'8421;
    const uint64_t value = 0xA5C3'9669'0FF0'1248;
    for_each_field([](uint8_t a, uint8_t b, const std::vector<unsigned int> &field) {
        uint64_t expected = pattern;
        for (std::size_t i = 0; i < field.size(); ++i) {
            expected &= ~(uint64_t{1} << field[i]);
            expected |= (value >> i & 1) << field[i];
        }
        const uint64_t fitting = field.empty() ? 0 : value & all_ones >> (64 - field.size());
        ASSERT_EQ(with_bits(pattern, a, b, fitting), expected) << unsigned{a} << ", " << unsigned{b};
    });
}

TEST(set_bits, value_is_not_masked_to_the_field) { EXPECT_EQ(with_bits(0, 4, 7, 0x1F), 0x1F0U); }

TEST(set_bits, writes_all_64_bits) { EXPECT_EQ(with_bits(all_ones, 63, 0, eight_bytes), eight_bytes); }

TEST(set_bits, upper_end_above_63_counts_as_63) { EXPECT_EQ(with_bits(all_ones, 200, 8, 0), 0xFFU); }

TEST(set_bits, both_ends_above_63_change_nothing) {
    EXPECT_EQ(with_bits(eight_bytes, 64, 64, all_ones), eight_bytes);
    EXPECT_EQ(with_bits(eight_bytes, 255, 64, all_ones), eight_bytes);
}

TEST(set_bits_DeathTest, null_integer_ends_the_process) {
    EXPECT_EXIT(set_bits_value(nullptr, 0, 0, 0), ::testing::KilledBySignal(SIGABRT),
                varnel::test::assertion_message("numeral", "set_bits_value",
                                                "operated_integer != \\(\\(void \\*\\)0\\)"));
}

TEST(byte_order, value_of_eight_bytes_is_unchanged_in_the_same_order) {
    for (const uint32_t size_code : {3U, 4U, 0xFFFFFFFFU}) {
        EXPECT_EQ(numeral_value_byte_order_convert(~uint64_t{0}, 0, 0, size_code), ~uint64_t{0});
    }
}

} // namespace
