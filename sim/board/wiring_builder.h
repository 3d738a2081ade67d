// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "sim/board/bus.h"
#include "sim/board/description.h"

namespace varnel::sim {

/// Solders the chips as the description says and fills in their downstream segments; `chips` are those of
/// `description`, in its order. Throws host::bad_line.
[[nodiscard]] wiring wire_up(const board_description &description,
                             const std::vector<std::unique_ptr<board_chip>> &chips);

} // namespace varnel::sim
