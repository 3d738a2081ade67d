// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class sim_pca9554 : public chip_bench {
  public:
    sim_pca9554() : chip_bench("pca9554") {}
};

TEST_F(sim_pca9554, registers_have_their_power_on_values) {
    EXPECT_EQ(byte_at(0), 0xFF);
    EXPECT_EQ(byte_at(1), 0xFF);
    EXPECT_EQ(byte_at(2), 0x00);
    EXPECT_EQ(byte_at(3), 0xFF);
}

TEST_F(sim_pca9554, the_same_register_is_written_and_read_again) {
    EXPECT_EQ(write({1, 0x11, 0x22}), 3);
    EXPECT_EQ(read_from(1, 3), (bytes{0x22, 0x22, 0x22}));
    EXPECT_EQ(read(1), bytes{0x22});
    EXPECT_EQ(byte_at(2), 0x00);
    EXPECT_EQ(byte_at(0), 0xFF);
}

TEST_F(sim_pca9554, every_byte_read_of_the_input_register_samples_the_pins) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(0));
    ASSERT_TRUE(port.start(direction::read));
    EXPECT_EQ(port.read(), 0xFF);
    part->set("7", "low");
    EXPECT_EQ(port.read(), 0x7F);
    port.stop();
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9554, input_register_shows_pins_outputs_and_polarity) {
    write({3, 0xF0});
    write({1, 0x05});
    write({2, 0x81});
    part->set("6", "low");
    EXPECT_EQ(byte_at(0), 0xB5 ^ 0x81);
    part->set("1", "high");
    EXPECT_EQ(byte_at(0), 0xB7 ^ 0x81);
}

TEST_F(sim_pca9554, interrupt_lasts_until_the_input_is_read_or_returns) {
    part->set("4", "low");
    EXPECT_EQ(shown("interrupt"), "asserted");
    part->set("4", "float");
    EXPECT_EQ(shown("interrupt"), "idle");
    part->set("4", "low");
    byte_at(1);
    EXPECT_EQ(shown("interrupt"), "asserted") << "only reading the input register releases it";
    byte_at(0);
    EXPECT_EQ(shown("interrupt"), "idle");
}

TEST_F(sim_pca9554, missing_registers_read_0xff_and_ignore_writes) {
    EXPECT_EQ(write({4, 0x00}), 2);
    EXPECT_EQ(byte_at(4), 0xFF);
    EXPECT_EQ(byte_at(1), 0xFF);
}

TEST_F(sim_pca9554, registers_and_pins_have_names) {
    EXPECT_EQ(register_name(0), "Input port");
    EXPECT_EQ(register_name(3), "Configuration");
    EXPECT_EQ(register_name(4), "");
    EXPECT_EQ(refusal("8", "low"), "unknown setting '8' (has: 0 to 7, name.0 to name.7)");
}

} // namespace
} // namespace varnel::sim::test
