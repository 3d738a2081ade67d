// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

class eeprom_bench : public chip_bench {
  public:
    using chip_bench::chip_bench;

    void store(const bytes &address_and_data) {
        EXPECT_EQ(write(address_and_data), static_cast<int>(address_and_data.size()));
        clock.pass(5ms);
    }
};

class sim_24c02 : public eeprom_bench {
  public:
    sim_24c02() : eeprom_bench("24c02") {}
};

TEST_F(sim_24c02, is_erased_at_power_on) { EXPECT_EQ(read_from(0, 256), bytes(256, 0xFF)); }

TEST_F(sim_24c02, reads_on_over_pages_and_wraps_at_the_end) {
    store({0x00, 0x10});
    store({0xFE, 0xE0, 0xE1});
    EXPECT_EQ(read_from(0xFE, 4), (bytes{0xE0, 0xE1, 0x10, 0xFF}));
    EXPECT_EQ(read_from(0xFF, 1), bytes{0xE1});
    EXPECT_EQ(read(1), bytes{0x10}) << "a read without address continues";
}

TEST_F(sim_24c02, a_write_wraps_inside_its_page) {
    store({0x0E, 1, 2, 3, 4});
    EXPECT_EQ(read_from(0x06, 12), (bytes{0xFF, 0xFF, 3, 4, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 0xFF, 0xFF}));
}

TEST_F(sim_24c02, write_of_more_than_a_page_overwrites_its_start) {
    store({0x10, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(read_from(0x10, 9), (bytes{8, 9, 2, 3, 4, 5, 6, 7, 0xFF}));
}

TEST_F(sim_24c02, does_not_acknowledge_during_a_write_cycle) {
    EXPECT_EQ(write({0x20, 0xAB}), 2);
    EXPECT_EQ(shown("state"), "writing");
    EXPECT_EQ(write({0x20}), -1);
    EXPECT_FALSE(part->port(0).start(direction::read));
    part->port(0).stop();
    clock.pass(5ms - 1ns);
    EXPECT_EQ(write({0x20}), -1);
    clock.pass(1ns);
    EXPECT_EQ(shown("state"), "ready");
    EXPECT_EQ(byte_at(0x20), 0xAB);
}

TEST_F(sim_24c02, an_address_alone_starts_no_write_cycle) {
    EXPECT_EQ(write({0x20}), 1);
    EXPECT_EQ(read(1), bytes{0xFF});
}

TEST_F(sim_24c02, data_without_a_stop_is_dropped) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(0x30));
    ASSERT_TRUE(port.write(0xAB));
    EXPECT_EQ(byte_at(0x30), 0xFF);
    EXPECT_EQ(shown("state"), "ready");
}

TEST_F(sim_24c02, write_protection_keeps_the_content_without_a_write_cycle) {
    part->set("wp", "high");
    EXPECT_EQ(write({0x00, 0x12}), 2);
    EXPECT_EQ(byte_at(0x00), 0xFF);
    part->set("wp", "low");
    store({0x00, 0x12});
    EXPECT_EQ(byte_at(0x00), 0x12);
}

TEST_F(sim_24c02, data_settings_fill_the_content) {
    part->set("data.00", "48 65 6c");
    part->set("data.fE", "01  02");
    EXPECT_EQ(read_from(0x00, 4), (bytes{0x48, 0x65, 0x6C, 0xFF}));
    EXPECT_EQ(read_from(0xFE, 2), (bytes{0x01, 0x02}));
    EXPECT_EQ(shown("data.00"), "48 65 6c ff ff ff ff ff ff ff ff ff ff ff ff ff");
    EXPECT_EQ(shown("data.f0"), "ff ff ff ff ff ff ff ff ff ff ff ff ff ff 01 02");
    EXPECT_EQ(part->readings().size(), 18U);
}

TEST_F(sim_24c02, bytes_may_stand_without_spaces) {
    part->set("data.00", "4865 0x6c");
    EXPECT_EQ(read_from(0, 3), (bytes{0x48, 0x65, 0x6c}));
}

TEST_F(sim_24c02, invalid_settings_are_refused_and_change_nothing) {
    for (const std::string_view value : {"", " ", "4", "486", "48,65", "48 6x", "0x4", "-1", "48 \t65"}) {
        EXPECT_EQ(refusal("data.00", value), "data.00: cannot be '" + std::string(value) +
                                                 "' (expected bytes such as 48 65 6c, up to offset ff)");
    }
    EXPECT_NE(refusal("data.ff", "01 02"), "accepted");
    EXPECT_EQ(refusal("data.100", "01"), "unknown setting 'data.100' (has: wp, data.00 to data.ff)");
    EXPECT_EQ(refusal("data.", "01"), "unknown setting 'data.' (has: wp, data.00 to data.ff)");
    EXPECT_EQ(read_from(0, 256), bytes(256, 0xFF));
}

TEST_F(sim_24c02, registers_are_named_by_their_address) { EXPECT_EQ(register_name(0x4B), "Byte 0x4b"); }

/// An EEPROM whose bytes have addresses of two bytes.
class sim_24c64 : public eeprom_bench {
  public:
    explicit sim_24c64(std::string_view type = "24c64") : eeprom_bench(type) {}

    bytes read_at(uint16_t address, std::size_t count) {
        EXPECT_EQ(write({static_cast<uint8_t>(address >> 8U), static_cast<uint8_t>(address)}), 2);
        return read(count);
    }
};

class sim_24c256 : public sim_24c64 {
  public:
    sim_24c256() : sim_24c64("24c256") {}
};

TEST_F(sim_24c64, reads_on_over_pages_and_wraps_at_the_end) {
    store({0x00, 0x00, 0x10});
    store({0x1F, 0xFE, 0xE0, 0xE1});
    EXPECT_EQ(read_at(0x1FFE, 4), (bytes{0xE0, 0xE1, 0x10, 0xFF}));
    EXPECT_EQ(read(1), bytes{0xFF}) << "a read without address continues";
}

TEST_F(sim_24c64, address_bits_above_the_size_mean_nothing) {
    store({0xE1, 0x00, 0xAB});
    EXPECT_EQ(read_at(0x0100, 1), bytes{0xAB});
}

TEST_F(sim_24c64, a_write_wraps_inside_its_page_of_32) {
    store({0x01, 0x1E, 1, 2, 3});
    EXPECT_EQ(read_at(0x0100, 2), (bytes{3, 0xFF}));
    EXPECT_EQ(read_at(0x011E, 3), (bytes{1, 2, 0xFF}));
}

TEST_F(sim_24c256, a_write_wraps_inside_its_page_of_64) {
    store({0x7F, 0xFF, 1, 2});
    EXPECT_EQ(read_at(0x7FC0, 1), bytes{2});
    EXPECT_EQ(read_at(0x7FFF, 2), (bytes{1, 0xFF})) << "the read wraps to address 0";
}

TEST_F(sim_24c64, an_address_alone_starts_no_write_cycle) {
    EXPECT_EQ(write({0x01, 0x00}), 2);
    EXPECT_EQ(write({0x01}), 1);
    EXPECT_EQ(shown("state"), "ready");
}

TEST_F(sim_24c64, settings_have_offsets_of_four_digits) {
    part->set("data.1ffe", "01 02");
    EXPECT_EQ(read_at(0x1FFE, 2), (bytes{1, 2}));
    EXPECT_EQ(refusal("data.1fff", "01 02"),
              "data.1fff: cannot be '01 02' (expected bytes such as 48 65 6c, up to offset 1fff)");
    for (const std::string_view name : {"data.00", "data.2000", "data.00000", "data.-001"}) {
        EXPECT_EQ(refusal(name, "01"),
                  "unknown setting '" + std::string(name) + "' (has: wp, data.0000 to data.1fff)");
    }
}

TEST_F(sim_24c64, shows_only_rows_that_are_not_erased) {
    EXPECT_EQ(part->readings().size(), 2U);
    part->set("data.0123", "48");
    EXPECT_EQ(shown("data.0120"), "ff ff ff 48 ff ff ff ff ff ff ff ff ff ff ff ff");
    EXPECT_EQ(part->readings().size(), 3U);
}

TEST_F(sim_24c02, keeps_its_content_without_power_but_not_an_unfinished_page) {
    ASSERT_EQ(write({0x10, 0x55}), 2);
    bus_port &port = part->port(0);
    clock.pass(5ms);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(0x20));
    ASSERT_TRUE(port.write(0x66));
    part->power_on();
    port.stop();
    EXPECT_EQ(byte_at(0x10), 0x55);
    EXPECT_EQ(byte_at(0x20), 0xFF);
}

} // namespace
} // namespace varnel::sim::test
