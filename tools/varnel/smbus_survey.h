// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/varnel/commands.h"

namespace varnel::tools {

/// Adds `scan` and `dump` to the verbs of `smbus`.
void add_survey(argument_parser smbus, invocation &call);

} // namespace varnel::tools
