// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class thermometer_bench : public chip_bench {
  public:
    using chip_bench::chip_bench;

    /// The output after the temperatures, one letter each: A when it is asserted.
    std::string output_at(std::initializer_list<const char *> temperatures) {
        std::string seen;
        for (const char *const each : temperatures) {
            part->set("temperature", each);
            seen += shown(part->outputs().at(0)) == "asserted" ? 'A' : '-';
        }
        return seen;
    }
};

class sim_lm75 : public thermometer_bench {
  public:
    sim_lm75() : thermometer_bench("lm75") {}
};

class sim_tmp75 : public thermometer_bench {
  public:
    sim_tmp75() : thermometer_bench("tmp75") {}
};

TEST_F(sim_lm75, has_the_power_on_values_of_its_datasheet) {
    EXPECT_EQ(read_from(0, 2), (bytes{0x19, 0x00}));
    EXPECT_EQ(byte_at(1), 0x00);
    EXPECT_EQ(read_from(2, 2), (bytes{0x4B, 0x00}));
    EXPECT_EQ(read_from(3, 2), (bytes{0x50, 0x00}));
    EXPECT_EQ(register_name(2), "Thyst");
}

TEST_F(sim_lm75, temperature_has_half_degrees_and_a_sign) {
    part->set("temperature", "24.9");
    EXPECT_EQ(read_from(0, 3), (bytes{0x18, 0x80, 0x18})) << "it goes round";
    part->set("temperature", "-0.5C");
    EXPECT_EQ(read(2), (bytes{0xFF, 0x80})) << "the pointer stays";
    EXPECT_EQ(shown("measured-temperature"), "-0.5 C");
    EXPECT_EQ(write({0, 0x11, 0x11}), 3);
    EXPECT_EQ(read_from(0, 2), (bytes{0xFF, 0x80})) << "it cannot be written";
}

TEST_F(sim_lm75, limits_keep_nine_bits_and_the_configuration_its_own) {
    EXPECT_EQ(write({3, 0x1A, 0xFF, 0x77}), 4);
    EXPECT_EQ(read_from(3, 2), (bytes{0x1A, 0x80}));
    EXPECT_EQ(write({2, 0xF0}), 2);
    EXPECT_EQ(read_from(2, 2), (bytes{0xF0, 0x00}));
    EXPECT_EQ(write({1, 0xFC, 0x03}), 3);
    EXPECT_EQ(byte_at(1), 0x1C);
}

TEST_F(sim_lm75, comparator_asserts_above_the_limit_until_below_the_hysteresis) {
    EXPECT_EQ(output_at({"80", "80.5", "75", "74.5", "80"}), "-AA--");
    EXPECT_EQ(output_at({"90"}), "A");
    EXPECT_EQ(read_from(0, 1).size(), 1U);
    EXPECT_EQ(shown("os"), "asserted") << "reads change nothing";
    write({3, 0x60, 0x00});
    write({2, 0x5F, 0x00});
    EXPECT_EQ(shown("os"), "idle") << "limits that are written count at once";
}

TEST_F(sim_lm75, interrupt_asserts_at_each_crossing_until_a_read) {
    write({1, 0x02});
    EXPECT_EQ(output_at({"81", "70"}), "AA");
    (void)byte_at(1);
    EXPECT_EQ(output_at({"70", "81"}), "-A");
    (void)byte_at(0);
    EXPECT_EQ(output_at({"85", "76", "74"}), "--A");
    write({1, 0x03});
    EXPECT_EQ(shown("os"), "idle") << "shutdown resets it";
}

TEST_F(sim_lm75, output_is_active_low_or_high) {
    EXPECT_FALSE(part->asserts(0));
    part->set("temperature", "90");
    EXPECT_TRUE(part->asserts(0));
    write({1, 0x04});
    EXPECT_FALSE(part->asserts(0)) << "released: high";
    part->set("temperature", "20");
    EXPECT_TRUE(part->asserts(0));
    EXPECT_EQ(shown("os"), "idle");
}

TEST_F(sim_lm75, shutdown_keeps_the_latest_temperature) {
    write({1, 0x01});
    EXPECT_EQ(output_at({"90"}), "-");
    EXPECT_EQ(read_from(0, 2), (bytes{0x19, 0x00}));
    EXPECT_EQ(shown("temperature"), "90.00 C");
    EXPECT_EQ(shown("shutdown"), "yes");
    write({1, 0x81});
    EXPECT_EQ(read_from(0, 1), bytes{0x19}) << "it has no single conversions";
    write({1, 0x00});
    EXPECT_EQ(read_from(0, 1), bytes{90});
    EXPECT_EQ(shown("os"), "asserted");
}

TEST_F(sim_lm75, starts_again_with_its_registers_at_their_power_on_values) {
    write({1, 0x06});
    write({3, 0x10, 0x00});
    part->power_on();
    EXPECT_EQ(byte_at(1), 0x00);
    EXPECT_EQ(read_from(3, 1), bytes{0x50});
    EXPECT_EQ(shown("os"), "idle");
}

TEST_F(sim_lm75, invalid_settings_are_refused) {
    EXPECT_EQ(refusal("temperature", "126"), "temperature: cannot be '126' (expected -55 to 125C)");
    EXPECT_EQ(refusal("os", "low"), "unknown setting 'os' (has: temperature)");
}

TEST_F(sim_tmp75, resolution_is_9_to_12_bits) {
    part->set("temperature", "25.9375");
    EXPECT_EQ(read_from(0, 2), (bytes{0x19, 0x80}));
    for (const auto &[configuration, low] : {std::pair{0x20, 0xC0}, {0x40, 0xE0}, {0x60, 0xF0}}) {
        write({1, static_cast<uint8_t>(configuration)});
        EXPECT_EQ(read_from(0, 2), (bytes{0x19, static_cast<uint8_t>(low)}));
    }
    EXPECT_EQ(shown("measured-temperature"), "25.9375 C");
    write({3, 0x1A, 0xFF});
    EXPECT_EQ(read_from(3, 2), (bytes{0x1A, 0xF0}));
}

TEST_F(sim_tmp75, converts_once_on_request_while_it_is_shut_down) {
    write({1, 0x01});
    part->set("temperature", "90");
    write({1, 0x81});
    EXPECT_EQ(read_from(0, 1), bytes{90});
    EXPECT_EQ(byte_at(1), 0x01);
}

TEST_F(sim_tmp75, alert_asserts_at_the_limit) { EXPECT_EQ(output_at({"79.9", "80", "75", "74.9"}), "-AA-"); }

} // namespace
} // namespace varnel::sim::test
