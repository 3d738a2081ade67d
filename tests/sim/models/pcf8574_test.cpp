// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class sim_pcf8574 : public chip_bench {
  public:
    sim_pcf8574() : chip_bench("pcf8574") { part->power_on(); }
};

TEST_F(sim_pcf8574, all_pins_are_inputs_with_pull_ups_at_power_on) {
    EXPECT_EQ(read(1), (bytes{0xFF}));
    EXPECT_EQ(shown("0"), "input high (pulled up)");
    EXPECT_EQ(shown("7"), "input high (pulled up)");
}

TEST_F(sim_pcf8574, written_zeros_drive_low) {
    EXPECT_EQ(write({0xA5}), 1);
    EXPECT_EQ(read(1), (bytes{0xA5}));
    EXPECT_EQ(shown("0"), "input high (pulled up)");
    EXPECT_EQ(shown("1"), "output low");
}

TEST_F(sim_pcf8574, last_byte_of_a_write_counts) {
    EXPECT_EQ(write({0x00, 0xF0, 0x0F}), 3);
    EXPECT_EQ(read(1), (bytes{0x0F}));
}

TEST_F(sim_pcf8574, every_byte_of_a_read_is_the_levels) {
    part->set("3", "low");
    EXPECT_EQ(read(3), (bytes{0xF7, 0xF7, 0xF7}));
}

TEST_F(sim_pcf8574, pin_driven_low_reads_low_although_1_was_written) {
    part->set("6", "low");
    EXPECT_EQ(write({0xFF}), 1);
    EXPECT_EQ(read(1), (bytes{0xBF}));
    EXPECT_EQ(shown("6"), "input low (driven)");
}

TEST_F(sim_pcf8574, output_held_high_from_outside_reads_high) {
    EXPECT_EQ(write({0xFE}), 1);
    part->set("0", "high");
    EXPECT_EQ(read(1), (bytes{0xFF}));
    EXPECT_EQ(shown("0"), "output low (held high from outside)");
}

TEST_F(sim_pcf8574, changed_input_interrupts_until_it_is_read) {
    part->set("2", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    (void)read(1);
    EXPECT_EQ(shown("interrupt"), "idle");
    part->set("2", "float");
    EXPECT_EQ(shown("interrupt"), "asserted");
}

TEST_F(sim_pcf8574, write_releases_the_interrupt) {
    part->set("2", "low");
    EXPECT_EQ(write({0xFF}), 1);
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pcf8574, interrupt_is_released_when_the_input_returns) {
    part->set("2", "low");
    part->set("2", "high");
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pcf8574, output_does_not_interrupt) {
    EXPECT_EQ(write({0xFB}), 1);
    part->set("2", "high");
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pcf8574, pin_that_is_low_from_the_start_does_not_interrupt) {
    part->set("2", "low");
    part->power_on();
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pcf8574, pins_can_be_named) {
    part->set("name.4", "psu0-present");
    part->set("psu0-present", "low");
    EXPECT_EQ(read(1), (bytes{0xEF}));
    EXPECT_EQ(refusal("8", "low"), "unknown setting '8' (has: 0 to 7, name.0 to name.7, psu0-present)");
}

TEST_F(sim_pcf8574, no_byte_selects_a_register) {
    EXPECT_TRUE(part->sheet().registers.empty());
    EXPECT_EQ(register_name(0), "");
}

TEST_F(sim_pcf8574, starts_again_with_all_pins_as_inputs) {
    write({0x0F});
    part->power_on();
    EXPECT_EQ(read(1), bytes{0xFF});
}

} // namespace
} // namespace varnel::sim::test
