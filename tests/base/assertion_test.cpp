// SPDX-License-Identifier: Apache-2.0
#include "src/base/assertion.h"

#include <csignal>
#include <string>

#include <gtest/gtest.h>

#include "support/assertion_lines.h"

namespace {

using ::testing::KilledBySignal;

constexpr int first_check = __LINE__ + 2;
void check_twice(bool first, bool second) {
    varnel::require(first, "first", "unit.c");
    varnel::require(second, "second", "unit.c");
}

std::string failure(int line, const std::string &expression) {
    return varnel::test::assertion_message("unit", "check_twice", expression, std::to_string(line));
}

TEST(assertion_DeathTest, message_names_line_and_function_of_the_check) {
    EXPECT_EXIT(check_twice(false, true), KilledBySignal(SIGABRT), failure(first_check, "first"));
    EXPECT_EXIT(check_twice(true, false), KilledBySignal(SIGABRT), failure(first_check + 1, "second"));
}

TEST(assertion, does_nothing_when_the_condition_holds) { check_twice(true, true); }

} // namespace
