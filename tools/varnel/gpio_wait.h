// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/varnel/commands.h"

namespace varnel::tools {

/// The verb `gpio wait`.
void add_gpio_wait(argument_parser gpio, invocation &call);

} // namespace varnel::tools
