// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace varnel::sim::scenario {

/// A test case of a report.
struct junit_case {
    struct failure {
        std::string message; ///< a line
        std::string details;
    };

    std::string name;
    std::chrono::duration<double> time;
    std::optional<failure> failed = std::nullopt;
    std::optional<std::string> skipped = std::nullopt; ///< why
};

/// A report as CI systems read it: a test suite of JUnit in XML.
[[nodiscard]] std::string junit_of(const std::string &suite, const std::vector<junit_case> &cases);

} // namespace varnel::sim::scenario
