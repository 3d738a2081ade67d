// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

#include <gmock/gmock.h>

namespace varnel::test {

/// A regular expression for the C library's message of an assertion in `source`, without ".c".
inline std::string assertion_message(const std::string &source, const std::string &function,
                                     const std::string &expression, const std::string &line = "[0-9]+") {
#ifdef __GLIBC__
    return source + "\\.c:" + line + ": " + function + ": Assertion `" + expression + "' failed\\.";
#else // musl
    return "Assertion failed: " + expression + " \\(" + source + "\\.c: " + function + ": " + line + "\\)";
#endif
}

/// Patterns of assertion messages for death tests, and the source lines that these name.
class assertion_lines {
  public:
    explicit assertion_lines(std::string source) : source_(std::move(source)) {}

    /// The message of an assertion in `function`, whose expression is given as a regular expression.
    ::testing::Matcher<const std::string &> message(const std::string &function,
                                                    const std::string &expression) {
        return ::testing::AllOf(::testing::ContainsRegex(assertion_message(source_, function, expression)),
                                ::testing::Truly([this](const std::string &text) { return note(text); }));
    }

    /// How many different lines the messages named.
    [[nodiscard]] std::size_t count() const { return lines_.size(); }

  private:
    bool note(const std::string &text) {
        const std::size_t place = text.find(source_ + ".c:");
        if (place == std::string::npos) {
            return false;
        }
#ifdef __GLIBC__
        const std::size_t line = place + source_.size() + 3;
#else
        const std::size_t line = text.rfind(": ") + 2;
#endif
        lines_.insert(std::stoi(text.substr(line)));
        return true;
    }

    std::string source_;
    std::set<int> lines_;
};

} // namespace varnel::test
