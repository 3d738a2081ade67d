// SPDX-License-Identifier: Apache-2.0
#include "sim/board/register_dump.h"

#include <fstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/board/description.h"
#include "tests/support/scratch_folder.h"

namespace varnel::sim::test {
namespace {

using testing::ElementsAre;
using varnel::test::scratch_folder;

class register_dump : public ::testing::Test {
  public:
    /// The settings, as "KEY = VALUE", of a dump with this text.
    [[nodiscard]] std::vector<std::string> settings(std::string_view text) const {
        std::ofstream(dump_) << text;
        std::vector<std::string> all;
        for (const host::ini_entry &each : settings_of_dump(dump_, {board_, 7})) {
            EXPECT_EQ(each.line, 7);
            all.push_back(fmt::format("{} = {}", each.key, each.value));
        }
        return all;
    }

    /// What a dump is refused with, after the name of its file.
    [[nodiscard]] std::string refusal(std::string_view text) const {
        try {
            return fmt::format("{} settings", settings(text).size());
        } catch (const host::bad_line &refused) {
            return std::string(refused.what()).substr(dump_.size());
        }
    }

    scratch_folder here_;
    std::string dump_ = here_.file("chip.dump");
    std::string board_ = here_.file("board.ini");
};

constexpr std::string_view byte_heading =
    "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";

TEST_F(register_dump, of_bytes_has_values_gaps_and_registers_that_could_not_be_read) {
    EXPECT_THAT(
        settings(std::string(byte_heading) +
                 "10:                48 XX 00                               H..  \n"
                 "f0: 01                                           fe    .              .\n"),
        ElementsAre("data.15 = 48", "access.16 = none", "data.17 = 00", "data.f0 = 01", "data.ff = fe"));
}

TEST_F(register_dump, of_words_makes_registers_of_16_bits) {
    EXPECT_THAT(settings("     0,8  1,9  2,a  3,b  4,c  5,d  6,e  7,f\n"
                         "08: 1234 XXXX           00ff                \n"),
                ElementsAre("width = 16", "data.08 = 1234", "access.09 = none", "data.0c = 00ff"));
}

TEST_F(register_dump, may_begin_with_messages) {
    EXPECT_THAT(settings("No size specified (using byte-data access)\n" + std::string(byte_heading) +
                         "00: 48 65\n\n"),
                ElementsAre("data.00 = 48", "data.01 = 65"));
}

TEST_F(register_dump, with_mistakes_is_refused_with_its_line) {
    EXPECT_EQ(refusal(""), ":1: not what i2cdump prints by bytes or words");
    EXPECT_EQ(refusal("hello\nworld\n"), ":2: not what i2cdump prints by bytes or words");
    EXPECT_EQ(refusal(std::string(byte_heading) + "0g: 00\n"), ":2: '0g: 00' is not a row of a dump");
    EXPECT_EQ(refusal(std::string(byte_heading) + "00: 00\n18: 00\n"), ":3: '18: 00' is not a row of a dump");
    EXPECT_EQ(refusal(std::string(byte_heading) + "00:00\n"), ":2: '00:00' is not a row of a dump");
    EXPECT_EQ(refusal(std::string(byte_heading) + "00: 0 \n"), ":2: '0 ' is not the value of a register");
}

TEST_F(register_dump, that_cannot_be_read_is_a_mistake_of_the_board_file) {
    const std::string reason = "a file of at most 4096 bytes";
    for (const std::string &name : {here_.file("none"), here_.path(), std::string("/dev/zero")}) {
        try {
            (void)settings_of_dump(name, {board_, 7});
            FAIL() << name;
        } catch (const host::bad_line &refused) {
            EXPECT_EQ(refused.what(), fmt::format("{}:7: dump: cannot read {}, {}", board_, name, reason));
        }
    }
}

TEST_F(register_dump, is_found_beside_the_board_file_and_stands_for_settings_in_its_place) {
    std::ofstream(dump_) << byte_heading << "00: 48\n";
    std::ofstream(board_) << "[a]\ntype = registers\nbus = 0\naddress = 0x20\nwidth = 8\ndump = chip.dump\n"
                             "access.00 = ro\n";
    std::ifstream input(board_);
    const board_description board = read_description(input, board_);
    std::vector<std::string> keys;
    for (const host::ini_entry &each : board.chips.at(0).settings) {
        keys.push_back(each.key);
    }
    EXPECT_THAT(keys, ElementsAre("width", "data.00", "access.00"));
}

} // namespace
} // namespace varnel::sim::test
