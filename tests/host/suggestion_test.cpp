// SPDX-License-Identifier: Apache-2.0
#include "host/suggestion.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

const std::vector<std::string> verbs{"status", "get", "fan", "output", "--help", "--json"};

TEST(suggestion, beginning_of_a_word_suggests_it) { EXPECT_EQ(suggestion("stat", verbs), "status"); }

TEST(suggestion, swapped_letters_are_one_mistake) {
    EXPECT_EQ(suggestion("fna", verbs), "fan");
    EXPECT_EQ(suggestion("anf", verbs), "");
}

TEST(suggestion, one_mistake_in_three_letters_is_forgiven) {
    EXPECT_EQ(suggestion("outpt", verbs), "output");
    EXPECT_EQ(suggestion("uotptu", verbs), "output");
    EXPECT_EQ(suggestion("uoptuu", verbs), "");
}

TEST(suggestion, nearest_word_is_suggested) {
    EXPECT_EQ(suggestion("statud", {"statute", "status"}), "status");
}

TEST(suggestion, dashes_are_ignored) {
    EXPECT_EQ(suggestion("help", verbs), "--help");
    EXPECT_EQ(suggestion("--jsno", verbs), "--json");
    EXPECT_EQ(suggestion("--", verbs), "");
}

TEST(suggestion, single_letters_and_long_words_suggest_nothing) {
    EXPECT_EQ(suggestion("f", verbs), "");
    EXPECT_EQ(suggestion(std::string(33, 'f'), {std::string(34, 'f')}), "");
    EXPECT_EQ(suggestion("fan", {}), "");
}

TEST(suggestion, messages_end_with_it_when_there_is_one) {
    EXPECT_EQ(did_you_mean("outpt", verbs), "; did you mean 'output'?");
    EXPECT_EQ(did_you_mean("uoptuu", verbs), "");
}

} // namespace
} // namespace varnel::host
