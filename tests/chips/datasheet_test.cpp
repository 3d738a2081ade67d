// SPDX-License-Identifier: Apache-2.0
#include "chips/datasheet.h"

#include <array>

#include <gtest/gtest.h>

#include "chips/pmbus.h"

namespace varnel::chips::test {
namespace {

constexpr std::array registers{
    chip_register{.code = 0x02, .name = "Port", .count = 2, .numbers = numbering::from_zero},
    chip_register{.code = 0x10, .name = "Control"},
    chip_register{.code = 0x20, .name = "RAM", .count = 3, .numbers = numbering::by_code},
};
constexpr datasheet sheet{
    .type = "type", .title = "title", .source = "source", .registers = registers, .flags = 0x80};

TEST(datasheet, entry_is_found_by_any_of_its_codes) {
    EXPECT_EQ(find_register(sheet, 0x01), nullptr);
    EXPECT_EQ(find_register(sheet, 0x02), &registers[0]);
    EXPECT_EQ(find_register(sheet, 0x03), &registers[0]);
    EXPECT_EQ(find_register(sheet, 0x04), nullptr);
    EXPECT_EQ(find_register(sheet, 0x22), &registers[2]);
    EXPECT_EQ(find_register(sheet, 0x23), nullptr);
}

TEST(datasheet, flags_do_not_select_a_register) {
    EXPECT_EQ(find_register(sheet, 0x90), &registers[1]);
    EXPECT_EQ(find_register(sheet, 0x50), nullptr);
}

TEST(datasheet, names_end_with_their_index_or_code) {
    EXPECT_EQ(register_name(sheet, 0x10), "Control");
    EXPECT_EQ(register_name(sheet, 0x03), "Port 1");
    EXPECT_EQ(register_name(sheet, 0x83), "Port 1");
    EXPECT_EQ(register_name(sheet, 0x22), "RAM 0x22");
    EXPECT_EQ(register_name(sheet, 0x11), "");
}

TEST(datasheet, pmbus_commands_are_in_the_order_of_their_codes) {
    EXPECT_TRUE(std::ranges::is_sorted(pmbus_commands, std::ranges::less_equal(), &chip_register::code));
    EXPECT_EQ(standard(pmbus::status_word).name, "STATUS_WORD");
}

} // namespace
} // namespace varnel::chips::test
