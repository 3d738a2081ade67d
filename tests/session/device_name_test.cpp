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

class DeviceName : public ::testing::Test {
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

TEST_F(DeviceName, IsTheTextBetweenTheCharacters) {
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 1), "cpu");
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 2), "fan");
    EXPECT_EQ(name("id <cpu> <fan>\n<psu>", '<', '>', 3), "psu");
}

TEST_F(DeviceName, StartAndEndMayBeTheSame) {
    EXPECT_EQ(name("|cpu|fan|", '|', '|', 1), "cpu");
    EXPECT_EQ(name("|cpu|fan|", '|', '|', 2), "fan");
    EXPECT_EQ(name("||", '|', '|', 1), "");
}

TEST_F(DeviceName, NewlinesAreCharactersLikeOthers) {
    EXPECT_EQ(name("a=1\nb=2\n", '=', '\n', 2), "2");
    EXPECT_EQ(name("a=1\nb=2\n", '\n', '=', 1), "b");
    EXPECT_EQ(name("<a\nb>", '<', '>', 1), "a\nb");
}

TEST_F(DeviceName, FieldMayContainTheStartCharacter) { EXPECT_EQ(name("<a<b>", '<', '>', 1), "a<b"); }

TEST_F(DeviceName, EndCharacterBeforeTheFieldIsPassedOver) { EXPECT_EQ(name(">>><a>", '<', '>', 1), "a"); }

TEST_F(DeviceName, MissingFieldIsEmpty) {
    EXPECT_EQ(name("", '<', '>', 1), "");
    EXPECT_EQ(name("no field", '<', '>', 1), "");
    EXPECT_EQ(name("<one>", '<', '>', 2), "");
}

TEST_F(DeviceName, OccurrencesBelowTheFirstNeverMatch) {
    for (const int32_t nth : {0, -1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(name("<a><b><c>", '<', '>', nth), "") << nth;
    }
}

TEST_F(DeviceName, LongFieldIsCutAfter29Characters) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGH";
    EXPECT_EQ(name("<" + letters.substr(0, 28) + ">", '<', '>', 1), letters.substr(0, 28));
    EXPECT_EQ(name("<" + letters.substr(0, 29) + ">", '<', '>', 1), letters.substr(0, 29));
    EXPECT_EQ(name("<" + letters.substr(0, 30) + ">", '<', '>', 1), letters.substr(0, 29));
    EXPECT_EQ(name("<" + letters, '<', '>', 1), letters.substr(0, 29));
}

TEST_F(DeviceName, EndOfFileInsideTheFieldFillsItUp) {
    EXPECT_EQ(name("<ab", '<', '>', 1), "ab" + std::string(27, all_ones));
    EXPECT_EQ(name("<", '<', '>', 1), std::string(29, all_ones));
}

TEST_F(DeviceName, EndOfFileEndsAFieldThatEndsWithItsByte) {
    EXPECT_EQ(name("<ab", '<', all_ones, 1), "ab");
    EXPECT_EQ(name(std::string("<ab") + all_ones + "c", '<', all_ones, 1), "ab");
}

TEST_F(DeviceName, BytesAbove127AreCharactersLikeOthers) {
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

TEST_F(DeviceName, ZeroByteCutsTheField) {
    EXPECT_EQ(name(std::string("<ab\0cd>", 7), '<', '>', 1), "ab");
    EXPECT_EQ(name(std::string("<ab\0cd>", 7), '<', '\0', 1), "ab");
    EXPECT_EQ(name(std::string("ab\0cd>", 6), '\0', '>', 1), "cd");
}

TEST_F(DeviceName, FieldFarIntoTheFileIsFound) {
    std::string content;
    for (int i = 1; i <= 20'000; ++i) {
        content += "<" + std::to_string(i) + "> ";
    }
    EXPECT_EQ(name(content, '<', '>', 19'999), "19999");
}

TEST_F(DeviceName, FileThatCannotBeOpenedFails) {
    std::string dst = untouched;
    EXPECT_EQ(get_device_name(folder.file("missing").c_str(), '<', '>', dst.data(), 1), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(dst, untouched);
}

TEST_F(DeviceName, FileThatCannotBeReadHasNoField) {
    std::string dst = untouched;
    EXPECT_EQ(get_device_name(folder.file(".").c_str(), '<', '>', dst.data(), 1), 0);
    EXPECT_STREQ(dst.c_str(), "");
}

} // namespace
