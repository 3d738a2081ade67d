// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/json.h"

namespace varnel::tools {

/// JSON as --json prints it, whatever bytes are in its texts: those that are not UTF-8 become U+FFFD.
std::string json_text(const nlohmann::ordered_json &value);
/// The same in one line, for streams of values.
std::string json_line(const nlohmann::ordered_json &value);

} // namespace varnel::tools
