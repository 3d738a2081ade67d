// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "sim/scenario/junit.h"

namespace varnel::sim::scenario {

/// Why a scenario failed.
struct failed_step {
    int line;
    std::string step; ///< as written
    std::string expected;
    std::string came;
    std::vector<std::string> printed; ///< the programs' last lines: "monitor: psu0 is well"
    std::vector<std::string> trace;   ///< the last transfers
};

/// What became of a scenario.
struct result {
    std::string file;
    std::string title;
    std::chrono::duration<double> time;
    std::optional<failed_step> failure;
};

/// For people: a line, and more about a failure.
[[nodiscard]] std::string text_of(const result &of);

/// For a report that CI systems read.
[[nodiscard]] junit_case junit_case_of(const result &of);

} // namespace varnel::sim::scenario
