// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/scenario/report.h"
#include "sim/scenario/script.h"
#include "sim/tool/start.h"

namespace varnel::sim::tool {

/// Plays a scenario on a private board, in a folder of its own that becomes the working directory meanwhile. What it
/// leaves there is deleted. Throws what starting a board throws.
[[nodiscard]] scenario::result play(const scenario::script &what, const time_options &time);

} // namespace varnel::sim::tool
