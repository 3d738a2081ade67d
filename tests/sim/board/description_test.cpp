// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

TEST(description, is_read_with_chips_buses_and_settings_in_order) {
    const auto board = bench_board::describe("\xEF\xBB\xBF; a comment\n"
                                             "[board]\n"
                                             "name = bench two\n"
                                             "\n"
                                             "  [mux]\n"
                                             "  type = switch\r\n"
                                             "  bus=1\n"
                                             "  address : 0x70 ; inline\n"
                                             "# another comment\n"
                                             "[a-1_B]\n"
                                             "zeta = 3 W\n"
                                             "type = echo\n"
                                             "bus = mux.2\n"
                                             "address = 32\n"
                                             "other_bus = 0\n"
                                             "alpha =\n");
    EXPECT_EQ(board.name, "bench two");
    ASSERT_EQ(board.chips.size(), 2u);
    EXPECT_EQ(board.chips[0].name, "mux");
    EXPECT_EQ(board.chips[0].line, 5);
    EXPECT_EQ(board.chips[0].place.address, 0x70);
    EXPECT_EQ(board.chips[1].type, "echo");
    EXPECT_EQ(board.chips[1].type_line, 12);
    EXPECT_EQ(board.chips[1].place.bus, "mux.2");
    EXPECT_EQ(board.chips[1].place.line, 13);
    EXPECT_EQ(board.chips[1].place.address, 0x20);
    ASSERT_TRUE(board.chips[1].other_place);
    EXPECT_EQ(board.chips[1].other_place->address, 0x20);
    const auto &settings = board.chips[1].settings;
    ASSERT_EQ(settings.size(), 2u);
    EXPECT_EQ(settings[0].key + "=" + settings[0].value, "zeta=3 W");
    EXPECT_EQ(settings[0].line, 11);
    EXPECT_EQ(settings[1].key + "=" + settings[1].value, "alpha=");
}

TEST(description, board_without_a_name_is_named_after_its_file) {
    std::istringstream input("[a]\ntype = echo\nbus = 0\naddress = 3\n");
    EXPECT_EQ(sim::read_description(input, "boards/small.ini").name, "small");
}

TEST(description, type_with_a_slash_is_a_file_beside_the_board_file) {
    std::istringstream input("[a]\ntype = ./model.so\nbus = 0\naddress = 3\n");
    EXPECT_EQ(sim::read_description(input, "/boards/small.ini").chips.at(0).type, "/boards/./model.so");
}

struct bad_board {
    const char *what;
    const char *text;
    const char *message;
};

void PrintTo(const bad_board &board, std::ostream *out) { *out << board.what; }

class bad_description : public ::testing::TestWithParam<bad_board> {};

TEST_P(bad_description, is_refused_with_file_line_and_reason) {
    try {
        const bench_board board(GetParam().text);
        FAIL() << "accepted";
    } catch (const host::bad_line &mistake) {
        EXPECT_STREQ(mistake.what(), GetParam().message);
    }
}

constexpr const char *long_line =
    "[a]\n"
    "note = 0123456789012345678901234567890123456789012345678901234567890123456789"
    "0123456789012345678901234567890123456789012345678901234567890123456789"
    "0123456789012345678901234567890123456789012345678901234567890123456789\n";

INSTANTIATE_TEST_SUITE_P(
    all, bad_description,
    ::testing::Values(
        bad_board{"empty", "", "test.ini:1: no chip is described"},
        bad_board{"only_a_name", "[board]\nname = x\n", "test.ini:1: no chip is described"},
        bad_board{"stray_text", "[a]\ntype = echo\nrubbish\n",
                  "test.ini:3: neither a [section] nor KEY = VALUE"},
        bad_board{"open_heading", "\n[a\n", "test.ini:2: neither a [section] nor KEY = VALUE"},
        bad_board{"no_key", "[a]\n= 3\n", "test.ini:2: there is no key before the ="},
        bad_board{"no_section", "; c\ntype = echo\n", "test.ini:2: 'type' comes before the first [section]"},
        bad_board{"long_line", long_line, "test.ini:2: the line is too long"},
        bad_board{"board_key", "[board]\ncolour = red\n",
                  "test.ini:2: [board] has no 'colour', only name, clock and clock.BUS"},
        bad_board{"clock", "[board]\nclock = fast\n",
                  "test.ini:2: clock: cannot be 'fast' (expected 1 to 5000kHz)"},
        bad_board{"clock_of_a_word", "[board]\nclock.one = 100kHz\n",
                  "test.ini:2: [board] has no 'clock.one', only name, clock and clock.BUS"},
        bad_board{"clock_of_no_bus", "[board]\nclock.7 = 100kHz\n[a]\ntype = echo\nbus = 0\naddress = 3\n",
                  "test.ini:2: clock.7: there is no bus 7"},
        bad_board{"chip_name", "[9a]\ntype = echo\n",
                  "test.ini:1: '9a' cannot name a chip: letters, digits, _ and - only, a letter first"},
        bad_board{"chip_name_dot", "[a.b]\ntype = echo\n",
                  "test.ini:1: 'a.b' cannot name a chip: letters, digits, _ and - only, a letter first"},
        bad_board{"duplicate_chip",
                  "[a]\ntype = echo\nbus = 0\naddress = 0x20\n\n[a]\ntype = echo\nbus = 0\naddress = 0x21\n",
                  "test.ini:6: [a] is described twice, first on line 1"},
        bad_board{"duplicate_key", "[a]\ntype = echo\nbus = 0\ntype = switch\n",
                  "test.ini:4: 'type' is given twice, first on line 2"},
        bad_board{"empty_section", "; c\n[a]\n", "test.ini:2: chip 'a' has no 'type'"},
        bad_board{"no_bus", "[a]\ntype = echo\naddress = 3\n", "test.ini:1: chip 'a' has no 'bus'"},
        bad_board{"no_address", "[a]\ntype = echo\nbus = 0\n", "test.ini:1: chip 'a' has no 'address'"},
        bad_board{"address_word", "[a]\ntype = echo\nbus = 0\naddress = 0x2g\n",
                  "test.ini:4: address '0x2g' is not a number"},
        bad_board{"address_sign", "[a]\ntype = echo\nbus = 0\naddress = -3\n",
                  "test.ini:4: address '-3' is not a number"},
        bad_board{"address_huge", "[a]\ntype = echo\nbus = 0\naddress = 99999999999\n",
                  "test.ini:4: address '99999999999' is not a number"},
        bad_board{"address_low", "[a]\ntype = echo\nbus = 0\naddress = 2\n",
                  "test.ini:4: address 0x02 is outside 0x03 to 0x77"},
        bad_board{"address_high", "[a]\ntype = echo\nbus = 0\naddress = 0x78\n",
                  "test.ini:4: address 0x78 is outside 0x03 to 0x77"},
        bad_board{"other_address_alone", "[a]\ntype = pca9541\nbus = 0\naddress = 3\nother_address = 4\n",
                  "test.ini:5: other_address without other_bus"},
        bad_board{"other_bus_of_one", "[a]\ntype = echo\nbus = 0\naddress = 3\nother_bus = 1\n",
                  "test.ini:5: a echo has one bus, not two"},
        bad_board{"adapter_range", "[a]\ntype = echo\nbus = 256\naddress = 3\n",
                  "test.ini:3: bus 256 is outside 0 to 255"},
        bad_board{"unknown_mux", "[a]\ntype = echo\nbus = mux.0\naddress = 3\n",
                  "test.ini:3: bus 'mux.0': there is no chip 'mux'"},
        bad_board{"no_mux",
                  "[b]\ntype = echo\nbus = 0\naddress = 3\n[a]\ntype = echo\nbus = b\naddress = 3\n",
                  "test.ini:7: bus 'b': nothing is behind a echo"},
        bad_board{"channel_missing",
                  "[m]\ntype = switch\nbus = 0\naddress = 3\n[a]\ntype = echo\nbus = m\naddress = 4\n",
                  "test.ini:7: bus 'm': which channel? m.0 to m.3"},
        bad_board{"channel_range",
                  "[m]\ntype = switch\nbus = 0\naddress = 3\n[a]\ntype = echo\nbus = m.4\naddress = 4\n",
                  "test.ini:7: bus 'm.4': the channels of 'm' are 0 to 3"},
        bad_board{"channel_word",
                  "[m]\ntype = switch\nbus = 0\naddress = 3\n[a]\ntype = echo\nbus = m.x\naddress = 4\n",
                  "test.ini:7: bus 'm.x': the channels of 'm' are 0 to 3"},
        bad_board{"channel_with_leading_zero",
                  "[m]\ntype = switch\nbus = 0\naddress = 3\n[a]\ntype = echo\nbus = m.01\naddress = 4\n",
                  "test.ini:7: bus 'm.01': the channels of 'm' are 0 to 3"},
        bad_board{"adapter_with_leading_zero", "[a]\ntype = echo\nbus = 01\naddress = 4\n",
                  "test.ini:3: bus '01': there is no chip '01'"},
        bad_board{"channel_of_selector",
                  "[s]\ntype = pca9541\nbus = 0\naddress = 0x74\n"
                  "[a]\ntype = echo\nbus = s.0\naddress = 4\n",
                  "test.ini:7: bus 's.0': a pca9541 has no channels; the bus behind it is 's'"},
        bad_board{"loop_of_one", "[m]\ntype = switch\nbus = m.1\naddress = 3\n",
                  "test.ini:3: bus 'm.1': 'm' would be behind itself"},
        bad_board{"loop_of_two",
                  "[a]\ntype = echo\nbus = n.0\naddress = 3\n"
                  "[m]\ntype = switch\nbus = n.1\naddress = 3\n[n]\ntype = switch\nbus = m.0\naddress = 4\n",
                  "test.ini:7: bus 'n.1': 'm' would be behind itself"},
        bad_board{"loop_by_second_master",
                  "[s]\ntype = pca9541\nbus = 0\naddress = 0x74\nother_bus = m.0\n"
                  "[m]\ntype = switch\nbus = s\naddress = 3\n",
                  "test.ini:5: bus 'm.0': 's' would be behind itself"},
        bad_board{"address_clash",
                  "[a]\ntype = echo\nbus = 0\naddress = 3\n[b]\ntype = echo\nbus = 0\naddress = 0x03\n",
                  "test.ini:7: 'b' has address 0x03 on bus 0, and so has 'a'"},
        bad_board{"gpiochip_word", "[a]\ntype = pca9555\nbus = 0\naddress = 3\ngpiochip = on\n",
                  "test.ini:5: gpiochip 'on' is neither yes nor no"},
        bad_board{"gpiochip_without_registers", "[a]\ntype = pcf8574\nbus = 0\naddress = 3\ngpiochip = yes\n",
                  "test.ini:5: a pcf8574 cannot be a gpiochip"},
        bad_board{"gpiochip_behind_a_multiplexer",
                  "[m]\ntype = switch\nbus = 0\naddress = 3\n"
                  "[a]\ntype = pca9555\nbus = m.0\naddress = 4\ngpiochip = yes\n",
                  "test.ini:9: 'a' is on bus 'm.0', and a gpiochip has to be on an adapter"},
        bad_board{"plugged_word", "[a]\ntype = echo\nbus = 0\naddress = 3\nplugged = maybe\n",
                  "test.ini:5: plugged 'maybe' is neither yes nor no"},
        bad_board{"presence_without_pin", "[a]\ntype = echo\nbus = 0\naddress = 3\npresent = yes\n",
                  "test.ini:5: present 'yes': not CHIP.PIN"},
        bad_board{"presence_of_no_chip", "[a]\ntype = echo\nbus = 0\naddress = 3\npresent = gpio.3\n",
                  "test.ini:5: present 'gpio.3': there is no chip 'gpio'"},
        bad_board{"presence_without_pins",
                  "[a]\ntype = echo\nbus = 0\naddress = 3\npresent = b.3\n"
                  "[b]\ntype = echo\nbus = 0\naddress = 4\n",
                  "test.ini:5: present 'b.3': 'b', a echo, has no pins"},
        bad_board{"presence_level",
                  "[a]\ntype = echo\nbus = 0\naddress = 3\npresent = b.3 up\n"
                  "[b]\ntype = pca9554\nbus = 0\naddress = 4\n",
                  "test.ini:5: present 'b.3 up': the level while the chip is there is low or high"},
        bad_board{"presence_unknown_pin",
                  "[a]\ntype = echo\nbus = 0\naddress = 3\npresent = b.8\n"
                  "[b]\ntype = pca9554\nbus = 0\naddress = 4\n",
                  "test.ini:5: present 'b.8': 'b' has no pin '8'"},
        bad_board{"wire_to_itself", "[a]\ntype = pca9554\nbus = 0\naddress = 3\ninterrupt = a.0\n",
                  "test.ini:5: interrupt 'a.0': a chip cannot be wired to itself"},
        bad_board{"bad_setting", "[a]\ntype = echo\nbus = 0\naddress = 3\nfill = x\n",
                  "test.ini:5: a: fill takes no x"},
        bad_board{"unknown_setting", "[a]\ntype = echo\nbus = 0\naddress = 3\n\nspin = 1\n",
                  "test.ini:6: a: no setting spin"}),
    [](const auto &each) { return each.param.what; });

TEST(description, gpiochips_are_numbered_by_bus_and_place_in_the_file) {
    const bench_board bench("[a]\ntype = pca9555\nbus = 2\naddress = 0x20\ngpiochip = yes\n"
                            "[b]\ntype = pca9554\nbus = 1\naddress = 0x25\ngpiochip = yes\n"
                            "[c]\ntype = pca9505\nbus = 1\naddress = 0x21\ngpiochip = yes\n"
                            "[d]\ntype = pca9555\nbus = 0\naddress = 0x20\ngpiochip = no\n"
                            "[e]\ntype = pca9555\nbus = 0\naddress = 0x21\n");
    const auto chips = bench.board.gpiochips();
    ASSERT_EQ(chips.size(), 3u);
    EXPECT_EQ(chips[0].part->model->type(), "pca9554");
    EXPECT_EQ(chips[1].part->model->type(), "pca9505");
    EXPECT_EQ(chips[2].bus, 2);
    EXPECT_EQ(chips[2].address, 0x20);
}

TEST(description, nul_byte_is_refused_with_its_line) {
    const std::string head = "[a]\ntype = echo\nbus = 0\naddress = 3\n";
    const std::string places[] = {"fill = 3" + std::string(1, '\0') + "4\n", std::string("\0fill = 3\n", 10),
                                  std::string("; a comment\0\n", 13), std::string(1, '\0')};
    for (const std::string &line : places) {
        try {
            (void)bench_board::describe(head + line);
            ADD_FAILURE() << "accepted: " << ::testing::PrintToString(line);
        } catch (const host::bad_line &mistake) {
            EXPECT_STREQ(mistake.what(), "test.ini:5: the line contains a NUL");
        }
    }
}

TEST(description, unknown_type_is_refused_with_the_list_of_types) {
    try {
        const bench_board board("[a]\nbus = 0\naddress = 3\ntype = pca9999\n");
        FAIL() << "accepted";
    } catch (const host::bad_line &mistake) {
        EXPECT_THAT(mistake.what(), ::testing::StartsWith("test.ini:4: "));
        EXPECT_THAT(mistake.what(), ::testing::HasSubstr("pca9999"));
        EXPECT_THAT(mistake.what(), ::testing::HasSubstr("pca9555"));
    }
}

} // namespace varnel::test
