// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sim/models/reading.h"
#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

/// A reading as it is now. Throws bad_usage when there is no such chip or reading.
[[nodiscard]] reading_value look_up(board_access &board, const std::string &chip_name,
                                    const std::string &reading_name);

/// Whether a reading has a value as people write it: as `show` prints it, one word of that, or a quantity without
/// its unit.
[[nodiscard]] bool matches(const reading_value &found, const std::string &value);

} // namespace varnel::sim::tool
