// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/json_text.h"

namespace varnel::tools {

namespace {

std::string dumped(const nlohmann::ordered_json &value, int indentation) {
    return value.dump(indentation, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

} // namespace

std::string json_text(const nlohmann::ordered_json &value) { return dumped(value, 2); }
std::string json_line(const nlohmann::ordered_json &value) { return dumped(value, -1); }

} // namespace varnel::tools
