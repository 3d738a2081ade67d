// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "require.h"

namespace varnel::test {

/// Requires a refusal to be one line, "FILE:LINE: message", with the number of a line of the file.
inline void require_place(const std::string &complaint, const std::string &file, const std::string &text) {
    require(complaint.starts_with(file + ':'), "FILE: in front");
    const std::size_t digits = file.size() + 1;
    const std::size_t end = complaint.find_first_not_of("0123456789", digits);
    require(end > digits && end - digits < 9 && complaint.size() > end + 2 &&
                complaint.compare(end, 2, ": ") == 0,
            "FILE:LINE: message");
    const int line = std::stoi(complaint.substr(digits));
    require(line >= 1 && line <= 1 + std::ranges::count(text, '\n'), "a line of the file");
    require(complaint.find('\n') == std::string::npos, "in one line");
}

} // namespace varnel::test
