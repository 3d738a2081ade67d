// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/argument_parser.h"
#include "tools/varnel/expander.h"

namespace varnel::tools {

/// Pins, each with one of two states: true is the first.
using pin_states = std::vector<std::pair<expander_pin, bool>>;

/// "3 high 4 low". Throws bad_usage.
[[nodiscard]] pin_states pin_states_from(const std::vector<std::string> &words, const expander &target,
                                         const std::vector<std::string> &states);

[[nodiscard]] constexpr const char *level_name(bool high) { return high ? "high" : "low"; }

/// The words themselves. `type` is what completion offers, `in_help` what people read.
void add_pin_words(host::argument_parser verb, std::vector<std::string> &words, const char *type,
                   const char *in_help, const char *description);

/// --chip MODEL.
void add_model(host::argument_parser verb, const expander_model *&model);

} // namespace varnel::tools
