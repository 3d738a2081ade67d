// SPDX-License-Identifier: Apache-2.0
#include "sim/models/settings.h"

#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

constexpr quantity load{"W", 0, 5000};

template <class Call>
std::string refusal_of(Call call) {
    try {
        call();
    } catch (const bad_setting &refused) {
        return refused.what();
    }
    return "accepted";
}

TEST(settings, quantity_is_read_with_and_without_a_unit) {
    EXPECT_EQ(parse_quantity("load", "180", load), 180);
    EXPECT_EQ(parse_quantity("load", "180W", load), 180);
    EXPECT_EQ(parse_quantity("load", "180 W", load), 180);
    EXPECT_EQ(parse_quantity("load", "1.5kW", load), 1500);
    EXPECT_EQ(parse_quantity("load", "500 mW", load), 0.5);
    EXPECT_EQ(parse_quantity("ambient", "-5.5C", {"C", -40, 85}), -5.5);
}

TEST(settings, refused_quantity_names_setting_and_value) {
    for (const std::string_view value :
         {"", "W", "18oW", "180V", "180WW", "180GW", "-1", "5001", "5.1kW", "nan", "inf", "k"}) {
        EXPECT_EQ(refusal_of([&] { (void)parse_quantity("load", value, load); }),
                  "load: cannot be '" + std::string(value) + "' (expected 0 to 5000W)");
    }
}

TEST(settings, numbers_are_decimal_or_hexadecimal) {
    EXPECT_EQ(parse_number("firmware", "18", 255), 18U);
    EXPECT_EQ(parse_number("firmware", "0xfF", 255), 255U);
    for (const std::string_view value : {"", "0x", "256", "-1", "1.0", "ff", "0x100"}) {
        EXPECT_EQ(refusal_of([&] { (void)parse_number("firmware", value, 255); }),
                  "firmware: cannot be '" + std::string(value) + "' (expected 0 to 255)");
    }
}

TEST(settings, refused_choice_lists_the_choices) {
    EXPECT_EQ(parse_choice("fan", "stopped", {"ok", "stopped"}), 1U);
    EXPECT_EQ(refusal_of([] {
                  (void)parse_choice("fan", "fast", {"ok", "stopped"});
              }),
              "fan: cannot be 'fast' (expected ok or stopped)");
}

} // namespace
} // namespace varnel::sim::test
