// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace varnel::sim::preload {

/// Finds out, once, who says whose turn it is.
void find_turn();

/// Whether this thread, in virtual time, may use the board once without asking its supervisor. Counts it.
bool takes_turn();

} // namespace varnel::sim::preload
