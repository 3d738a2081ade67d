// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/json.h"
#include "sim/board/status.h"

namespace varnel::sim {

/// A fault as control messages and `show --json` have it: {"kind": NAME, "transfers": N, "rate": P, "seed": S,
/// "from_transfer": N, "from_seconds": T, "until_transfer": N, "until_seconds": T, PARAMETER: N}; limits may also be a "from_board_transfer", among all of the board. "transfers" is missing when
/// any number may be struck, "rate" when it is 1 and "transfers" is there, the others when there is no such limit or
/// parameter. Times are since power-on.
[[nodiscard]] nlohmann::ordered_json json_of(const waiting_fault &from);

/// Throws std::runtime_error for an unknown kind.
[[nodiscard]] waiting_fault fault_in(const nlohmann::ordered_json &from);

} // namespace varnel::sim
