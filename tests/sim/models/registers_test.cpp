// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class sim_registers : public chip_bench {
  public:
    sim_registers() : chip_bench("registers") {}
};

TEST_F(sim_registers, are_zero_at_power_on) { EXPECT_EQ(read_from(0, 256), bytes(256, 0)); }

TEST_F(sim_registers, are_written_and_read_on_and_wrap_after_the_last) {
    EXPECT_EQ(write({0xFE, 1, 2, 3}), 4);
    EXPECT_EQ(read_from(0xFE, 4), (bytes{1, 2, 3, 0}));
    EXPECT_EQ(read(1), bytes{0}) << "a read without a register continues";
}

TEST_F(sim_registers, data_settings_fill_registers) {
    part->set("data.10", "48 65 6c");
    EXPECT_EQ(read_from(0x0F, 5), (bytes{0, 0x48, 0x65, 0x6C, 0}));
    EXPECT_EQ(shown("data.10"), "48 65 6c 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(part->readings().size(), 18U);
}

TEST_F(sim_registers, read_only_ones_acknowledge_writes_and_keep_their_value) {
    part->set("data.10", "aa bb cc");
    part->set("access.11", "ro");
    EXPECT_EQ(write({0x10, 1, 2, 3}), 4);
    EXPECT_EQ(read_from(0x10, 3), (bytes{1, 0xBB, 3}));
}

TEST_F(sim_registers, ones_that_are_not_there_refuse_their_command_and_data) {
    part->set("access.20-2f", "none");
    EXPECT_EQ(write({0x20, 1}), 0);
    EXPECT_EQ(write({0x1F, 1, 2}), 2) << "the byte after the last register is refused";
    EXPECT_EQ(read_from(0x1F, 2), (bytes{1, 0xFF}));
    EXPECT_EQ(shown("data.20"), "XX XX XX XX XX XX XX XX XX XX XX XX XX XX XX XX");
    part->set("access.2f", "rw");
    EXPECT_EQ(write({0x2F, 7}), 2);
    EXPECT_EQ(byte_at(0x2F), 7);
}

TEST_F(sim_registers, mask_says_which_bits_a_write_changes) {
    part->set("data.10", "a5");
    part->set("mask.10", "0f");
    EXPECT_EQ(write({0x10, 0xFF}), 2);
    EXPECT_EQ(byte_at(0x10), 0xAF);
}

TEST_F(sim_registers, of_16_bits_have_the_low_byte_first) {
    part->set("width", "16");
    part->set("data.10", "1234 00ff");
    EXPECT_EQ(read_from(0x10, 4), (bytes{0x34, 0x12, 0xFF, 0x00}));
    EXPECT_EQ(write({0x20, 0x78, 0x56, 0xBC, 0x9A}), 5);
    EXPECT_EQ(shown("data.20"), "5678 9abc 0000 0000 0000 0000 0000 0000");
    EXPECT_EQ(part->readings().size(), 34U);
}

TEST_F(sim_registers, of_16_bits_may_have_the_high_byte_first) {
    part->set("width", "16");
    part->set("order", "high-first");
    part->set("data.10", "1234");
    EXPECT_EQ(read_from(0x10, 2), (bytes{0x12, 0x34}));
    part->set("mask.10", "ff00");
    EXPECT_EQ(write({0x10, 0x56, 0x78}), 3);
    EXPECT_EQ(read_from(0x10, 2), (bytes{0x56, 0x34}));
}

TEST_F(sim_registers, half_a_register_changes_nothing) {
    part->set("width", "16");
    EXPECT_EQ(write({0x10, 0xFF}), 2);
    EXPECT_EQ(read_from(0x10, 1), bytes{0});
    EXPECT_EQ(read(2), (bytes{0, 0})) << "a START begins at the first byte of the selected register";
    EXPECT_EQ(write({0x10, 0x34, 0x12}), 3);
    EXPECT_EQ(read_from(0x10, 2), (bytes{0x34, 0x12}));
}

TEST_F(sim_registers, width_of_8_drops_the_high_bytes) {
    part->set("width", "16");
    part->set("data.00", "1234");
    part->set("width", "8");
    EXPECT_EQ(byte_at(0), 0x34);
}

TEST_F(sim_registers, invalid_settings_are_refused_and_change_nothing) {
    EXPECT_EQ(refusal("data.ff", "01 02"),
              "data.ff: cannot be '01 02' (expected bytes such as 48 65 6c, up to register ff)");
    EXPECT_EQ(refusal("data.00", "4"),
              "data.00: cannot be '4' (expected bytes such as 48 65 6c, up to register ff)");
    EXPECT_EQ(refusal("mask.00", "ff ff"), "mask.00: cannot be 'ff ff' (expected a byte such as 0f)");
    EXPECT_EQ(refusal("access.00", "wo"), "access.00: cannot be 'wo' (expected rw or ro or none)");
    EXPECT_EQ(refusal("width", "32"), "width: cannot be '32' (expected 8 or 16)");
    part->set("width", "16");
    EXPECT_EQ(refusal("data.00", "12 34 56"),
              "data.00: cannot be '12 34 56' (expected words such as 1234 00ff, up to register ff)");
    EXPECT_EQ(refusal("mask.00", "ff"), "mask.00: cannot be 'ff' (expected a word such as 00ff)");
    for (const std::string_view name : {"data.", "data.100", "data.00-01", "access.", "access.1",
                                        "access.20-10", "access.10-", "mask.-10"}) {
        EXPECT_THAT(refusal(name, "rw"),
                    testing::StartsWith("unknown setting '" + std::string(name) + "' (has: width, order"));
    }
    EXPECT_EQ(read_from(0, 256), bytes(256, 0));
}

TEST_F(sim_registers, are_named_by_their_code) { EXPECT_EQ(register_name(0x4B), "Register 0x4b"); }

TEST_F(sim_registers, start_again_with_the_values_that_were_set) {
    part->set("data.10", "48 65");
    write({0x11, 1, 2});
    part->power_on();
    EXPECT_EQ(read_from(0x10, 3), (bytes{0x48, 0x65, 0}));
}

} // namespace
} // namespace varnel::sim::test
