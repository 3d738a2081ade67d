// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::sim::tool {

/// What a shell offers for CHIP: the chips of the board that is running.
[[nodiscard]] std::vector<std::string> chips(const std::vector<std::string> &before);

/// For CHIP.NAME, which is followed by a value: what `set` changes on that board; nothing in the place of a value.
[[nodiscard]] std::vector<std::string> settings(const std::vector<std::string> &before);

/// For CHIP.READING: all that `show` prints.
[[nodiscard]] std::vector<std::string> readings(const std::vector<std::string> &before);

} // namespace varnel::sim::tool
