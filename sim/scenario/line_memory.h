// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sim/scenario/regular_expression.h"

namespace varnel::sim::scenario {

/// Lines as they come, of which those up to the last that matched have been dealt with.
class line_memory {
  public:
    void add(std::string line) { lines_.push_back(std::move(line)); }

    /// Whether a line matches a regular expression that has no mistake; lines up to that one are not looked at again.
    [[nodiscard]] bool find_next(const std::string &pattern) {
        const regular_expression wanted(pattern);
        for (std::size_t i = seen_; i < lines_.size(); ++i) {
            if (wanted.matches(lines_[i])) {
                seen_ = i + 1;
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] const std::vector<std::string> &all() const { return lines_; }

  private:
    std::vector<std::string> lines_ = {};
    std::size_t seen_ = 0; ///< lines that have been dealt with
};

} // namespace varnel::sim::scenario
