// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

class small_board : public ::testing::Test {
  public:
    small_board()
        : bench("[board]\nname = small\n"
                "[a]\ntype = echo\nbus = 0\naddress = 0x20\nfill = 3\n"
                "[gpio]\ntype = pca9554\nbus = 0\naddress = 0x38\nname.2 = lid\n"
                "[sel]\ntype = pca9541\nbus = 0\naddress = 0x74\nother_bus = 1\nother_address = 0x75\n"
                "[b]\ntype = echo\nbus = sel\naddress = 0x50\n") {}

    [[nodiscard]] sim::chip_status status_of(const char *chip) const {
        const auto chips = bench.board.status().chips;
        return *std::ranges::find(chips, chip, &sim::chip_status::name);
    }

    [[nodiscard]] std::string reading(const char *chip, const char *name) const {
        const auto readings = status_of(chip).readings;
        const auto found = std::ranges::find(readings, name, &sim::reading::name);
        return found == readings.end() ? "none" : text_of(found->value);
    }

    /// What set() says when it refuses.
    std::string refusal(const std::vector<sim::assignment> &assignments) {
        try {
            bench.board.set(assignments);
            return "accepted";
        } catch (const sim::bad_request &refused) {
            return refused.what();
        }
    }

    bench_board bench;
};

TEST_F(small_board, settings_of_the_description_apply_at_power_on) {
    EXPECT_EQ(reading("a", "fill"), "3");
    EXPECT_EQ(bench.board.name(), "small");
}

TEST_F(small_board, set_changes_settings_and_pin_levels) {
    bench.board.set({{"a", "fill", "7"}, {"gpio", "lid", "low"}});
    EXPECT_EQ(reading("a", "fill"), "7");
    EXPECT_EQ(bench.write_read(0, 0x38, {0}, 1).read.at(0), 0xFB);
}

TEST_F(small_board, set_changes_nothing_when_one_of_several_is_refused) {
    EXPECT_EQ(refusal({{"a", "fill", "7"}, {"b", "fill", "x"}}), "b: fill takes no x");
    EXPECT_EQ(refusal({{"a", "fill", "7"}, {"a", "spin", "1"}}), "a: no setting spin");
    EXPECT_EQ(refusal({{"a", "fill", "7"}, {"z", "fill", "1"}}), "there is no chip 'z' on board 'small'");
    EXPECT_EQ(reading("a", "fill"), "3");
}

TEST_F(small_board, set_accepts_pin_names_given_after_power_on) {
    bench.board.set({{"gpio", "name.3", "door"}});
    bench.board.set({{"gpio", "door", "low"}});
    EXPECT_EQ(bench.write_read(0, 0x38, {0}, 1).read.at(0), 0xF7);
    bench.board.set({{"gpio", "name.3", "gate"}});
    bench.board.set({{"gpio", "gate", "high"}});
    EXPECT_EQ(bench.write_read(0, 0x38, {0}, 1).read.at(0), 0xFF);
    EXPECT_THAT(refusal({{"gpio", "door", "low"}}), ::testing::StartsWith("gpio: unknown setting 'door'"));
}

TEST_F(small_board, set_does_not_change_registers) {
    ASSERT_EQ(bench.write(0, 0x38, {3, 0x0F}).result, 2);
    bench.board.set({{"gpio", "lid", "low"}});
    EXPECT_EQ(bench.write_read(0, 0x38, {3}, 1).read.at(0), 0x0F);
}

TEST_F(small_board, status_lists_chips_channels_and_readings) {
    const auto status = bench.board.status();
    EXPECT_EQ(status.name, "small");
    std::string order;
    for (const auto &chip : status.chips) {
        order += chip.name + " ";
    }
    EXPECT_EQ(order, "a gpio sel b ");
    const sim::chip_status a = status_of("a");
    EXPECT_EQ(a.type, "echo");
    EXPECT_TRUE(a.channels.empty());
    EXPECT_TRUE(a.faults.empty());
    ASSERT_EQ(a.readings.size(), 2U);
    EXPECT_FALSE(a.readings[0].settable);
    EXPECT_EQ(a.readings[1].name, "fill");
    EXPECT_TRUE(a.readings[1].settable);
}

TEST_F(small_board, status_lists_both_connections_of_a_selector) {
    const sim::chip_status selector = status_of("sel");
    ASSERT_EQ(selector.connections.size(), 2U);
    EXPECT_EQ(selector.connections[0].bus, "0");
    EXPECT_EQ(selector.connections[0].address, 0x74);
    EXPECT_EQ(selector.connections[1].bus, "1");
    EXPECT_EQ(selector.connections[1].address, 0x75);
    ASSERT_EQ(selector.channels.size(), 1U);
    EXPECT_EQ(selector.channels[0].name, "sel");
    EXPECT_EQ(selector.channels[0].on, (std::vector<bool>{false, false}));
    EXPECT_EQ(status_of("b").connections.at(0).bus, "sel");
    EXPECT_EQ(status_of("b").connections.at(0).address, 0x50);
}

} // namespace varnel::test
