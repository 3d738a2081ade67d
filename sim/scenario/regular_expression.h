// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <string>

#include <regex.h>

namespace varnel::sim::scenario {

/// An extended regular expression of POSIX.
class regular_expression {
  public:
    explicit regular_expression(const std::string &pattern)
        : error_(regcomp(&compiled_, pattern.c_str(), REG_EXTENDED | REG_NOSUB)) {}
    ~regular_expression() {
        if (error_ == 0) {
            regfree(&compiled_);
        }
    }
    regular_expression(const regular_expression &) = delete;
    regular_expression &operator=(const regular_expression &) = delete;

    /// What is wrong with it.
    [[nodiscard]] std::optional<std::string> mistake() const {
        if (error_ == 0) {
            return std::nullopt;
        }
        std::array<char, 128> text{};
        regerror(error_, &compiled_, text.data(), text.size());
        return text.data();
    }
    /// Whether it matches some part of a text. It has to have no mistake.
    [[nodiscard]] bool matches(const std::string &text) const {
        return regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
    }

  private:
    regex_t compiled_{};
    int error_;
};

} // namespace varnel::sim::scenario
