// SPDX-License-Identifier: Apache-2.0
#include "varnel/logparser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/assertion_lines.h"
#include "support/scratch_folder.h"

namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::StrEq;
using varnel::test::scratch_folder;
using varnel::test::write_file;

constexpr unsigned char old_byte = 0xA5;
constexpr int32_t old_count = -77;

class record_file : public ::testing::Test {
  protected:
    record_file() { clear(); }

    void clear() {
        std::memset(table_.get(), old_byte, sizeof(TABLE));
        table_->count = old_count;
    }

    int32_t parse(const std::string &text, const char *delimiters, int32_t token_count) {
        clear();
        write_file(path_, text);
        return log_styled_file_parse(path_.c_str(), delimiters, token_count, table_.get());
    }

    /// The stored tokens of a record; 64 bytes for one without a terminator.
    std::vector<std::string> record(int32_t r, int32_t tokens) const {
        std::vector<std::string> found;
        for (int32_t k = 0; k < tokens; ++k) {
            const char *const field = table_->records[r].tokens[k];
            found.emplace_back(field, strnlen(field, VARNEL_LOG_TOKEN_SIZE));
        }
        return found;
    }

    const std::byte *bytes() const { return reinterpret_cast<const std::byte *>(table_.get()); }

    bool untouched_from(std::size_t offset, std::size_t end = sizeof(TABLE) - sizeof(int32_t)) const {
        return std::all_of(bytes() + offset, bytes() + end,
                           [](std::byte b) { return b == std::byte{old_byte}; });
    }

    scratch_folder folder_;
    const std::string path_ = folder_.file("records");
    std::unique_ptr<TABLE> table_ = std::make_unique_for_overwrite<TABLE>();
};

TEST_F(record_file, stores_tokens_by_line_and_column) {
    EXPECT_EQ(parse("2001-01-01,fan,failed\n2001-01-02,psu,ok\n", ",", 3), 0);
    EXPECT_EQ(table_->count, 2);
    EXPECT_THAT(record(0, 3), ElementsAre("2001-01-01", "fan", "failed"));
    EXPECT_THAT(record(1, 3), ElementsAre("2001-01-02", "psu", "ok"));
}

TEST_F(record_file, bytes_above_127_are_ordinary_characters) {
    std::string high;
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        high += static_cast<char>(byte);
    }
    // Not white space, whether characters are signed or not: both ends of the line are kept.
    EXPECT_EQ(parse(high.substr(0, 60) + "," + high.substr(60, 60) + "," + high.substr(120) + "\n", ",", 3),
              0);
    EXPECT_THAT(record(0, 3), ElementsAre(high.substr(0, 60), high.substr(60, 60), high.substr(120)));
    EXPECT_EQ(parse("a\xFF"
                    "b\xE4"
                    "c\n",
                    "\xE4\xFF", 3),
              0);
    EXPECT_THAT(record(0, 3), ElementsAre("a", "b", "c"));
}

TEST_F(record_file, reads_a_file_larger_than_2_gib) {
    std::string lines;
    for (int i = 0; i < VARNEL_LOG_RECORDS + 1; ++i) {
        lines += "a\n";
    }
    clear();
    write_file(path_, lines);
    ASSERT_EQ(truncate64(path_.c_str(), (int64_t{1} << 31) + 1), 0);
    // Reading ends at the first record that does not fit, long before the hole.
    EXPECT_EQ(log_styled_file_parse(path_.c_str(), ",", 1, table_.get()), -1);
    EXPECT_EQ(table_->count, VARNEL_LOG_RECORDS) << "32-bit boards, too";
}

TEST_F(record_file, table_has_the_documented_layout_byte_by_byte) {
    EXPECT_EQ(parse("a,b,c,d,e,f,g,h\ni,j,k,l,m,n,o,p\n", ",", 8), 0);
    for (std::size_t r = 0; r < 2; ++r) {
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_EQ(bytes()[r * 516 + k * 64], std::byte('a' + 8 * r + k));
            EXPECT_EQ(bytes()[r * 516 + k * 64 + 1], std::byte{0});
        }
        EXPECT_TRUE(untouched_from(r * 516 + 512, r * 516 + 516)) << "the last four bytes of the record";
    }
    EXPECT_TRUE(untouched_from(2 * 516));
    int32_t count = 0;
    std::memcpy(&count, bytes() + 16384 * 516, sizeof count);
    EXPECT_EQ(count, 2);
}

TEST_F(record_file, token_is_stored_with_the_bytes_that_follow_it) {
    EXPECT_EQ(parse("ab,cd,ef\n", ",", 2), 0);
    EXPECT_EQ(std::memcmp(table_->records[0].tokens[0], "ab\0cd,ef\0\0\0", 11), 0);
    EXPECT_EQ(std::memcmp(table_->records[0].tokens[1], "cd\0ef\0\0\0", 8), 0);
    EXPECT_TRUE(untouched_from(2 * 64, 516)) << "fields beyond the requested tokens";
}

TEST_F(record_file, token_of_64_or_more_characters_is_cut_to_64_without_nul) {
    const std::string t63(63, 'x');
    const std::string t64(64, 'y');
    const std::string t65(65, 'z');
    EXPECT_EQ(parse(t63 + "," + t64 + "," + t65 + "\n", ",", 3), 0);
    EXPECT_THAT(record(0, 3), ElementsAre(t63, t64, t65.substr(0, 64)));
    EXPECT_EQ(table_->records[0].tokens[0][63], '\0');
}

TEST_F(record_file, white_space_at_both_ends_of_a_line_is_trimmed) {
    for (const char *line : {"a,b", "  a,b  ", "\t \f\b\ra,b\b\f\t \r", "a,b\r\n", "\t\ta,b\n"}) {
        EXPECT_EQ(parse(line, ",", 2), 0);
        EXPECT_EQ(table_->count, 1);
        EXPECT_THAT(record(0, 2), ElementsAre("a", "b")) << line;
    }
    EXPECT_EQ(parse("\va,b\v\n", ",", 2), 0);
    EXPECT_THAT(record(0, 2), ElementsAre("\va", "b\v")) << "a vertical tab is not trimmed";
    EXPECT_EQ(parse(" a , b \n", ",", 2), 0);
    EXPECT_THAT(record(0, 2), ElementsAre("a ", " b")) << "only at the ends";
}

TEST_F(record_file, empty_lines_and_comments_are_not_records) {
    EXPECT_EQ(parse("// a,b\n\n  \t\n   // c,d\n//\na,b\n/ /,x\n", ",", 2), 0);
    EXPECT_EQ(table_->count, 2);
    EXPECT_THAT(record(0, 2), ElementsAre("a", "b"));
    EXPECT_THAT(record(1, 2), ElementsAre("/ /", "x"));
    EXPECT_EQ(parse("/\n", ",", 1), 0);
    EXPECT_EQ(table_->count, 1);
}

TEST_F(record_file, end_of_file_needs_no_newline) {
    for (const char *text : {"", "\n", " ", "// x", "\n\n", "//"}) {
        EXPECT_EQ(parse(text, ",", 2), 0) << text;
        EXPECT_EQ(table_->count, 0) << text;
    }
    for (const char *text : {"a,b", "a,b\n", "a,b\n\n", "a,b\n ", "a,b\n// x", "a,b\r\n\r\n"}) {
        EXPECT_EQ(parse(text, ",", 2), 0) << text;
        EXPECT_EQ(table_->count, 1) << text;
    }
}

TEST_F(record_file, line_with_too_few_tokens_fails_after_the_records_before) {
    EXPECT_EQ(parse("a,b,c\nd,e,f\nx,y\ng,h,i\n", ",", 3), -1);
    EXPECT_EQ(table_->count, 2);
    EXPECT_THAT(record(1, 3), ElementsAre("d", "e", "f"));
    EXPECT_THAT(record(2, 2), ElementsAre("x", "y")) << "its tokens are stored, the record is not counted";
    EXPECT_TRUE(untouched_from(2 * 516 + 2 * 64));
}

TEST_F(record_file, extra_tokens_and_empty_fields_are_ignored) {
    EXPECT_EQ(parse("a,,b,c,d\n,,a\tb\n", ",\t", 2), 0);
    EXPECT_THAT(record(0, 2), ElementsAre("a", "b"));
    EXPECT_THAT(record(1, 2), ElementsAre("a", "b"));
    EXPECT_EQ(parse(",,,\n", ",", 1), -1);
    EXPECT_EQ(table_->count, 0);
}

TEST_F(record_file, without_delimiters_a_line_is_one_token) {
    EXPECT_EQ(parse("a,b c\n", "", 1), 0);
    EXPECT_THAT(record(0, 1), ElementsAre("a,b c"));
}

TEST_F(record_file, token_count_of_0_or_less_only_counts_lines) {
    for (const int32_t none : {0, -1, INT32_MIN}) {
        EXPECT_EQ(parse("a,b\n// c\n\nd\n", ",", none), 0);
        EXPECT_EQ(table_->count, 2);
        EXPECT_TRUE(untouched_from(0));
    }
}

TEST_F(record_file, more_than_8_tokens_fail_and_leave_the_table_untouched) {
    for (const int32_t count : {9, 10, 1000, INT32_MAX}) {
        EXPECT_EQ(parse("a b c d e f g h i j k\n", " ", count), -1);
        EXPECT_EQ(table_->count, old_count);
        EXPECT_TRUE(untouched_from(0));
    }
}

TEST_F(record_file, missing_file_leaves_the_table_untouched) {
    for (const std::string &path : {folder_.file("none"), folder_.file("none/none")}) {
        EXPECT_EQ(log_styled_file_parse(path.c_str(), ",", 1, table_.get()), -1);
        EXPECT_EQ(table_->count, old_count);
        EXPECT_TRUE(untouched_from(0));
    }
}

TEST_F(record_file, reading_a_folder_fails_with_a_count_of_0) {
    EXPECT_EQ(log_styled_file_parse(folder_.path().c_str(), ",", 1, table_.get()), -1);
    EXPECT_EQ(table_->count, 0);
}

TEST_F(record_file, long_lines_are_read_in_pieces_of_255_bytes) {
    EXPECT_EQ(parse(std::string(255, 'a') + std::string(255, 'b') + "c\nd\n", ",", 1), 0);
    EXPECT_EQ(table_->count, 4);
    EXPECT_THAT(record(0, 1), ElementsAre(std::string(64, 'a')));
    EXPECT_THAT(record(1, 1), ElementsAre(std::string(64, 'b')));
    EXPECT_THAT(record(2, 1), ElementsAre("c"));
    EXPECT_THAT(record(3, 1), ElementsAre("d"));
}

TEST_F(record_file, piece_that_is_only_a_newline_is_not_a_record) {
    for (const std::size_t length : {253U, 254U, 255U}) {
        EXPECT_EQ(parse(std::string(length, 'a') + "\nb", ",", 1), 0);
        EXPECT_EQ(table_->count, 2) << length;
        EXPECT_EQ(parse(std::string(length, 'a'), ",", 1), 0);
        EXPECT_EQ(table_->count, 1) << length;
    }
    EXPECT_EQ(parse(std::string(255, 'a') + "//b\n", ",", 1), 0);
    EXPECT_EQ(table_->count, 1) << "the second piece begins like a comment";
}

TEST_F(record_file, token_at_the_end_of_its_line_is_padded_with_nul) {
    for (const std::size_t at : {191U, 192U, 193U, 200U, 254U}) {
        const std::string token(255 - at, 't');
        EXPECT_EQ(parse(std::string(at - 1, 'a') + "," + token, ",", 2), 0);
        EXPECT_EQ(table_->count, 1);
        std::string field(table_->records[0].tokens[1], 64);
        std::string expected = token;
        expected.resize(64);
        EXPECT_EQ(field, expected) << at;
    }
}

TEST_F(record_file, nul_ends_its_line) {
    EXPECT_EQ(parse("a,b\0c,d\ne,f\n\0g,h\n"s, ",", 2), 0);
    EXPECT_EQ(table_->count, 2);
    EXPECT_THAT(record(0, 2), ElementsAre("a", "b"));
    EXPECT_THAT(record(1, 2), ElementsAre("e", "f"));
    EXPECT_EQ(parse("a\0b,c\n"s, ",", 2), -1);
}

TEST_F(record_file, table_holds_16384_records_and_one_more_fails) {
    std::string text;
    for (int line = 0; line < 16384; ++line) {
        text += std::to_string(line) + ",x\n";
    }
    EXPECT_EQ(parse(text + "\n// end\n", ",", 2), 0);
    EXPECT_EQ(table_->count, 16384);
    EXPECT_THAT(record(16383, 2), ElementsAre("16383", "x"));

    EXPECT_EQ(parse(text + "one,more\n", ",", 2), -1);
    EXPECT_EQ(table_->count, 16384);
    EXPECT_THAT(record(16383, 2), ElementsAre("16383", "x"));
    EXPECT_EQ(parse(text + "one,more\n", ",", 0), -1);
    EXPECT_EQ(table_->count, 16384);
}

TEST(next_token, returns_what_strtok_returns) {
    std::string text = "a,b;c";
    EXPECT_THAT(get_token_from_string(text.data(), ",", 0), StrEq("a"));
    EXPECT_THAT(get_token_from_string(nullptr, ";", 1), StrEq("b"));
    EXPECT_THAT(get_token_from_string(text.data(), ";", -1), StrEq("c")) << "any index except 0 continues";
    EXPECT_THAT(get_token_from_string(nullptr, ";", 7), IsNull());
}

TEST(next_token, shares_its_position_with_strtok) {
    std::string text = "a b c";
    EXPECT_THAT(strtok(text.data(), " "), StrEq("a"));
    EXPECT_THAT(get_token_from_string(nullptr, " ", 1), StrEq("b"));
    EXPECT_THAT(strtok(nullptr, " "), StrEq("c"));
}

TEST(next_token, string_of_delimiters_only_returns_null) {
    std::string text = ",,";
    EXPECT_THAT(get_token_from_string(text.data(), ",", 0), IsNull());
}

TEST(record_file_DeathTest, null_table_ends_the_process) {
    EXPECT_EXIT(log_styled_file_parse("none", ",", 9, nullptr), ::testing::KilledBySignal(SIGABRT),
                varnel::test::assertion_message("logparser", "log_styled_file_parse",
                                                "multi_line_string_tokens != \\(\\(void \\*\\)0\\)"));
}

} // namespace
