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

TEST(settings, quantity_with_and_without_unit) {
    EXPECT_EQ(parse_quantity("load", "180", load), 180);
    EXPECT_EQ(parse_quantity("load", "180W", load), 180);
    EXPECT_EQ(parse_quantity("load", "180 W", load), 180);
    EXPECT_EQ(parse_quantity("load", "1.5kW", load), 1500);
    EXPECT_EQ(parse_quantity("load", "500 mW", load), 0.5);
    EXPECT_EQ(parse_quantity("ambient", "-5.5C", {"C", -40, 85}), -5.5);
}

TEST(settings, quantity_that_is_refused_names_setting_and_value) {
    for (const std::string_view value :
         {"", "W", "18oW", "180V", "180WW", "180GW", "-1", "5001", "5.1kW", "nan", "inf", "k"}) {
        EXPECT_EQ(refusal_of([&] { (void)parse_quantity("load", value, load); }),
                  "load: cannot be \"" + std::string(value) + "\" (expected 0 to 5000W)");
    }
}

TEST(settings, numbers_are_decimal_or_hexadecimal) {
    EXPECT_EQ(parse_number("firmware", "18", 255), 18U);
    EXPECT_EQ(parse_number("firmware", "0xfF", 255), 255U);
    for (const std::string_view value : {"", "0x", "256", "-1", "1.0", "ff", "0x100"}) {
        EXPECT_EQ(refusal_of([&] { (void)parse_number("firmware", value, 255); }),
                  "firmware: cannot be \"" + std::string(value) + "\" (expected 0 to 255)");
    }
}

TEST(settings, choice_lists_what_there_is) {
    EXPECT_EQ(parse_choice("fan", "stopped", {"ok", "stopped"}), 1U);
    EXPECT_EQ(refusal_of([] {
                  (void)parse_choice("fan", "fast", {"ok", "stopped"});
              }),
              "fan: cannot be \"fast\" (expected ok or stopped)");
}

TEST(settings, every_type_makes_a_chip_of_that_type) {
    const hand_clock clock;
    EXPECT_THAT(chip_types(), testing::ElementsAre("24c02", "car2512", "ds3232", "pca9505", "pca9541",
                                                   "pca9546", "pca9548", "pca9554", "pca9555"));
    for (const std::string_view type : chip_types()) {
        const auto part = make_chip(type, clock);
        EXPECT_EQ(part->type(), type);
        EXPECT_FALSE(part->readings().empty()) << type;
        EXPECT_THROW(part->set("no-such-setting", "1"), bad_setting) << type;
    }
}

TEST(settings, what_can_be_set_says_so) {
    const hand_clock clock;
    for (const std::string_view type : chip_types()) {
        const auto part = make_chip(type, clock);
        for (const reading &each : part->readings()) {
            const std::string text = refusal_of([&] { part->set(each.name, "nonsense"); });
            EXPECT_EQ(text.starts_with(each.name + ": "), each.settable) << type << ": " << text;
        }
    }
}

TEST(settings, unknown_type_is_refused_with_the_known_ones) {
    const hand_clock clock;
    EXPECT_EQ(
        refusal_of([&] { (void)make_chip("pca9999", clock); }),
        "type: cannot be \"pca9999\" (expected 24c02, car2512, ds3232, pca9505, pca9541, pca9546, pca9548, "
        "pca9554, pca9555)");
}

} // namespace
} // namespace varnel::sim::test
