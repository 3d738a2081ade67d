// SPDX-License-Identifier: Apache-2.0
// Numbers, times, sizes and bytes as users write them.
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "host/command_line.h"
#include "host/duration.h"
#include "host/hex.h"
#include "host/numbers.h"

namespace varnel::host {
namespace {

constexpr uint64_t largest = std::numeric_limits<uint64_t>::max();

template <typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const bad_usage &refused) {
        return refused.what();
    }
    return "accepted";
}

TEST(numbers, are_decimal_or_hexadecimal) {
    EXPECT_EQ(whole_number<uint8_t>("226"), 226);
    EXPECT_EQ(whole_number<uint8_t>("0xe2"), 226);
    EXPECT_EQ(whole_number<uint8_t>("0XE2"), 226);
    EXPECT_EQ(whole_number<uint8_t>("010"), 10);
    EXPECT_EQ(whole_number<int>("-3"), -3);
    EXPECT_EQ(whole_number<uint64_t>("18446744073709551615"), largest);
}

TEST(numbers, are_the_whole_text) {
    for (const char *const text : {"", " 1", "1 ", "+1", "0x", "0xg", "x1", "1.5", "0x-1", "--1"}) {
        EXPECT_EQ(whole_number<int>(text), std::nullopt) << text;
    }
    EXPECT_EQ(whole_number<uint8_t>("256"), std::nullopt);
    EXPECT_EQ(whole_number<uint64_t>("18446744073709551616"), std::nullopt);
    EXPECT_EQ(whole_number<unsigned int>("-1"), std::nullopt);
}

TEST(numbers, real_ones_are_decimal) {
    EXPECT_EQ(real_number("0.25"), 0.25);
    EXPECT_EQ(real_number("1x"), std::nullopt);
    EXPECT_EQ(real_number(""), std::nullopt);
}

TEST(numbers, outside_the_range_are_refused_with_it) {
    EXPECT_EQ(c_number("8", {1, 8}, "COUNT"), 8U);
    EXPECT_EQ(refusal([] {
                  return c_number("0", {1, 8}, "COUNT");
              }),
              "COUNT: '0' is not a number from 1 to 8");
    EXPECT_EQ(refusal([] { return c_number("0x100", 255, "BYTE"); }),
              "BYTE: '0x100' is not a number from 0 to 255 (0xff)");
    EXPECT_EQ(refusal([] { return c_number("16", 15, "PIN"); }), "PIN: '16' is not a number from 0 to 15");
    EXPECT_EQ(refusal([] { return c_number("x", largest, "--seed"); }), "--seed: 'x' is not a whole number");
    EXPECT_EQ(refusal([] {
                  return c_number("0", {1, largest}, "--count");
              }),
              "--count: '0' is not a whole number of 1 or more");
}

TEST(sizes, have_units_of_1024) {
    EXPECT_EQ(size_in_bytes("4096", "SIZE"), 4096U);
    EXPECT_EQ(size_in_bytes("0x10K", "SIZE"), 16384U);
    EXPECT_EQ(size_in_bytes("2M", "SIZE"), 2097152U);
    EXPECT_EQ(size_in_bytes("1G", "SIZE"), 1073741824U);
    for (const char *const text : {"", "K", "1k", "1KB", "17179869184G"}) {
        EXPECT_EQ(refusal([&] { return size_in_bytes(text, "--limit"); }),
                  "--limit: '" + std::string(text) + "' is not a size, such as 4096, 64K or 1M");
    }
}

TEST(durations, have_a_unit) {
    using namespace std::chrono_literals;
    EXPECT_EQ(duration("500ms"), 500ms);
    EXPECT_EQ(duration("1.5s"), 1500ms);
    EXPECT_EQ(duration("1440m"), 24h);
    for (const char *const text : {"", "5", "s", "0s", "-1s", "0.5ms", "1441m", "1 s", "1h", "..s"}) {
        EXPECT_EQ(duration(text), std::nullopt) << text;
    }
}

TEST(hexadecimal, has_two_digits_a_byte) {
    const std::vector<uint8_t> bytes{0x01, 0xFF, 0xA0};
    EXPECT_EQ(hex(bytes), "01ffa0");
    EXPECT_EQ(hex(bytes, " "), "01 ff a0");
    EXPECT_EQ(hex(uint8_t{0x0B}), "0b");
    EXPECT_EQ(bytes_from_hex("01ffA0"), bytes);
    EXPECT_EQ(bytes_from_hex("01 ff a0"), bytes);
    EXPECT_EQ(bytes_from_hex("0x01 0xff 0xA0"), bytes);
    EXPECT_EQ(bytes_from_hex(""), std::vector<uint8_t>());
    for (const char *const text : {"1", "1 2", "012", "0x", "0g", "01,02", "0x1", "-1"}) {
        EXPECT_EQ(bytes_from_hex(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace varnel::host
