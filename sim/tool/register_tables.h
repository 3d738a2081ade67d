// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/json.h"

namespace varnel::sim::tool {

/// What pages decode transfers by, for the types of the chips of a status: {TYPE: {"flags", "exponent" (of LINEAR16
/// numbers), "registers": [{"code", "count", "bytes", "format", "unit", "decimals", "signed", "bits": [NAME...]}...]}...}.
[[nodiscard]] nlohmann::ordered_json register_tables(const nlohmann::ordered_json &status);

} // namespace varnel::sim::tool
