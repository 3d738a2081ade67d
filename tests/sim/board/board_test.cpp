// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
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

/// A supply and its EEPROM on one module, a fan controller without presence pin, a multiplexer that a pin resets.
class wired_board : public ::testing::Test {
  public:
    wired_board()
        : bench("[psu]\ntype = car2512\nbus = mux.1\naddress = 0x58\npresent = gpio.lid\n"
                "[fru]\ntype = 24c02\nbus = mux.1\naddress = 0x50\npresent = gpio.2\nwp = out.1\n"
                "[spare]\ntype = echo\nbus = 0\naddress = 0x21\npresent = gpio.3 high\nplugged = no\n"
                "[mux]\ntype = pca9548\nbus = 0\naddress = 0x70\nreset = out.0\n"
                "[gpio]\ntype = pca9554\nbus = 0\naddress = 0x38\nname.2 = lid\n"
                "[out]\ntype = pca9554\nbus = 1\naddress = 0x38\ninterrupt = gpio.5\n"
                "[clock]\ntype = pcf8574\nbus = 1\naddress = 0x27\ninterrupt = gpio.5\n"
                "[sel]\ntype = pca9541\nbus = 0\naddress = 0x74\nintin = out.interrupt\n") {}

    uint8_t pins() { return bench.write_read(0, 0x38, {0}, 1).read.at(0); }
    int answer_of_psu() {
        EXPECT_EQ(bench.write(0, 0x70, {2}).result, 1);
        return bench.write_read(0, 0x58, {0x79}, 2).error;
    }
    [[nodiscard]] std::string reading(const char *chip, const char *name) const {
        const auto chips = bench.board.status().chips;
        const auto readings = std::ranges::find(chips, chip, &sim::chip_status::name)->readings;
        const auto found = std::ranges::find(readings, name, &sim::reading::name);
        return found == readings.end() ? "none" : text_of(found->value);
    }

    bench_board bench;
};

TEST_F(wired_board, presence_pin_has_its_level_while_the_chip_is_plugged_in) {
    EXPECT_EQ(reading("gpio", "lid"), "input low (wired)");
    EXPECT_EQ(reading("gpio", "3"), "input low (wired)") << "the spare one is not plugged in";
    EXPECT_EQ(reading("gpio", "interrupt"), "idle") << "what is so from the start is no change";
    bench.board.plug({"psu", "spare"}, false);
    EXPECT_EQ(pins(), 0xF7);
    bench.board.plug({"spare"}, true);
    EXPECT_EQ(pins(), 0xFF);
    bench.board.plug({"psu"}, true);
    EXPECT_EQ(pins(), 0xFB);
}

TEST_F(wired_board, presence_pin_interrupts_when_the_chip_is_unplugged) {
    bench.board.plug({"psu"}, false);
    EXPECT_EQ(reading("gpio", "interrupt"), "asserted");
    EXPECT_EQ(reading("gpio", "lid"), "input high (pulled up)");
}

TEST_F(wired_board, level_that_a_user_sets_wins_over_the_wire) {
    bench.board.set({{"gpio", "lid", "high"}});
    EXPECT_EQ(pins(), 0xF7) << "a contact that is bad";
    EXPECT_EQ(answer_of_psu(), 0);
    bench.board.set({{"gpio", "lid", "float"}});
    EXPECT_EQ(pins(), 0xF3);
}

TEST_F(wired_board, unplugged_chip_is_not_on_the_bus) {
    EXPECT_EQ(answer_of_psu(), 0);
    bench.board.plug({"psu"}, false);
    EXPECT_EQ(answer_of_psu(), ENXIO);
    EXPECT_TRUE(bench.write_read(0, 0x58, {0x79}, 2).addressed.empty());
    EXPECT_EQ(bench.read(0, 0x21, 1).error, ENXIO) << "one that was not plugged in at power-on";
    bench.board.plug({"psu"}, true);
    EXPECT_EQ(answer_of_psu(), 0);
}

TEST_F(wired_board, unplugged_chip_shows_only_what_surrounds_it) {
    bench.board.plug({"psu"}, false);
    EXPECT_EQ(reading("psu", "output"), "none");
    bench.board.set({{"psu", "load", "300W"}});
    EXPECT_EQ(reading("psu", "load"), "300.0 W");
    EXPECT_FALSE(bench.board.status().chips.at(0).plugged);
    bench.board.plug({"psu"}, true);
    EXPECT_EQ(reading("psu", "load"), "300.0 W");
    EXPECT_TRUE(bench.board.status().chips.at(0).plugged);
}

TEST_F(wired_board, chips_with_one_presence_pin_are_one_module) {
    bench.board.plug({"fru"}, false);
    EXPECT_EQ(answer_of_psu(), ENXIO);
    EXPECT_EQ(bench.read(0, 0x50, 1).error, ENXIO);
    bench.board.plug({"psu"}, true);
    EXPECT_EQ(bench.read(0, 0x50, 1).error, 0);
}

TEST_F(wired_board, unplugged_multiplexer_connects_nothing_and_starts_anew) {
    EXPECT_EQ(answer_of_psu(), 0);
    bench.board.plug({"mux"}, false);
    EXPECT_EQ(bench.write_read(0, 0x58, {0x79}, 2).error, ENXIO);
    EXPECT_EQ(bench.board.status().chips.at(3).channels.at(1).on, std::vector<bool>{false});
    bench.board.plug({"mux"}, true);
    EXPECT_EQ(reading("mux", "channels"), "none");
}

TEST_F(wired_board, unplugged_chip_does_not_hold_the_bus_nor_when_it_is_back) {
    for (const auto kind : {sim::fault_kind::stuck, sim::fault_kind::clock_held}) {
        bench.board.inject("gpio", kind, sim::fault::at_rate(1, 1));
        EXPECT_EQ(bench.write(0, 0x70, {0}).error, ETIMEDOUT);
        bench.board.plug({"gpio"}, false);
        EXPECT_EQ(bench.write(0, 0x70, {0}).error, 0);
        bench.board.plug({"gpio"}, true);
        EXPECT_EQ(bench.write(0, 0x70, {0}).error, 0);
    }
}

TEST_F(wired_board, unknown_chip_is_refused_and_nothing_is_unplugged) {
    EXPECT_THROW(bench.board.plug({"psu", "none"}, false), sim::bad_request);
    EXPECT_EQ(answer_of_psu(), 0);
}

TEST_F(wired_board, reset_pin_closes_the_channels_and_frees_a_bus_that_is_stuck) {
    EXPECT_EQ(answer_of_psu(), 0);
    bench.board.inject("fru", sim::fault_kind::stuck, sim::fault::at_rate(1, 1));
    EXPECT_EQ(bench.read(0, 0x38, 1).error, ETIMEDOUT);
    ASSERT_EQ(bench.write(1, 0x38, {1, 0xFE}).result, 2); // out.0 low, by an expander on another bus
    ASSERT_EQ(bench.write(1, 0x38, {3, 0xFE}).result, 2);
    EXPECT_EQ(reading("mux", "reset"), "low");
    EXPECT_EQ(bench.read(0, 0x38, 1).error, 0);
    EXPECT_EQ(bench.write(0, 0x70, {2}).error, ENXIO) << "in reset it does not answer";
    ASSERT_EQ(bench.write(1, 0x38, {1, 0xFF}).result, 2);
    EXPECT_EQ(bench.read(0, 0x70, 1).read.at(0), 0) << "no channel is on after it";
}

TEST_F(wired_board, input_that_is_wired_cannot_be_set) {
    EXPECT_THROW(bench.board.set({{"mux", "reset", "low"}}), sim::bad_request);
    EXPECT_EQ(reading("mux", "reset"), "high");
    bench.board.set({{"out", "0", "low"}});
    EXPECT_EQ(reading("mux", "reset"), "low") << "the pin can be";
    bench.board.plug({"out"}, false);
    EXPECT_EQ(reading("mux", "reset"), "high") << "nothing drives it";
}

TEST_F(wired_board, pin_protects_an_eeprom_from_writes) {
    ASSERT_EQ(answer_of_psu(), 0);
    EXPECT_EQ(reading("fru", "wp"), "high");
    ASSERT_EQ(bench.write(0, 0x50, {0, 0x11}).result, 2);
    EXPECT_EQ(bench.write_read(0, 0x50, {0}, 1).read.at(0), 0xFF);
    bench.board.set({{"out", "1", "low"}});
    ASSERT_EQ(bench.write(0, 0x50, {0, 0x11}).result, 2);
    bench.board.plug({"fru"}, false);
    bench.board.plug({"fru"}, true);
    EXPECT_EQ(bench.write_read(0, 0x50, {0}, 1).read.at(0), 0x11) << "it keeps its content without power";
}

TEST_F(wired_board, interrupt_outputs_share_a_pin) {
    EXPECT_EQ(reading("gpio", "5"), "input high (pulled up)");
    bench.board.set({{"out", "7", "low"}, {"clock", "7", "low"}});
    EXPECT_EQ(pins(), 0xD3);
    ASSERT_EQ(bench.write_read(1, 0x38, {0}, 1).error, 0);
    EXPECT_EQ(pins(), 0xD3) << "one of them is still asserted";
    ASSERT_EQ(bench.read(1, 0x27, 1).error, 0);
    EXPECT_EQ(pins(), 0xF3);
}

TEST_F(wired_board, output_is_wired_to_the_input_of_another_chip) {
    EXPECT_EQ(reading("sel", "intin"), "high");
    bench.board.set({{"out", "7", "low"}});
    EXPECT_EQ(reading("sel", "intin"), "low");
}

TEST(wires, that_contradict_themselves_end) {
    bench_board bench("[a]\ntype = pcf8574\nbus = 0\naddress = 0x20\ninterrupt = b.0\n"
                      "[b]\ntype = pcf8574\nbus = 0\naddress = 0x21\ninterrupt = a.0\n");
    bench.board.set({{"a", "1", "low"}});
    EXPECT_EQ(bench.read(0, 0x20, 1).error, 0);
    EXPECT_EQ(bench.read(0, 0x21, 1).error, 0);
}

} // namespace varnel::test
