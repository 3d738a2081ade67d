// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "host/options.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

/// Adds a command with the options that all have. `action` is carried out when all of it has been read.
argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action);

/// Something of a chip that an argument names: "psu0.load".
struct chip_member {
    std::string chip;
    std::string name;
};

/// Throws bad_usage: "'TEXT' is not CHIP.NAME".
[[nodiscard]] chip_member chip_member_from(const std::string &text, const char *form);

} // namespace varnel::sim::tool
