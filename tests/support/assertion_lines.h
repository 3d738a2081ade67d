// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <gmock/gmock.h>

namespace varnel::test {

/// Patterns of assertion messages for death tests, and the source lines that these name.
class assertion_lines {
  public:
    explicit assertion_lines(std::string source) : source_(std::move(source)) {}

    /// The message of an assertion in `function`, whose expression is given as a regular expression.
    ::testing::Matcher<const std::string &> message(const std::string &function,
                                                    const std::string &expression) {
        const std::string ending = ": " + function + ": Assertion `" + expression + "' failed\\.";
        return ::testing::AllOf(::testing::ContainsRegex(source_ + "\\.c:[0-9]+" + ending),
                                ::testing::Truly([this](const std::string &text) { return note(text); }));
    }

    /// How many different lines the messages named.
    [[nodiscard]] std::size_t count() const { return lines_.size(); }

  private:
    bool note(const std::string &text) {
        const std::string place = source_ + ".c:";
        const std::size_t found = text.find(place);
        if (found == std::string::npos) {
            return false;
        }
        lines_.insert(std::stoi(text.substr(found + place.size())));
        return true;
    }

    std::string source_;
    std::set<int> lines_;
};

} // namespace varnel::test
