// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "varnel/ipmi_relay.h"

namespace {

using namespace varnel::test;

const std::string untouched(40, '#');
const char all_ones = static_cast<char>(0xFF);

class device_name : public ::testing::Test {
  protected:
    /// The field, or "result N" on failure. Bytes after the field must be untouched.
    std::string name(const std::string &content, char start, char end, int32_t nth) {
        write_file(path, content);
        std::string dst = untouched;
        const int result = get_device_name(path.c_str(), start, end, dst.data(), nth);
        const std::string field = dst.c_str();
        EXPECT_EQ(dst.substr(field.size() + 1), untouched.substr(field.size() + 1));
        return result == 0 ? field : "result " + std::to_string(result);
    }

    scratch_folder folder;
    std::string path = folder.file("devices");
};

TEST_F(device_name, is_the_text_between_the_characters) {
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 1), "cpu");
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 2), "fan");
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 3), "psu");
}

TEST_F(device_name, start_and_end_character_may_be_the_same) {
    EXPECT_EQ(name("|cpu|fan|", '|', '|', 1), "cpu");
    EXPECT_EQ(name("|cpu|fan|", '|', '|', 2), "fan");
    EXPECT_EQ(name("||", '|', '|', 1), "");
}

TEST_F(device_name, newlines_are_ordinary_characters) {
    EXPECT_EQ(name("a=1\nb=2\n", '=', '\n', 2), "2");
    EXPECT_EQ(name("a=1\nb=2\n", '\n', '=', 1), "b");
    EXPECT_EQ(name("<a\nb>", '<', '>', 1), "a\nb");
}

TEST_F(device_name, field_may_contain_the_start_character) { EXPECT_EQ(name("<a<b>", '<', '>', 1), "a<b"); }

TEST_F(device_name, end_character_before_the_field_is_skipped) {
    EXPECT_EQ(name(">>><a>", '<', '>', 1), "a");
}

TEST_F(device_name, missing_field_is_empty) {
    EXPECT_EQ(name("", '<', '>', 1), "");
    EXPECT_EQ(name("no field", '<', '>', 1), "");
    EXPECT_EQ(name("<one>", '<', '>', 2), "");
}

TEST_F(device_name, occurrence_of_0_or_less_never_matches) {
    for (const int32_t nth : {0, -1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(name("<a><b><c>", '<', '>', nth), "") << nth;
    }
}

TEST_F(device_name, long_field_is_cut_after_29_characters) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGH";
    EXPECT_EQ(name("<" + letters.substr(0, 28) + ">", '<', '>', 1), letters.substr(0, 28));
    EXPECT_EQ(name("<" + letters.substr(0, 29) + ">", '<', '>', 1), letters.substr(0, 29));
    EXPECT_EQ(name("<" + letters.substr(0, 30) + ">", '<', '>', 1), letters.substr(0, 29));
    EXPECT_EQ(name("<" + letters, '<', '>', 1), letters.substr(0, 29));
}

TEST_F(device_name, field_cut_by_end_of_file_is_padded_with_0xff) {
    EXPECT_EQ(name("<ab", '<', '>', 1), "ab" + std::string(27, all_ones));
    EXPECT_EQ(name("<", '<', '>', 1), std::string(29, all_ones));
}

TEST_F(device_name, end_of_file_ends_a_field_whose_end_character_is_0xff) {
    EXPECT_EQ(name("<ab", '<', all_ones, 1), "ab");
    EXPECT_EQ(name(std::string("<ab") + all_ones + "c", '<', all_ones, 1), "ab");
}

TEST_F(device_name, bytes_above_127_are_ordinary_characters) {
    EXPECT_EQ(name("x\xE4yz\xF6", '\xE4', '\xF6', 1), "yz");
    EXPECT_EQ(name("x\xFF"
                   "ab>",
                   all_ones, '>', 1),
              "ab");
    EXPECT_EQ(name("x", all_ones, '>', 1), ""); // the end of the file is not an occurrence
    EXPECT_EQ(name("<a\xFF"
                   "b>",
                   '<', '>', 1),
              "a\xFF"
              "b");
}

TEST_F(device_name, nul_cuts_the_field) {
    EXPECT_EQ(name(std::string("<ab\0cd>", 7), '<', '>', 1), "ab");
    EXPECT_EQ(name(std::string("<ab\0cd>", 7), '<', '\0', 1), "ab");
    EXPECT_EQ(name(std::string("ab\0cd>", 6), '\0', '>', 1), "cd");
}

TEST_F(device_name, field_far_into_the_file_is_found) {
    std::string content;
    for (int i = 1; i <= 20'000; ++i) {
        content += "<" + std::to_string(i) + "> ";
    }
    EXPECT_EQ(name(content, '<', '>', 19'999), "19999");
}

TEST_F(device_name, file_that_cannot_be_opened_fails) {
    std::string dst = untouched;
    EXPECT_EQ(get_device_name(folder.file("missing").c_str(), '<', '>', dst.data(), 1), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(dst, untouched);
}

TEST_F(device_name, unreadable_file_returns_an_empty_field) {
    std::string dst = untouched;
    EXPECT_EQ(get_device_name(folder.file(".").c_str(), '<', '>', dst.data(), 1), 0);
    EXPECT_STREQ(dst.c_str(), "");
}

} // namespace
