// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class sim_pca9555 : public chip_bench {
  public:
    sim_pca9555() : chip_bench("pca9555") {}
};

TEST_F(sim_pca9555, registers_have_their_power_on_values) {
    EXPECT_EQ(read_from(0, 2), (bytes{0xFF, 0xFF})); // undriven inputs are pulled up
    EXPECT_EQ(read_from(2, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(read_from(4, 2), (bytes{0x00, 0x00}));
    EXPECT_EQ(read_from(6, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9555, a_read_before_any_command_starts_at_input_port_0) {
    part->set("0", "low");
    EXPECT_EQ(read(2), (bytes{0xFE, 0xFF}));
}

TEST_F(sim_pca9555, data_alternates_between_the_registers_of_a_pair) {
    for (const uint8_t pair : {uint8_t{2}, uint8_t{4}, uint8_t{6}}) {
        EXPECT_EQ(write({pair, 0x11, 0x22, 0x33}), 4);
        EXPECT_EQ(read_from(pair, 4), (bytes{0x33, 0x22, 0x33, 0x22}));
        const auto partner = static_cast<uint8_t>(pair + 1);
        EXPECT_EQ(write({partner, 0x44, 0x55}), 3);
        EXPECT_EQ(read_from(partner, 3), (bytes{0x44, 0x55, 0x44}));
    }
}

TEST_F(sim_pca9555, a_read_without_command_continues_from_the_pointer) {
    write({2, 0x11, 0x22});
    EXPECT_EQ(read_from(2, 1), bytes{0x11});
    EXPECT_EQ(read(1), bytes{0x22});
    EXPECT_EQ(read(1), bytes{0x11});
}

TEST_F(sim_pca9555, writing_an_input_port_changes_nothing) {
    EXPECT_EQ(write({0, 0x00, 0x00}), 3);
    EXPECT_EQ(read_from(0, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(read_from(2, 2), (bytes{0xFF, 0xFF}));
}

TEST_F(sim_pca9555, missing_registers_read_0xff_and_ignore_writes) {
    EXPECT_EQ(write({8, 0x00, 0x00}), 3);
    EXPECT_EQ(read_from(8, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(read_from(2, 2), (bytes{0xFF, 0xFF}));
}

TEST_F(sim_pca9555, input_register_shows_the_pins_inverted_by_polarity) {
    part->set("3", "low");
    part->set("12", "low");
    EXPECT_EQ(read_from(0, 2), (bytes{0xF7, 0xEF}));
    write({4, 0x0F, 0xF0});
    EXPECT_EQ(read_from(0, 2), (bytes{0xF8, 0x1F}));
    part->set("3", "high");
    part->set("12", "float");
    EXPECT_EQ(read_from(0, 2), (bytes{0xF0, 0x0F}));
}

TEST_F(sim_pca9555, output_pin_shows_its_level_unless_driven_from_outside) {
    write({2, 0x55, 0xAA});
    EXPECT_EQ(read_from(0, 2), (bytes{0xFF, 0xFF})) << "still inputs";
    write({6, 0x00, 0x00});
    EXPECT_EQ(read_from(0, 2), (bytes{0x55, 0xAA}));
    part->set("0", "low");
    part->set("1", "high");
    EXPECT_EQ(read_from(0, 2), (bytes{0x56, 0xAA}));
    EXPECT_EQ(read_from(2, 2), (bytes{0x55, 0xAA}));
    part->set("0", "float");
    part->set("1", "float");
    EXPECT_EQ(read_from(0, 2), (bytes{0x55, 0xAA}));
}

TEST_F(sim_pca9555, interrupt_is_released_by_reading_the_port_that_changed) {
    part->set("9", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    read_from(0, 1);
    EXPECT_EQ(shown("interrupt"), "asserted") << "port 0 is not the one";
    read_from(1, 1);
    EXPECT_EQ(shown("interrupt"), "idle");
    part->set("9", "high");
    EXPECT_EQ(shown("interrupt"), "asserted") << "the other edge counts, too";
}

TEST_F(sim_pca9555, interrupt_is_released_when_the_input_returns) {
    part->set("2", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    part->set("2", "high");
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9555, both_ports_must_be_read_when_both_changed) {
    part->set("0", "low");
    part->set("8", "low");
    read_from(0, 1);
    EXPECT_EQ(shown("interrupt"), "asserted");
    read(1); // the pointer is at port 1
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9555, output_pins_interrupt_only_after_becoming_inputs) {
    write({6, 0xFE});
    write({2, 0xFE});
    EXPECT_EQ(shown("interrupt"), "idle") << "low now, and last read high";
    part->set("0", "high");
    EXPECT_EQ(shown("interrupt"), "idle");
    part->set("0", "float");
    read_from(0, 1); // low
    write({6, 0xFF});
    EXPECT_EQ(shown("interrupt"), "asserted") << "pulled up now, and last read low";
}

TEST_F(sim_pca9555, change_of_polarity_does_not_interrupt) {
    write({4, 0xFF, 0xFF});
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9555, levels_at_power_on_do_not_interrupt) {
    part->set("0", "low");
    part->power_on();
    EXPECT_EQ(shown("interrupt"), "idle");
    EXPECT_EQ(byte_at(0), 0xFE);
}

TEST_F(sim_pca9555, readings_show_direction_level_and_driver) {
    write({6, 0xF0});
    write({2, 0x0E});
    part->set("2", "low");
    part->set("5", "low");
    part->set("6", "high");
    EXPECT_EQ(shown("0"), "output low");
    EXPECT_EQ(shown("1"), "output high");
    EXPECT_EQ(shown("2"), "output high (held low from outside)");
    EXPECT_EQ(shown("4"), "input high (pulled up)");
    EXPECT_EQ(shown("5"), "input low (driven)");
    EXPECT_EQ(shown("6"), "input high (driven)");
    EXPECT_EQ(part->readings().size(), 17U);
}

TEST_F(sim_pca9555, a_named_pin_is_found_by_name_and_number) {
    part->set("name.3", "psu0-present");
    part->set("psu0-present", "low");
    EXPECT_EQ(shown("psu0-present"), "input low (driven)");
    EXPECT_EQ(byte_at(0), 0xF7);
    part->set("3", "high");
    EXPECT_EQ(byte_at(0), 0xFF);
    part->set("name.3", "psu0-present"); // again
    part->set("name.3", "renamed");
    EXPECT_EQ(shown("psu0-present"), "no reading psu0-present");
}

TEST_F(sim_pca9555, invalid_settings_are_refused_and_change_nothing) {
    part->set("name.3", "present");
    EXPECT_EQ(refusal("16", "low"), "unknown setting '16' (has: 0 to 15, name.0 to name.15, present)");
    EXPECT_EQ(refusal("name.16", "x"),
              "unknown setting 'name.16' (has: 0 to 15, name.0 to name.15, present)");
    EXPECT_EQ(refusal("", "low"), "unknown setting '' (has: 0 to 15, name.0 to name.15, present)");
    EXPECT_EQ(refusal("3", "up"), "3: cannot be 'up' (expected low or high or float)");
    for (const std::string_view name : {"", "7", "a b", "interrupt", "present", "name.1"}) {
        EXPECT_EQ(refusal("name.4", name),
                  "name.4: cannot be '" + std::string(name) +
                      "' (expected a name of its own: letters, digits, - and _, at least one letter)");
    }
    EXPECT_EQ(shown("3"), "no reading 3");
    EXPECT_EQ(shown("4"), "input high (pulled up)");
}

TEST_F(sim_pca9555, registers_have_their_datasheet_names) {
    EXPECT_EQ(register_name(0), "Input port 0");
    EXPECT_EQ(register_name(3), "Output port 1");
    EXPECT_EQ(register_name(4), "Polarity inversion port 0");
    EXPECT_EQ(register_name(7), "Configuration port 1");
    EXPECT_EQ(register_name(8), "");
}

TEST_F(sim_pca9555, has_one_bus_port_and_no_channels) {
    EXPECT_EQ(part->ports(), 1U);
    EXPECT_EQ(part->segments(), 0U);
    EXPECT_FALSE(part->port(0).connects(0));
}

TEST_F(sim_pca9555, starts_again_with_its_registers_at_their_power_on_values) {
    write({6, 0x00, 0x00});
    write({2, 0x11, 0x22});
    part->set("3", "low");
    part->power_on();
    EXPECT_EQ(read_from(6, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(read_from(2, 2), (bytes{0xFF, 0xFF}));
    EXPECT_EQ(byte_at(0), 0xF7);
}

} // namespace
} // namespace varnel::sim::test
