// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

constexpr unsigned int auto_increment = 0x80;
constexpr uint8_t with_increment(unsigned int reg) { return static_cast<uint8_t>(reg | auto_increment); }

class sim_pca9505 : public chip_bench {
  public:
    sim_pca9505() : chip_bench("pca9505") {}
};

TEST_F(sim_pca9505, registers_have_their_power_on_values) {
    EXPECT_EQ(read_from(with_increment(0x00), 5), bytes(5, 0xFF)); // pulled up
    EXPECT_EQ(read_from(with_increment(0x08), 5), bytes(5, 0x00));
    EXPECT_EQ(read_from(with_increment(0x10), 5), bytes(5, 0x00));
    EXPECT_EQ(read_from(with_increment(0x18), 5), bytes(5, 0xFF));
    EXPECT_EQ(read_from(with_increment(0x20), 5), bytes(5, 0xFF));
}

TEST_F(sim_pca9505, at_power_on_the_pointer_is_at_bank_0_with_auto_increment) {
    part->set("1.0", "low");
    EXPECT_EQ(read(2), (bytes{0xFF, 0xFE}));
}

TEST_F(sim_pca9505, auto_increment_rolls_over_within_a_register_group) {
    for (const unsigned int kind : {0x08U, 0x10U, 0x18U, 0x20U}) {
        EXPECT_EQ(write({with_increment(kind + 3), 0x33, 0x44, 0x50, 0x51, 0x52, 0x66}), 7);
        EXPECT_EQ(read_from(with_increment(kind), 6), (bytes{0x50, 0x51, 0x52, 0x66, 0x44, 0x50}));
    }
}

TEST_F(sim_pca9505, without_auto_increment_the_register_repeats) {
    EXPECT_EQ(write({0x09, 0x11, 0x22}), 3);
    EXPECT_EQ(read_from(0x09, 2), (bytes{0x22, 0x22}));
    EXPECT_EQ(byte_at(0x0A), 0x00);
}

TEST_F(sim_pca9505, a_register_selected_by_a_write_of_its_own_is_read_afterwards) {
    EXPECT_EQ(write({0x0A, 0x77}), 2);
    EXPECT_EQ(write({0x0A}), 1);
    EXPECT_EQ(read(1), bytes{0x77});
}

TEST_F(sim_pca9505, reserved_registers_read_0xff_and_ignore_writes) {
    for (const unsigned int reg : {0x05U, 0x07U, 0x0DU, 0x25U, 0x28U, 0x3FU, 0x40U, 0x48U}) {
        const auto reserved = static_cast<uint8_t>(reg);
        EXPECT_EQ(write({reserved, 0x12, 0x34}), 3);
        EXPECT_EQ(read_from(with_increment(reg), 2), (bytes{0xFF, 0xFF}));
        EXPECT_EQ(register_name(reserved), "");
    }
    EXPECT_EQ(read_from(with_increment(0x08), 5), bytes(5, 0x00));
}

TEST_F(sim_pca9505, input_register_shows_pins_outputs_and_polarity) {
    write({with_increment(0x18), 0xFF, 0xF0, 0xFF, 0xFF, 0x00});
    write({with_increment(0x08), 0x00, 0x05, 0x00, 0x00, 0x81});
    write({with_increment(0x10), 0x00, 0x00, 0xFF, 0x00, 0x00});
    part->set("0.7", "low");
    part->set("4.1", "high");
    EXPECT_EQ(read_from(with_increment(0x00), 5), (bytes{0x7F, 0xF5, 0x00, 0xFF, 0x83}));
}

TEST_F(sim_pca9505, masked_inputs_do_not_interrupt) {
    part->set("2.3", "low");
    EXPECT_EQ(shown("interrupt"), "idle");
    write({0x22, 0xF7});
    EXPECT_EQ(shown("interrupt"), "asserted") << "the change is still unread";
}

TEST_F(sim_pca9505, interrupt_is_released_when_each_changed_bank_has_been_read) {
    write({with_increment(0x20), 0, 0, 0, 0, 0});
    part->set("0.5", "low");
    part->set("2.3", "low");
    part->set("3.7", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    read_from(0x00, 1);
    read_from(0x02, 1);
    EXPECT_EQ(shown("interrupt"), "asserted");
    read_from(0x01, 1);
    EXPECT_EQ(shown("interrupt"), "asserted");
    read_from(0x03, 1);
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9505, interrupt_is_released_when_the_input_returns) {
    write({0x24, 0x00});
    part->set("4.7", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    part->set("4.7", "float");
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9505, registers_and_pins_have_names) {
    EXPECT_EQ(register_name(0x00), "Input port bank 0");
    EXPECT_EQ(register_name(0x8C), "Output port bank 4");
    EXPECT_EQ(register_name(0x11), "Polarity inversion bank 1");
    EXPECT_EQ(register_name(0x1A), "I/O configuration bank 2");
    EXPECT_EQ(register_name(0x23), "Mask interrupt bank 3");
    EXPECT_EQ(part->readings().size(), 41U);
    part->set("name.4.7", "fan-fail");
    EXPECT_EQ(shown("fan-fail"), "input high (pulled up)");
    EXPECT_EQ(refusal("5.0", "low"),
              "unknown setting '5.0' (has: 0.0 to 4.7, name.0.0 to name.4.7, fan-fail)");
}

} // namespace
} // namespace varnel::sim::test
