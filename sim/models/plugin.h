// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "sim/models/chip.h"

namespace varnel::sim {

/// A chip whose model is a shared object (include/varnel-sim/model.h). Throws bad_setting when that is not one.
[[nodiscard]] std::unique_ptr<chip> make_plugin(const std::string &file, const board_clock &clock);

} // namespace varnel::sim
