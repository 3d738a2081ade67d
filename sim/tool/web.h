// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/tool/commands.h"

namespace varnel::sim::tool {

/// varnel-sim web.
void add_web(argument_parser app, invocation &call);

} // namespace varnel::sim::tool
