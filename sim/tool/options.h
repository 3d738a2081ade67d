// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "host/options.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

/// Adds a command with the options that all have. `action` is carried out when all of it has been read.
argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action);

} // namespace varnel::sim::tool
