// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/varnel/device_address.h"

namespace varnel::tools {

struct pin_name {
    std::string label; ///< "8", or "1.0"
    std::string name;  ///< "psu0-absent"
};

/// The names that the board file of the surrounding `varnel-sim run` (VARNEL_SIM_BOARD) gives to the pins of a chip. Chips with
/// the same address behind different channels of a multiplexer count as one. Empty without such a file.
[[nodiscard]] std::vector<pin_name> board_pin_names(const device_address &chip);

} // namespace varnel::tools
