// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

/// The example of a plug-in.
class sim_plugin : public chip_bench {
  public:
    sim_plugin() : chip_bench(LM75) {}
};

TEST_F(sim_plugin, has_the_type_of_its_file_and_the_title_of_its_model) {
    EXPECT_EQ(part->type(), "lm75");
    EXPECT_EQ(part->sheet().title, "temperature sensor");
    EXPECT_EQ(part->ports(), 1U);
    EXPECT_EQ(part->segments(), 0U);
}

TEST_F(sim_plugin, is_read_and_written_on_its_bus) {
    EXPECT_EQ(read_from(0, 3), (bytes{0x19, 0x00, 0x19})) << "25 degrees, again after two bytes";
    EXPECT_EQ(write({3, 0x1A, 0x80, 0xFF}), 4);
    EXPECT_EQ(read_from(3, 2), (bytes{0x1A, 0x80}));
    EXPECT_EQ(write({0, 0x7F, 0x7F}), 3);
    EXPECT_EQ(read_from(0, 2), (bytes{0x19, 0x00})) << "the temperature cannot be written";
    EXPECT_EQ(write({1, 0x02}), 2);
    EXPECT_EQ(byte_at(1), 0x02);
}

TEST_F(sim_plugin, has_settings_and_readings) {
    part->set("temperature", "-0.5");
    EXPECT_EQ(read_from(0, 2), (bytes{0xFF, 0x80}));
    EXPECT_EQ(shown("temperature"), "-0.5");
    EXPECT_TRUE(part->readings().at(0).settable);
    EXPECT_FALSE(part->readings().at(1).settable);
}

TEST_F(sim_plugin, keeps_a_state_from_call_to_call) {
    part->set("temperature", "80.5");
    EXPECT_EQ(shown("os"), "low (over-temperature)");
    part->set("temperature", "75");
    EXPECT_EQ(shown("os"), "low (over-temperature)");
    part->set("temperature", "74.5");
    EXPECT_EQ(shown("os"), "high");
}

TEST_F(sim_plugin, starts_again_with_a_new_state_and_its_settings) {
    part->set("temperature", "80.5");
    part->set("temperature", "30");
    write({3, 0x1A, 0x80});
    part->power_on(); // with the board
    EXPECT_EQ(read_from(3, 2), (bytes{0x1A, 0x80}));
    part->power_on();
    EXPECT_EQ(read_from(3, 2), (bytes{0x50, 0x00}));
    EXPECT_EQ(shown("temperature"), "30.0");
}

TEST_F(sim_plugin, has_a_state_for_each_chip) {
    const auto other = make_chip(LM75, clock);
    part->set("temperature", "30");
    EXPECT_EQ(text_of(other->readings().at(0).value), "25.0");
}

TEST_F(sim_plugin, refuses_settings_with_the_text_of_its_model) {
    EXPECT_EQ(refusal("temperature", "126"), "temperature: cannot be '126' (expected -55 to 125)");
    EXPECT_EQ(refusal("load", "1"), "unknown setting 'load' (has: temperature)");
}

TEST(plugin, that_is_none_is_refused_with_the_reason) {
    const hand_clock clock;
    const auto refusal = [&](const std::string &file) -> std::string {
        try {
            (void)make_chip(file, clock);
        } catch (const bad_setting &refused) {
            return refused.what();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal("/none.so"), "type: '/none.so' is not a chip model: there is no such file");
    EXPECT_EQ(refusal("/dev/null"), "type: '/dev/null' is not a chip model: there is no such file");
    EXPECT_THAT(refusal("/etc/passwd"),
                testing::StartsWith("type: '/etc/passwd' is not a chip model: /etc/passwd: "));
    EXPECT_EQ(refusal(NO_MODEL),
              fmt::format("type: '{}' is not a chip model: it does not define varnel_sim_plugin", NO_MODEL));
    EXPECT_EQ(refusal(LATER_MODEL), fmt::format("type: '{}' is not a chip model: it is for version 2 of "
                                                "varnel-sim/model.h, not 1",
                                                LATER_MODEL));
    EXPECT_EQ(refusal(DEAD_MODEL),
              fmt::format("type: '{}' is not a chip model: power_on() failed", DEAD_MODEL));
}

/// A model that has no stop(), and shows the board's time.
TEST(plugin, sees_the_boards_time) {
    hand_clock clock;
    clock.pass(3s);
    const auto chip = make_chip(CLOCK_MODEL, clock);
    EXPECT_EQ(text_of(chip->readings().at(0).value), "3000000000");
    clock.pass(1ns);
    EXPECT_EQ(text_of(chip->readings().at(0).value), "3000000001");
    EXPECT_FALSE(chip->port(0).start(direction::write));
    chip->port(0).stop();
}

} // namespace
} // namespace varnel::sim::test
