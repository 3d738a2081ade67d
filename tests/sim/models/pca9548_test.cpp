// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class multiplexer_bench : public chip_bench {
  public:
    using chip_bench::chip_bench;

    [[nodiscard]] std::vector<std::size_t> reachable() const {
        std::vector<std::size_t> segments;
        for (std::size_t i = 0; i < 10; ++i) { // two more than any has
            if (part->port(0).connects(i)) {
                segments.push_back(i);
            }
        }
        return segments;
    }
};

class sim_pca9548 : public multiplexer_bench {
  public:
    sim_pca9548() : multiplexer_bench("pca9548") {}
};

class sim_pca9546 : public multiplexer_bench {
  public:
    sim_pca9546() : multiplexer_bench("pca9546") {}
};

using segments = std::vector<std::size_t>;

TEST_F(sim_pca9548, connects_nothing_at_power_on) {
    EXPECT_EQ(part->segments(), 8U);
    EXPECT_EQ(register_name(0), "");
    EXPECT_EQ(read(2), (bytes{0x00, 0x00}));
    EXPECT_EQ(reachable(), segments{});
    EXPECT_EQ(shown("channels"), "none");
}

TEST_F(sim_pca9548, connects_several_channels_at_once) {
    EXPECT_EQ(write({0x85}), 1);
    EXPECT_EQ(reachable(), (segments{0, 2, 7}));
    EXPECT_EQ(shown("channels"), "0 2 7");
    EXPECT_EQ(read(1), bytes{0x85});
    write({0x00});
    EXPECT_EQ(reachable(), segments{});
}

TEST_F(sim_pca9548, last_byte_written_selects_the_channels) {
    EXPECT_EQ(write({0x01, 0x02, 0x40}), 3);
    EXPECT_EQ(reachable(), segments{6});
}

TEST_F(sim_pca9548, channels_switch_at_stop) {
    write({0x01});
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(0x02));
    EXPECT_EQ(reachable(), segments{0});
    ASSERT_TRUE(port.start(direction::read)); // repeated START: still the old channel, the new byte
    EXPECT_EQ(port.read(), 0x02);
    EXPECT_EQ(reachable(), segments{0});
    port.stop();
    EXPECT_EQ(reachable(), segments{1});
}

TEST_F(sim_pca9548, an_address_without_a_byte_changes_nothing) {
    write({0x10});
    write({});
    EXPECT_EQ(reachable(), segments{4});
}

TEST_F(sim_pca9548, reset_switches_all_channels_off_and_does_not_answer) {
    write({0x21});
    part->set("reset", "low");
    EXPECT_EQ(reachable(), segments{});
    EXPECT_EQ(write({0x01}), -1);
    EXPECT_EQ(shown("reset"), "low");
    part->set("reset", "high");
    EXPECT_EQ(read(1), bytes{0x00});
}

TEST_F(sim_pca9548, only_reset_can_be_set) {
    EXPECT_EQ(refusal("channels", "1"), "unknown setting 'channels' (has: reset)");
    EXPECT_EQ(refusal("reset", "on"), "reset: cannot be 'on' (expected high or low)");
}

TEST_F(sim_pca9546, has_four_channels_and_reads_the_upper_bits_as_zero) {
    EXPECT_EQ(part->segments(), 4U);
    EXPECT_EQ(read(1), bytes{0x00});
    write({0xFA});
    EXPECT_EQ(read(1), bytes{0x0A});
    EXPECT_EQ(reachable(), (segments{1, 3}));
}

} // namespace
} // namespace varnel::sim::test
